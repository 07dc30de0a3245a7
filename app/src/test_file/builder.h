// Creates the objects of a plan.
#pragma once

#include <unordered_map>
#include <vector>

#include "orv/framework/scriptable.h"
#include "orv/framework/sequencer.h"
#include "plan.h"

namespace orv::app {

/// Creates all objects, then sets all values, then adds the relations, so that each step finds the objects
/// that it refers to. What the host rejects is added to `mistakes`; the rest is created nevertheless, so that
/// all problems are known at once.
class Builder {
  public:
    Builder(const Plan& plan, MistakeList& mistakes) : plan_(plan), mistakes_(mistakes) {}

    /// Returns what the objects are in the plan, by handle.
    std::unordered_map<std::uint32_t, std::size_t> Build(framework::CScriptable& project,
                                                         framework::CSequencer& sequencer);

  private:
    template <class Step>
    void Guard(const MistakeList::Where& where, const Step& step);
    void MakeObjects();
    framework::CScriptable* MakeObject(std::size_t index);
    framework::CScriptable* FindDefaultChild(std::size_t index) const;
    void SetValues(std::size_t index);
    void Relate(std::size_t index);
    void FillSequence(framework::CSequencer& sequencer);

    const Plan& plan_;
    MistakeList& mistakes_;
    std::vector<framework::CScriptable*> made_;  ///< by index of the plan; null for what could not be made
};

}  // namespace orv::app
