// The end of an object: marking for deletion, and destruction.
#include <vector>

#include "orv/framework/scriptable.h"
#include "scriptable_extras.h"

namespace orv::framework {

bool CScriptable::MarkDelete(bool children, bool relations) {
    if (IsDeleted()) return true;
    if (!CanDelete()) return false;
    const State before = state_;
    state_ = STATE_PENDING_DELETE;  // set first: related objects look at it when they are told
    bool agreed = false;
    try {
        agreed = OnMarkDelete();
    } catch (...) {
        state_ = before;
        throw;
    }
    if (!agreed) {
        state_ = before;
        return false;
    }
    Touch();
    if (children) {
        if (const RelationList* below = FindRelations(common::kParentChild)) {
            for (CScriptable* child : std::vector<CScriptable*>(below->objects))
                child->MarkDelete(true, relations);
        }
    }
    if (relations) RemoveAllRelations(true, true);
    return true;
}

void CScriptable::Delete() {
    // Everything below is told while it is still whole, so that nobody calls an object that is half gone.
    MarkDelete(true, true);
    if (const RelationList* below = FindRelations(common::kParentChild)) {
        const std::vector<CScriptable*> doomed = below->objects;
        for (auto child = doomed.rbegin(); child != doomed.rend(); ++child) (*child)->Delete();
    }
    if (parent_) parent_->RemoveObject(*this, common::kParentChild, false, nullptr, false);
    ReleaseScriptable(this);
}

void ReleaseScriptable(CScriptable* object) {
    if (!object) return;
    const CMetaClass* meta_class = object->GetMetaClass();
    const DestroyFunction destroy = meta_class ? meta_class->GetFactory().destroy : nullptr;
    if (destroy) {
        destroy(object);
    } else {
        delete object;
    }
}

}  // namespace orv::framework
