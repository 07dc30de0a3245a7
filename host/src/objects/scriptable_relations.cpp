// Relations of an object, stored at both ends.
#include <algorithm>

#include "model/containment.h"
#include "orv/framework/change_log.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/notification_service.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable.h"
#include "scriptable_extras.h"

namespace orv::framework {

using common::kChildParent;
using common::kParentChild;

namespace {

bool Refuse(std::string* error_text, std::string reason) {
    if (error_text) *error_text = std::move(reason);
    return false;
}

std::string DescribeRelation(const CScriptable& from, const CScriptable& to, RelationType type) {
    const CScriptable& source = type.direction == 0 ? from : to;
    const CScriptable& target = type.direction == 0 ? to : from;
    std::string name = CRelationManager::Instance().GetTypeName(type.type);
    if (name.empty()) name = std::to_string(type.type);
    return "relation " + name + " from " + source.Describe() + " to " + target.Describe();
}

/// Searches from the back: lists are mostly taken down in the reverse order of their making.
template <class Element>
bool EraseLast(std::vector<Element>& list, const Element& element) {
    const auto found = std::find(list.rbegin(), list.rend(), element);
    if (found == list.rend()) return false;
    list.erase(std::next(found).base());
    return true;
}

}  // namespace

const CScriptable::RelationList* CScriptable::FindRelations(RelationType type) const {
    for (const RelationList& list : relations_) {
        if (list.type == type) return &list;
    }
    return nullptr;
}

void CScriptable::Link(CScriptable& object, RelationType type) {
    for (RelationList& list : relations_) {
        if (list.type == type) return list.objects.push_back(&object);
    }
    relations_.push_back({type, {&object}});
}

bool CScriptable::Unlink(CScriptable& object, RelationType type) {
    for (RelationList& list : relations_) {
        if (list.type == type) return EraseLast(list.objects, &object);
    }
    return false;
}

bool CScriptable::ContainsObject(const CScriptable& object, RelationType type) const {
    if (type == kChildParent) return parent_ == &object;
    if (type == kParentChild) return object.parent_ == this;
    // Either end knows; the shorter list answers faster.
    const RelationList* mine = FindRelations(type);
    const RelationList* theirs = object.FindRelations(type.Reverse());
    if (!mine || !theirs) return false;
    const bool look_here = mine->objects.size() <= theirs->objects.size();
    const auto& list = look_here ? mine->objects : theirs->objects;
    return std::find(list.begin(), list.end(), look_here ? &object : this) != list.end();
}

bool CScriptable::AddObject(CScriptable& object, RelationType type, std::string* errorText) {
    if (type == kChildParent) return object.AddObject(*this, kParentChild, errorText);
    const auto describe = [&] { return DescribeRelation(*this, object, type); };
    if (!meta_class_ || !object.meta_class_)
        return Refuse(errorText, "an object without class cannot be related");
    if (ContainsObject(object, type)) return Refuse(errorText, describe() + " exists already");
    for (const CScriptable* end : {this, &object}) {
        if (end->IsDeleted())
            return Refuse(errorText, describe() + ": " + end->Describe() + " is being deleted");
    }

    CScriptable& source = type.direction == 0 ? *this : object;
    bool dirties_source = false;
    if (type == kParentChild) {
        if (!CanBeChildOf(*object.meta_class_, *meta_class_)) {
            return Refuse(errorText, object.Describe() + " cannot be a child of " + Describe());
        }
        for (const CScriptable* above = this; above; above = above->parent_) {
            if (above == &object) return Refuse(errorText, object.Describe() + " cannot be its own ancestor");
        }
    } else {
        const CRelationMeta* meta =
            CRelationManager::Instance().FindRelation(*meta_class_, *object.meta_class_, type);
        if (!meta) return Refuse(errorText, describe() + " is not part of the data model");
        const RelationList* targets = source.FindRelations({type.type, 0});
        if (meta->max_targets != 0 && targets && targets->objects.size() >= meta->max_targets) {
            return Refuse(errorText, describe() + ": the source has " +
                                         std::to_string(targets->objects.size()) + " of at most " +
                                         std::to_string(meta->max_targets) + " already");
        }
        dirties_source = meta->dirties_source;
    }
    std::string reason;
    if (!OnPreValidateRelationChange(type, object, true, reason) ||
        !object.OnPreValidateRelationChange(type.Reverse(), *this, true, reason)) {
        return Refuse(errorText, describe() + ": " + reason);
    }

    if (type == kParentChild) {
        if (object.parent_) object.parent_->RemoveObject(object, kParentChild, false);
        object.parent_ = this;
        Link(object, type);
        CChangeLog::Instance().Note(object);
        object.UpdateActive(GetActive());
    } else {
        Link(object, type);
        object.Link(*this, type.Reverse());
    }
    if (extras_ && object.extras_) {
        auto* mine = extras_->FindRemoved(type);
        auto* theirs = object.extras_->FindRemoved(type.Reverse());
        // Both remember a relation that ended, or neither does; the shorter list answers faster.
        if (mine && theirs) {
            const bool look_here = mine->handles.size() <= theirs->handles.size();
            if (look_here ? EraseLast(mine->handles, object.handle_) : EraseLast(theirs->handles, handle_)) {
                look_here ? EraseLast(theirs->handles, handle_) : EraseLast(mine->handles, object.handle_);
            }
        }
    }
    if (dirties_source) source.MarkModified();
    NotifyRelationModified(type, object, true);
    object.NotifyRelationModified(type.Reverse(), *this, true);
    return true;
}

bool CScriptable::RemoveObject(CScriptable& object, RelationType type, bool remember, std::string* errorText,
                               bool notify) {
    if (type == kChildParent) return object.RemoveObject(*this, kParentChild, remember, errorText, notify);
    if (!ContainsObject(object, type)) {
        return Refuse(errorText, DescribeRelation(*this, object, type) + " does not exist");
    }
    std::string reason;
    if (notify && (!OnPreValidateRelationChange(type, object, false, reason) ||
                   !object.OnPreValidateRelationChange(type.Reverse(), *this, false, reason))) {
        return Refuse(errorText, DescribeRelation(*this, object, type) + ": " + reason);
    }
    Unlink(object, type);
    CChangeLog::Instance().Note(*this);
    CChangeLog::Instance().Note(object);
    if (type == kParentChild) {
        object.parent_ = nullptr;
    } else {
        object.Unlink(*this, type.Reverse());
        CScriptable& source = type.direction == 0 ? *this : object;
        const CRelationMeta* meta =
            CRelationManager::Instance().FindRelation(*meta_class_, *object.meta_class_, type);
        if (meta && meta->dirties_source) source.MarkModified();
    }
    if (remember) {
        const auto note = [](CScriptable& end, const CScriptable& other, RelationType as) {
            Extras& extras = end.MakeExtras();
            Extras::RemovedList* list = extras.FindRemoved(as);
            if (!list) list = &extras.removed.emplace_back(Extras::RemovedList{as, {}});
            list->handles.push_back(other.handle_);
            end.Touch();
        };
        note(*this, object, type);
        note(object, *this, type.Reverse());
    }
    if (notify) {
        NotifyRelationModified(type, object, false);
        object.NotifyRelationModified(type.Reverse(), *this, false);
    }
    return true;
}

void CScriptable::NotifyRelationModified(RelationType type, CScriptable& object, bool added) {
    OnRelationModified(type, object, added);
    if (extras_ && !extras_->relation_delegates.empty()) {
        const auto delegates = extras_->relation_delegates;
        for (const auto& delegate : delegates) {
            const auto& current = extras_->relation_delegates;
            if (std::find(current.begin(), current.end(), delegate) != current.end()) {
                delegate(*this, object, type, added);
            }
        }
    }
    CNotificationService::Instance().Notify(*this, CNotificationService::Change::Relation);
}

bool CScriptable::HasRelationObservers() const {
    return (extras_ && !extras_->relation_delegates.empty()) ||
           CNotificationService::Instance().IsObserved(handle_);
}

void CScriptable::OnRelationModified(RelationType, CScriptable&, bool) {}

bool CScriptable::OnPreValidateRelationChange(RelationType, CScriptable&, bool, std::string&) {
    return true;
}

void CScriptable::RemoveAllRelations(bool remember, bool notify) {
    // Notified objects may add and remove relations, so the lists are looked at anew each time.
    for (std::size_t i = 0; i < relations_.size(); ++i) {
        const RelationType type = relations_[i].type;
        if (type == kParentChild) continue;
        while (!relations_[i].objects.empty()) {
            CScriptable& other = *relations_[i].objects.back();
            if (!RemoveObject(other, type, remember, nullptr, notify))
                RemoveObject(other, type, remember, nullptr, false);
        }
    }
}

void CScriptable::ForgetRemoved() {
    if (extras_) extras_->removed.clear();
}

void CScriptable::GetRemovedObjects(ScriptableVec& removed, ClassId id, RelationType type) const {
    if (const auto* list = extras_ ? extras_->FindRemoved(type) : nullptr) {
        for (const std::uint32_t handle : list->handles) {
            CScriptable* object = CHandleRegistry::Instance().Find(handle);
            if (object && object->IsTypeOf(id)) removed.push_back(object);
        }
    }
    if (type != kParentChild) return;
    if (const RelationList* children = FindRelations(type)) {
        std::copy_if(children->objects.begin(), children->objects.end(), std::back_inserter(removed),
                     [id](const CScriptable* child) { return child->IsDeleted() && child->IsTypeOf(id); });
    }
}

CScriptable* CScriptable::GetObject(ClassId id, RelationType type) const {
    if (type == kChildParent) return parent_ && parent_->IsTypeOf(id) ? parent_ : nullptr;
    if (type == kParentChild) CHandleRegistry::Instance().MakeChildren(*this, id);
    const RelationList* list = FindRelations(type);
    if (!list) return nullptr;
    const auto found = std::find_if(
        list->objects.begin(), list->objects.end(),
        [id](const CScriptable* object) { return !object->IsDeleted() && object->IsTypeOf(id); });
    return found == list->objects.end() ? nullptr : *found;
}

void CScriptable::GetObjects(ScriptableVec& objects, ClassId id, RelationType type) const {
    if (type == kChildParent) {
        if (parent_ && parent_->IsTypeOf(id)) objects.push_back(parent_);
        return;
    }
    if (type == kParentChild) CHandleRegistry::Instance().MakeChildren(*this, id);
    const RelationList* list = FindRelations(type);
    if (!list) return;
    // Deleted ones come last, so that the first match is a live object.
    bool deleted = false;
    const std::size_t count = list->objects.size();
    for (std::size_t i = 0; i < count; ++i) {
        // Objects are far apart in memory; prefetching the next ones hides the latency in large projects.
        if (i + 8 < count) __builtin_prefetch(list->objects[i + 8]);
        CScriptable* object = list->objects[i];
        if (!object->IsTypeOf(id)) continue;
        if (object->IsDeleted()) {
            deleted = true;
        } else {
            objects.push_back(object);
        }
    }
    if (!deleted) return;
    for (CScriptable* object : list->objects) {
        if (object->IsDeleted() && object->IsTypeOf(id)) objects.push_back(object);
    }
}

CScriptable* CScriptable::GetObject(const std::string& className, RelationType type) const {
    const CMetaClass* wanted = CMetaClassManager::Instance().GetClass(className);
    return wanted ? GetObject(wanted->GetClassId(), type) : nullptr;
}

void CScriptable::GetObjects(ScriptableVec& objects, const std::string& className, RelationType type) const {
    const CMetaClass* wanted = CMetaClassManager::Instance().GetClass(className);
    if (wanted) GetObjects(objects, wanted->GetClassId(), type);
}

ScriptableVec CScriptable::GetObjects(const std::string& className, RelationType type) const {
    ScriptableVec objects;
    GetObjects(objects, className, type);
    return objects;
}

void CScriptable::SetObjects(const ScriptableVec& objects, RelationType type, bool notify) {
    ScriptableVec present;
    GetObjects(present, CScriptable::CLASS_ID(), type);
    std::string error;
    for (CScriptable* object : present) {
        const bool stays = std::find(objects.begin(), objects.end(), object) != objects.end();
        if (!stays && !RemoveObject(*object, type, true, &error, notify))
            throw common::COrvRunTimeError(error);
    }
    for (CScriptable* object : objects) {
        if (!ContainsObject(*object, type) && !AddObject(*object, type, &error))
            throw common::COrvRunTimeError(error);
    }
}

}  // namespace orv::framework
