// The order of changes.
#pragma once

#include <cstdint>
#include <memory>

#include "orv/framework/scriptable.h"

namespace orv::framework {

/// All objects in the order of their last change, so that code that has processed everything once needs to
/// look only at what has changed since. A change is: created, a property (also one that is not saved), an
/// end or a beginning of a relation that makes its source dirty, a relation's end that is remembered, a
/// child that has gone, a mark for deletion, a state that was set.
///
/// An object that is destroyed leaves no trace of its own; its parent counts as changed.
///
/// Takes constant time and no memory per change. Used under the task lock.
class CChangeLog {
  public:
    /// A point in the order of changes; every change is later than the moment 0.
    using Moment = std::uint64_t;

    static CChangeLog& Instance();

    /// Everything up to now. What changes after the call is later than the moment it returns.
    Moment TakeMoment();
    /// The objects that have changed later than a moment, in the order of their last changes.
    ScriptableVec GetChangedSince(Moment moment) const;

    /// What changed until then has been applied, but for what was refused or is not part of the project.
    Moment GetSettled() const { return settled_; }

  private:
    friend class CScriptable;
    friend class CApplySettler;
    struct List;

    CChangeLog();
    ~CChangeLog();
    void Note(CScriptable& object) {
        if (object.changed_at_ != now_) MoveToEnd(object);
    }
    void MoveToEnd(CScriptable& object);

    std::unique_ptr<List> list_;
    Moment now_ = 1;
    Moment settled_ = 0;
};

}  // namespace orv::framework
