// Copies a subtree.
#pragma once

#include <unordered_map>
#include <utility>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::framework {

/// One clone operation. The virtual clone operations of CScriptable find it through Current(), so that a
/// relation between two cloned objects can be led from clone to clone.
class CCloner {
  public:
    CCloner();
    ~CCloner();
    CCloner(const CCloner&) = delete;
    CCloner& operator=(const CCloner&) = delete;

    /// The operation that runs on this thread. Throws COrvLogicError outside of one.
    static CCloner& Current();

    /// Clones an object and what is below it; relations follow in Finish. Throws COrvRunTimeError on failure.
    CScriptable& Clone(CScriptable& original, CScriptable* parent);
    void Finish();

    /// True for an object that this operation has made.
    bool IsClone(const CScriptable& object) const;
    /// The clone of an object that is part of this operation, otherwise the object itself.
    CScriptable& Map(CScriptable& object) const;

  private:
    CCloner* outer_;
    std::unordered_map<const CScriptable*, CScriptable*> clones_;
    std::vector<std::pair<CScriptable*, CScriptable*>> order_;  ///< original, clone
};

}  // namespace orv::framework
