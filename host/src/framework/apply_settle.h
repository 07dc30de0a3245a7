// What an apply that succeeded leaves behind.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::framework {

/// Settles states, destroys what was to be deleted and empties the lists of removed objects below a root.
/// Takes time in proportion to the number of objects and of removed relations, in whatever order they were
/// made.
class CApplySettler {
  public:
    /// Objects of the handles in `keep` keep their states: their changes were refused.
    static void Settle(CScriptable& root, const std::unordered_set<std::uint32_t>& keep);

  private:
    static void Collect(CScriptable& object, ScriptableVec& all);
    static void FindDoomed(CScriptable& object, std::vector<std::uint32_t>& doomed);
    static void SetObsolete(CScriptable& object);
};

}  // namespace orv::framework
