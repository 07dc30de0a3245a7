#include "apply_settle.h"

#include <algorithm>
#include <set>
#include <utility>

#include "objects/scriptable_extras.h"
#include "orv/framework/apply.h"
#include "orv/framework/handle_registry.h"

namespace orv::framework {

namespace {

bool IsBelow(const CScriptable* object, const CScriptable& root) {
    while (object && object != &root) object = object->GetParent();
    return object != nullptr;
}

std::vector<std::uint32_t> GetHandles(const ScriptableVec& objects) {
    std::vector<std::uint32_t> handles;
    handles.reserve(objects.size());
    for (const CScriptable* object : objects) handles.push_back(object->GetHandle());
    return handles;
}

}  // namespace

std::vector<std::uint32_t> CApplySettler::outside_;

std::vector<std::uint32_t> CApplySettler::FindDoomed(const ScriptableVec& changed, Moment began) {
    const auto is_doomed = [began](const CScriptable* object) {
        return object->IsDeleted() && object->modified_at_ <= began;
    };
    // Objects below a deleted one are destroyed with it.
    std::vector<CScriptable*> parents;
    std::unordered_set<const CScriptable*> seen;
    for (const CScriptable* object : changed) {
        if (!is_doomed(object) || !object->parent_ || is_doomed(object->parent_)) continue;
        if (seen.insert(object->parent_).second) parents.push_back(object->parent_);
    }
    std::vector<std::uint32_t> doomed;
    for (CScriptable* parent : parents) {
        for (CScriptable::RelationList& list : parent->relations_) {
            if (list.type != common::kParentChild) continue;
            // Deleted objects are last in their parent's list: searched from the end, each is found at once.
            const auto first =
                std::stable_partition(list.objects.begin(), list.objects.end(),
                                      [&](const CScriptable* child) { return !is_doomed(child); });
            for (auto child = first; child != list.objects.end(); ++child) {
                SetObsolete(**child);
                doomed.push_back((*child)->handle_);
            }
        }
    }
    return doomed;
}

ScriptableVec CApplySettler::TakeUnsettled(const CScriptable& root) {
    CChangeLog& log = CChangeLog::Instance();
    ScriptableVec found;
    for (const std::uint32_t handle : std::exchange(outside_, {})) {
        if (CScriptable* object = CHandleRegistry::Instance().Find(handle)) found.push_back(object);
    }
    const ScriptableVec changed = log.GetChangedSince(log.settled_);
    found.insert(found.end(), changed.begin(), changed.end());
    const auto outside = std::stable_partition(
        found.begin(), found.end(), [&root](const CScriptable* object) { return IsBelow(object, root); });
    std::set<std::uint32_t> handles;
    for (auto object = outside; object != found.end(); ++object) handles.insert((*object)->handle_);
    outside_.assign(handles.begin(), handles.end());
    found.erase(outside, found.end());
    return found;
}

void CApplySettler::SetObsolete(CScriptable& object) {
    object.state_ = CScriptable::STATE_OBSOLETE;
    const auto* children = object.FindRelations(common::kParentChild);
    if (!children) return;
    for (CScriptable* child : children->objects) SetObsolete(*child);
}

void CApplySettler::Destroy(const std::vector<std::uint32_t>& doomed) {
    for (auto handle = doomed.rbegin(); handle != doomed.rend(); ++handle) {
        // By handle: the end of one object may have brought about the end of another.
        if (CScriptable* object = CHandleRegistry::Instance().Find(*handle)) object->Delete();
    }
}

void CApplySettler::Settle(CScriptable& root, Moment began, std::unordered_set<std::uint32_t> keep) {
    CChangeLog& log = CChangeLog::Instance();
    const ScriptableVec changed = TakeUnsettled(root);
    const Moment before = log.TakeMoment();
    for (const CScriptable* object : changed) {
        if (object->modified_at_ > began) keep.insert(object->handle_);
    }
    std::vector<std::uint32_t> handles = GetHandles(changed);
    Destroy(FindDoomed(changed, began));

    // Afterwards, since objects that are destroyed make those dirty that were related to them to the last.
    for (const CScriptable* object : log.GetChangedSince(before)) {
        (IsBelow(object, root) ? handles : outside_).push_back(object->handle_);
    }
    log.settled_ = log.TakeMoment();
    for (const std::uint32_t handle : handles) {
        CScriptable* object = CHandleRegistry::Instance().Find(handle);
        if (!object) continue;
        if (keep.contains(handle)) {
            log.Note(*object);  // for the next time
            continue;
        }
        object->ForgetRemoved();
        if (!object->IsDeleted()) object->state_ = CScriptable::STATE_UNCHANGED;
    }
}

void SettleAfterApply(CScriptable& root) {
    CApplySettler::Settle(root, CChangeLog::Instance().TakeMoment(), {});
}

}  // namespace orv::framework
