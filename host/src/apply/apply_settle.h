// Settles the object tree after a successful apply.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "orv/framework/change_log.h"

namespace orv::framework {

/// Settles states, destroys what was to be deleted and empties the lists of removed objects below a root.
/// Takes time in proportion to what has changed since the last time, in whatever order it was made.
class CApplySettler {
  public:
    using Moment = CChangeLog::Moment;

    /// Objects of the handles in `keep` keep their states: their changes were refused. So do objects that
    /// were changed, created or marked for deletion after the moment when the apply began: nobody has sent
    /// that yet.
    static void Settle(CScriptable& root, Moment began, std::unordered_set<std::uint32_t> keep);

  private:
    static ScriptableVec TakeUnsettled(const CScriptable& root);
    static std::vector<std::uint32_t> FindDoomed(const ScriptableVec& changed, Moment began);
    static void Destroy(const std::vector<std::uint32_t>& doomed);
    static void SetObsolete(CScriptable& object);

    /// Handles of changed objects that were below none of the roots so far.
    static std::vector<std::uint32_t> outside_;
};

}  // namespace orv::framework
