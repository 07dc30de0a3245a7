// The order of changes.
#pragma once

#include <cstdint>
#include <memory>

#include "orv/framework/scriptable.h"

namespace orv::framework {

/// All objects in the order of their last change, so that code that has processed everything once needs to
/// look only at what has changed since. Changes are: the creation of an object, a new value of a property
/// (also one that is not saved), adding or removing a relation that makes its source dirty, removing a
/// relation whose object GetRemovedObjects then lists, the loss of a child, a mark for deletion, and a new
/// state.
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

    /// Changes up to this moment have been applied, except those that were refused or are outside the
    /// project.
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
