#include "IptvStbBlockConfig.h"

#include "InitAttributeBuilder.h"
#include "orv/common/exceptions.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace {

framework::RelationChangeDelegate MakeDelegate(CIptvStbBlockConfig* block) {
    return framework::RelationChangeDelegate::To<&CIptvStbBlockConfig::RelChangeHandler>(block);
}

CScriptable& GetParentOrThrow(const CIptvStbBlockConfig& block) {
    CScriptable* const parent = block.GetParent();
    ORV_ASSERT(parent != NULL, "Serious error: No parent");
    return *parent;
}

}  // namespace

CIptvStbBlockConfig::CIptvStbBlockConfig() = default;
CIptvStbBlockConfig::~CIptvStbBlockConfig() {
    StopListening();
}

ClassId CIptvStbBlockConfig::CLASS_ID() {
    static const ClassId id = ids::IptvStbBlockConfig::CLASS;
    return id;
}

const framework::CMetaClass* CIptvStbBlockConfig::GetMetaClassStatic() {
    static const framework::CMetaClass* const meta_class =
        framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
    return meta_class;
}

std::uint32_t CIptvStbBlockConfig::GetIndexHandle() const {
    if (!GetParent()) return 0;
    const CScriptable* port = GetParent()->GetObject(ids::Port::CLASS, ids::relations::AffiliationPort);
    return port ? port->GetHandle() : 0;
}

bool CIptvStbBlockConfig::OnInit() {
    CScriptable& device = GetParentOrThrow(*this);
    AddObjectToMap();
    Listen(device);
    return true;
}

bool CIptvStbBlockConfig::OnMarkDelete() {
    GetParentOrThrow(*this);
    StopListening();
    if (GetBlockKey() != 0 && HasBlockIndex()) LeaveGroup();
    return true;
}

void CIptvStbBlockConfig::Listen(CScriptable& device) {
    StopListening();
    device.RegisterRelationChangeDelegate(MakeDelegate(this));
    listening_to_ = device.GetHandle();
}

void CIptvStbBlockConfig::StopListening() {
    CScriptable* device = framework::CHandleRegistry::Instance().Find(listening_to_);
    if (device) device->UnregisterRelationChangeDelegate(MakeDelegate(this));
    listening_to_ = 0;
}

void CIptvStbBlockConfig::OnRelationModified(RelationType type, CScriptable& other, bool added) {
    // A block that is moved to another device belongs to that device's port from then on.
    if (type == common::kChildParent && !IsDeleted()) {
        if (!added) {
            StopListening();
            RemoveObjectFromMap();
        } else if (other.GetHandle() != listening_to_) {
            Listen(other);
            AddObjectToMap();
        }
    }
    CScriptable::OnRelationModified(type, other, added);
}

void CIptvStbBlockConfig::RelChangeHandler(CScriptable& source, CScriptable& other, RelationType type,
                                           bool added) {
    if (type != ids::relations::AffiliationPort || !source.IsTypeOf(ids::EmulatedDevice::CLASS) ||
        !other.IsTypeOf(ids::Port::CLASS)) {
        return;
    }
    if (added && !HasBlockIndex()) {
        AddObjectToMap();
    } else if (!added && HasBlockIndex()) {
        RemoveObjectFromMap();
    }
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvStbBlockConfig> registration{CIptvStbBlockConfig::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
