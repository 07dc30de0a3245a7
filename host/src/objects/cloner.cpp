#include "cloner.h"

#include <algorithm>

#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

namespace {

thread_local CCloner* current = nullptr;

}  // namespace

CCloner::CCloner() : outer_(current) {
    current = this;
}
CCloner::~CCloner() {
    current = outer_;
}

CCloner& CCloner::Current() {
    ORV_ASSERT(current != nullptr, "A clone operation outside of CScriptable::Clone");
    return *current;
}

CScriptable& CCloner::Clone(CScriptable& original, CScriptable* parent) {
    CScriptableCreator creator;
    // Children come from the original, not from the class's defaults.
    CScriptable* clone = creator.Create(original.GetMetaClass(), parent, false);
    if (!clone)
        throw common::COrvRunTimeError("Cloning " + original.Describe() + ": " + creator.GetErrorText());
    clones_[&original] = clone;
    order_.emplace_back(&original, clone);
    try {
        if (!clone->DoClone(original))
            throw common::COrvRunTimeError("Cloning " + original.Describe() + " was refused");
    } catch (...) {
        clone->Delete();
        throw;
    }
    return *clone;
}

void CCloner::Finish() {
    for (const auto& [original, clone] : order_) clone->DoCloneCopyOtherRelations(*original);
}

bool CCloner::IsClone(const CScriptable& object) const {
    return std::any_of(order_.begin(), order_.end(),
                       [&object](const auto& pair) { return pair.second == &object; });
}

CScriptable& CCloner::Map(CScriptable& object) const {
    const auto found = clones_.find(&object);
    return found == clones_.end() ? object : *found->second;
}

CScriptable* CScriptable::Clone(CScriptable* parent) {
    CCloner cloner;
    CScriptable& clone = cloner.Clone(*this, parent ? parent : parent_);
    try {
        clone.Set(ids::Scriptable::Name, GetName() + " Copy");
        cloner.Finish();
    } catch (...) {
        clone.Delete();
        throw;
    }
    return &clone;
}

bool CScriptable::DoClone(CScriptable& original) {
    DoCloneCopyProperties(original);
    DoCloneCopyInternals(original);
    DoCloneChildren(original);
    return true;
}

void CScriptable::DoCloneCopyProperties(const CScriptable& original) {
    for (const CPropertyMeta* meta : meta_class_->GetProperties()) {
        const bool own = meta->id == ids::Scriptable::Handle || meta->id == ids::Scriptable::Active;
        if (!own && !meta->transient) StoreValue(*meta, original.values_[meta->slot]);
    }
}

void CScriptable::DoCloneCopyInternals(const CScriptable&) {}

void CScriptable::DoCloneChildren(CScriptable& original) {
    ScriptableVec children;
    original.GetObjects(children, CScriptable::CLASS_ID(), common::kParentChild);
    for (CScriptable* child : children) {
        // A clone put below its own original must not be cloned along.
        if (!CCloner::Current().IsClone(*child) && original.AllowChildClone(*child))
            CCloner::Current().Clone(*child, this);
    }
}

bool CScriptable::AllowChildClone(const CScriptable& child) const {
    return !child.IsDeleted() && !child.IsTypeOf(ids::Result::CLASS);
}

bool CScriptable::CloneRelationType(const CScriptable&, const RelationType&) const {
    return true;
}

void CScriptable::DoCloneCopyOtherRelations(const CScriptable& original) {
    const std::vector<RelationList> relations = original.relations_;
    for (const RelationList& list : relations) {
        // Results belong to the object that was measured.
        if (list.type == common::kParentChild || list.type.type == ids::relations::ResultChild.type) continue;
        for (CScriptable* other : list.objects) {
            if (other->IsDeleted() || !CloneRelationType(*other, list.type)) continue;
            CScriptable& target = CCloner::Current().Map(*other);
            // Refused where the other end has no room (a source that may have one target keeps the original),
            // or where the other end's clone has made the relation already.
            AddObject(target, list.type, nullptr);
        }
    }
}

}  // namespace orv::framework
