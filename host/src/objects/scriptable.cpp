// Identity, state, delegates and end of an object.
#include "orv/framework/scriptable.h"

#include <algorithm>

#include "orv/framework/change_log.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/notification_service.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/framework_ids.h"
#include "scriptable_extras.h"

namespace orv::framework {

CScriptable::CScriptable() {
    Touch();
}

CScriptable::~CScriptable() {
    CNotificationService::Instance().Notify(*this, CNotificationService::Change::Destroyed);
    // Delete() has ended relations and destroyed the children where there were any; what is left of an object
    // that was released or whose creation failed is destroyed without callbacks: its class no longer exists.
    if (const RelationList* children = FindRelations(common::kParentChild)) {
        const std::vector<CScriptable*> doomed = children->objects;
        for (auto child = doomed.rbegin(); child != doomed.rend(); ++child) (*child)->Delete();
    }
    RemoveAllRelations(false, false);
    if (parent_) parent_->Unlink(*this, common::kParentChild);
    if (handle_ != 0) CHandleRegistry::Instance().Unregister(handle_);
}

ClassId CScriptable::CLASS_ID() {
    return ids::Scriptable::CLASS;
}

ClassId CScriptable::GetClassId() const {
    return meta_class_ ? meta_class_->GetClassId() : ClassId{};
}

bool CScriptable::IsTypeOf(ClassId id) const {
    return meta_class_ && meta_class_->IsTypeOf(id);
}

bool CScriptable::IsTypeOf(const char* className) const {
    return meta_class_ && meta_class_->IsTypeOf(std::string_view(className));
}

const std::string& CScriptable::GetName() const {
    static const std::string nameless;
    return meta_class_ ? GetString(ids::Scriptable::Name) : nameless;
}

std::string CScriptable::Describe() const {
    if (!meta_class_) return "an object without class";
    return meta_class_->GetName() + " \"" + GetName() + "\"";
}

bool CScriptable::IsSingleton() const {
    return meta_class_ && meta_class_->GetDefinition().is_singleton;
}

CScriptable::Extras& CScriptable::MakeExtras() {
    if (!extras_) extras_ = std::make_unique<Extras>();
    return *extras_;
}

void CScriptable::RegisterRelationChangeDelegate(const RelationChangeDelegate& delegate) {
    auto& delegates = MakeExtras().relation_delegates;
    if (std::find(delegates.begin(), delegates.end(), delegate) == delegates.end())
        delegates.push_back(delegate);
}

void CScriptable::UnregisterRelationChangeDelegate(const RelationChangeDelegate& delegate) {
    if (extras_) std::erase(extras_->relation_delegates, delegate);
}

void CScriptable::RegisterPropertyChangeDelegate(PropId id, const PropertyChangeDelegate& delegate) {
    FindPropertyOrThrow(id);
    auto& delegates = MakeExtras().property_delegates;
    const auto entry = std::make_pair(id, delegate);
    if (std::find(delegates.begin(), delegates.end(), entry) == delegates.end()) delegates.push_back(entry);
}

void CScriptable::UnregisterPropertyChangeDelegate(PropId id, const PropertyChangeDelegate& delegate) {
    if (extras_) std::erase(extras_->property_delegates, std::make_pair(id, delegate));
}

void CScriptable::SetObjectState(State state) {
    state_ = state;
    CChangeLog::Instance().Note(*this);
}

void CScriptable::Touch() {
    CChangeLog& log = CChangeLog::Instance();
    log.Note(*this);
    modified_at_ = log.now_;
}

void CScriptable::MarkModified() {
    Touch();
    if (state_ == STATE_UNCHANGED) state_ = STATE_MODIFIED;
}

bool CScriptable::IsObjectDirty(bool children) const {
    if (state_ != STATE_UNCHANGED) return true;
    if (!children) return false;
    const RelationList* below = FindRelations(common::kParentChild);
    return below && std::any_of(below->objects.begin(), below->objects.end(),
                                [](const CScriptable* child) { return child->IsObjectDirty(true); });
}

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
    // Everything below is notified while it is still complete, so that no partly destroyed object is called.
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

bool CScriptable::CanSave() const {
    return true;
}
bool CScriptable::CanDelete() const {
    return true;
}
void CScriptable::EventCallback(const std::string&, CScriptable*) {}
bool CScriptable::OnInit() {
    return true;
}
bool CScriptable::OnMarkDelete() {
    return true;
}
void CScriptable::ResetSingleton() {
    ResetDefaults();
}
bool CScriptable::OnCreateDefaultChild(const CMetaClass&) {
    return true;
}
void CScriptable::OnLoadCompleted() {}
void CScriptable::OnPropertyModified(Property&) {}
std::uint32_t CScriptable::GetDataStoreLayerCount() const {
    return 1;
}
bool CScriptable::PerformOperation(const std::string&, const std::string&, std::string&) {
    return false;
}

namespace {

/// Classes of the data model without a C++ class of their own are plain objects.
ORV_REGISTER_CLASS(CScriptable);

}  // namespace

}  // namespace orv::framework
