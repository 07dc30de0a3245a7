#include "apply_settle.h"

#include <algorithm>

#include "orv/framework/apply.h"
#include "orv/framework/handle_registry.h"
#include "scriptable_extras.h"

namespace orv::framework {

void CApplySettler::Collect(CScriptable& object, ScriptableVec& all) {
    all.push_back(&object);
    const auto* children = object.FindRelations(common::kParentChild);
    if (!children) return;
    for (CScriptable* child : children->objects) Collect(*child, all);
}

void CApplySettler::FindDoomed(CScriptable& object, std::vector<std::uint32_t>& doomed) {
    for (CScriptable::RelationList& list : object.relations_) {
        if (list.type != common::kParentChild) continue;
        // The doomed go last in their parent's list: taken from the end, each is found at once.
        const auto first_doomed =
            std::stable_partition(list.objects.begin(), list.objects.end(),
                                  [](const CScriptable* child) { return !IsDoomed(*child); });
        for (auto child = list.objects.begin(); child != first_doomed; ++child) FindDoomed(**child, doomed);
        for (auto child = first_doomed; child != list.objects.end(); ++child) {
            SetObsolete(**child);
            doomed.push_back((*child)->GetHandle());
        }
    }
}

bool CApplySettler::IsDoomed(const CScriptable& object) {
    return object.IsDeleted() && !object.touched_;
}

void CApplySettler::Begin(CScriptable& root) {
    ScriptableVec all;
    Collect(root, all);
    for (CScriptable* object : all) object->touched_ = false;
}

void CApplySettler::SetObsolete(CScriptable& object) {
    ScriptableVec all;
    Collect(object, all);
    for (CScriptable* each : all) each->state_ = CScriptable::STATE_OBSOLETE;
}

void CApplySettler::Settle(CScriptable& root, std::unordered_set<std::uint32_t> keep) {
    ScriptableVec all;
    Collect(root, all);
    for (const CScriptable* object : all) {
        if (object->touched_) keep.insert(object->handle_);
    }
    std::vector<std::uint32_t> doomed;
    FindDoomed(root, doomed);
    for (auto handle = doomed.rbegin(); handle != doomed.rend(); ++handle) {
        // By handle: the end of one object may have brought about the end of another.
        if (CScriptable* object = CHandleRegistry::Instance().Find(*handle)) object->Delete();
    }

    // Afterwards, since objects that are destroyed make those dirty that were related to them to the last.
    all.clear();
    Collect(root, all);
    for (CScriptable* object : all) {
        if (keep.contains(object->handle_)) continue;
        object->ForgetRemoved();
        if (!object->IsDeleted()) object->state_ = CScriptable::STATE_UNCHANGED;
    }
}

void SettleAfterApply(CScriptable& root) {
    CApplySettler::Begin(root);
    CApplySettler::Settle(root, {});
}

}  // namespace orv::framework
