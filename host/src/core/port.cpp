#include "orv/core/port.h"

#include "il_handle_table.h"
#include "orv/core/orv_system.h"
#include "orv/core/physical_chassis.h"
#include "orv/core/port_group.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/core_ids.h"

namespace orv::core {

CPort::~CPort() {
    CIlHandleTable::Instance().ForgetPort(GetHandle());
}

framework::ClassId CPort::CLASS_ID() {
    return ids::Port::CLASS;
}

CPortGroup* CPort::GetPortGroup() const {
    return dynamic_cast<CPortGroup*>(GetObject(CPortGroup::CLASS_ID(), ids::relations::AffiliationPortGroup));
}

CPhysicalChassis* CPort::GetChassis() const {
    const CPortGroup* group = GetPortGroup();
    return group ? dynamic_cast<CPhysicalChassis*>(group->GetParent()) : nullptr;
}

framework::Messenger CPort::GetMessenger() const {
    const std::string& location = GetString(ids::Port::Location);
    return framework::Messenger(location.empty() ? GetName() : location);
}

bool CPort::IsOnline() const {
    return GetBool(ids::Port::Online);
}

bool CPort::IsReachable() const {
    return IsOnline() || COrvSystem::OfflinePortsTakePart();
}

framework::ClassId CPortGroup::CLASS_ID() {
    return ids::PortGroup::CLASS;
}

framework::ClassId CPhysicalChassis::CLASS_ID() {
    return ids::PhysicalChassis::CLASS;
}

ORV_REGISTER_CLASS(CPort);
ORV_REGISTER_CLASS(CPortGroup);
ORV_REGISTER_CLASS(CPhysicalChassis);

}  // namespace orv::core
