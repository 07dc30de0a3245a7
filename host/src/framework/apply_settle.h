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
    /// Notes what the tree looks like, so that Settle can tell what changes from now on.
    static void Begin(CScriptable& root);
    /// Objects of the handles in `keep` keep their states: their changes were refused. So do objects that
    /// were changed, created or marked for deletion since Begin: nobody has sent that yet.
    static void Settle(CScriptable& root, std::unordered_set<std::uint32_t> keep);

  private:
    static void Collect(CScriptable& object, ScriptableVec& all);
    static void FindDoomed(CScriptable& object, std::vector<std::uint32_t>& doomed);
    static bool IsDoomed(const CScriptable& object);
    static void SetObsolete(CScriptable& object);
};

}  // namespace orv::framework
