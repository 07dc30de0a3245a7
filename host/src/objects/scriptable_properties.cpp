// Properties of an object: slots, text, change notification, active state.
#include <algorithm>
#include <typeinfo>

#include "orv/framework/change_log.h"
#include "orv/framework/notification_service.h"
#include "orv/framework/scriptable.h"
#include "orv/ids/framework_ids.h"
#include "scriptable_extras.h"

namespace orv::framework {

void CScriptable::SetMetaClass(const CMetaClass* metaClass) {
    ORV_ASSERT(meta_class_ == nullptr, "An object gets its class once");
    meta_class_ = metaClass;
    values_ = metaClass->GetDefaults();
}

const CPropertyMeta& CScriptable::FindPropertyOrThrow(PropId id) const {
    const CPropertyMeta* meta = meta_class_ ? meta_class_->FindProperty(id) : nullptr;
    if (!meta) {
        char text[16];
        std::snprintf(text, sizeof text, "0x%x", id.GetValue());
        throw common::COrvLogicError(Describe() + " has no property " + text);
    }
    return *meta;
}

void CScriptable::ThrowWrongType(const CPropertyMeta& meta, const char* asked_for) const {
    if (std::holds_alternative<std::monostate>(values_[meta.slot])) {
        throw common::COrvLogicError(Describe() + ": property " + meta.name + " holds no value");
    }
    throw common::COrvLogicError(Describe() + ": property " + meta.name + " is of type " +
                                 GetTypeName(meta.type) + (meta.collection ? " (a collection)" : "") +
                                 " and cannot be used as type " + asked_for);
}

bool CScriptable::GetNullableHasValue(PropId id) const {
    return !std::holds_alternative<std::monostate>(values_[FindPropertyOrThrow(id).slot]);
}

void CScriptable::SetValue(PropId id, PropertyValue value) {
    const CPropertyMeta& meta = FindPropertyOrThrow(id);
    const std::size_t type = meta.default_value.index();
    if (type != 0 && value.index() != 0 && value.index() != type) {
        const char* given = std::visit([](const auto& held) { return typeid(held).name(); }, value);
        ThrowWrongType(meta, given);
    }
    try {
        meta.Check(value);
    } catch (const common::COrvRunTimeError& error) {
        throw common::COrvRunTimeError(Describe() + ": " + error.what());
    }
    StoreValue(meta, std::move(value));
}

void CScriptable::Set(PropId id, const std::string& text) {
    const CPropertyMeta& meta = FindPropertyOrThrow(id);
    PropertyValue value;
    try {
        value = meta.Parse(text);
    } catch (const common::COrvRunTimeError& error) {
        throw common::COrvRunTimeError(Describe() + ": " + error.what());
    }
    StoreValue(meta, std::move(value));
}

void CScriptable::Get(PropId id, std::string& text) const {
    const CPropertyMeta& meta = FindPropertyOrThrow(id);
    text = meta.Format(values_[meta.slot]);
}

namespace {

const CPropertyMeta& FindByName(const CScriptable& object, const char* name) {
    const CMetaClass* meta_class = object.GetMetaClass();
    const CPropertyMeta* meta = meta_class ? meta_class->FindProperty(std::string(name)) : nullptr;
    if (!meta) throw common::COrvRunTimeError(object.Describe() + " has no property \"" + name + "\"");
    return *meta;
}

}  // namespace

void CScriptable::Set(const char* name, const std::string& text) {
    const CPropertyMeta& meta = FindByName(*this, name);
    if (meta.read_only)
        throw common::COrvRunTimeError(Describe() + ": property " + meta.name + " is read-only");
    Set(meta.id, text);
}

void CScriptable::Get(const char* name, std::string& text) const {
    Get(FindByName(*this, name).id, text);
}

std::string CScriptable::Get(const char* name) const {
    std::string text;
    Get(name, text);
    return text;
}

void CScriptable::StoreValue(const CPropertyMeta& meta, PropertyValue value) {
    // Active combines the user's choice and the ancestors; setting it sets the choice.
    if (meta.id == ids::Scriptable::Active)
        return StoreValue(FindPropertyOrThrow(ids::Scriptable::LocalActive), value);
    ORV_ASSERT(meta.id != ids::Scriptable::Handle, "A handle is given once, by the creator");

    PropertyValue& slot = values_[meta.slot];
    if (slot == value) return;
    slot = std::move(value);
    if (meta.id == ids::Scriptable::Name) auto_named_ = false;
    if (meta.transient) {
        CChangeLog::Instance().Note(*this);
    } else {
        MarkModified();
    }
    NotifyPropertyModified(meta);
    if (meta.id == ids::Scriptable::LocalActive) UpdateActive(!parent_ || parent_->GetActive());
}

void CScriptable::NotifyPropertyModified(const CPropertyMeta& meta) {
    Property property{*this, meta};
    OnPropertyModified(property);
    if (extras_ && !extras_->property_delegates.empty()) {
        // A delegate may register and unregister others; one that was removed meanwhile is not called.
        const auto delegates = extras_->property_delegates;
        for (const auto& entry : delegates) {
            const auto& current = extras_->property_delegates;
            if (entry.first == meta.id && std::find(current.begin(), current.end(), entry) != current.end()) {
                entry.second(this, meta.id);
            }
        }
    }
    CNotificationService::Instance().Notify(*this, CNotificationService::Change::Property);
}

bool CScriptable::GetActive() const {
    return !meta_class_ || GetBool(ids::Scriptable::Active);
}

void CScriptable::UpdateActive(bool parent_active) {
    const bool active = parent_active && GetBool(ids::Scriptable::LocalActive);
    if (active == GetActive() || !OnPropagatingActive(active)) return;
    const CPropertyMeta& meta = FindPropertyOrThrow(ids::Scriptable::Active);
    values_[meta.slot] = active;
    MarkModified();
    NotifyPropertyModified(meta);
    if (const RelationList* children = FindRelations(common::kParentChild)) {
        for (CScriptable* child : std::vector<CScriptable*>(children->objects)) child->UpdateActive(active);
    }
}

void CScriptable::DoPropagateActiveState(bool active, bool children) {
    Set(ids::Scriptable::LocalActive, active);
    if (!children) return;
    if (const RelationList* below = FindRelations(common::kParentChild)) {
        for (CScriptable* child : std::vector<CScriptable*>(below->objects))
            child->DoPropagateActiveState(active, true);
    }
}

void CScriptable::DoPropagateActiveState(CScriptable& object, RelationType type, bool active) {
    if (ContainsObject(object, type)) object.DoPropagateActiveState(active, true);
}

bool CScriptable::OnPropagatingActive(bool) {
    return true;
}

void CScriptable::ResetDefaults() {
    for (const CPropertyMeta* meta : meta_class_->GetProperties()) {
        const bool identity = meta->id.GetClassId() == ids::Scriptable::CLASS;
        if (!identity) StoreValue(*meta, meta->default_value);
    }
}

void CScriptable::UpdateObjectName() {
    if (!auto_named_) return;
    Set(ids::Scriptable::Name, OnUpdateAutoObjectName());
    auto_named_ = true;
}

}  // namespace orv::framework
