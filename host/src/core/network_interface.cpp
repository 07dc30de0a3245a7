#include "orv/core/network_interface.h"

#include <algorithm>

#include "il_handle_table.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/ids/core_ids.h"

namespace orv::core {

framework::ClassId CNetworkEndpoint::CLASS_ID() {
    return ids::NetworkEndpoint::CLASS;
}

CNetworkInterface::~CNetworkInterface() {
    if (GetHandle() != 0) CIlHandleTable::Instance().ForgetInterface(GetHandle());
}

framework::ClassId CNetworkInterface::CLASS_ID() {
    return ids::NetworkInterface::CLASS;
}

std::uint32_t CNetworkInterface::GetIlIfHandle(const CPort* port, const framework::CScriptable*) const {
    if (!port || GetHandle() == 0) return 0;
    return CIlHandleTable::Instance().Get(port->GetHandle(), GetHandle());
}

CNetworkInterface* CNetworkInterface::GetLowerInterface() const {
    return dynamic_cast<CNetworkInterface*>(
        GetObject(CNetworkInterface::CLASS_ID(), ids::relations::StackedOn));
}

void CNetworkInterface::GetNetworkInterfaceStack(std::vector<CNetworkInterface*>& stack) const {
    const auto first = static_cast<std::ptrdiff_t>(stack.size());
    for (const CNetworkInterface* layer = this; layer; layer = layer->GetLowerInterface()) {
        stack.push_back(const_cast<CNetworkInterface*>(layer));
    }
    std::reverse(stack.begin() + first, stack.end());
}

CEmulatedDevice* CNetworkInterface::GetDevice() const {
    return dynamic_cast<CEmulatedDevice*>(GetParent());
}

std::uint32_t CNetworkInterface::GetInstanceCount() const {
    const CEmulatedDevice* device = GetDevice();
    return device ? device->GetDeviceCount() : 1;
}

void CNetworkInterface::TakeValuesOfHost(const CNetworkInterface&, std::uint32_t) {}

bool CNetworkInterface::OnPreValidateRelationChange(framework::RelationType type,
                                                    framework::CScriptable& object, bool added,
                                                    std::string& reason) {
    if (added && type == ids::relations::StackedOn) {
        for (auto* layer = dynamic_cast<const CNetworkInterface*>(&object); layer;
             layer = layer->GetLowerInterface()) {
            if (layer != this) continue;
            reason = "an interface cannot be stacked on itself";
            return false;
        }
    }
    return CNetworkEndpoint::OnPreValidateRelationChange(type, object, added, reason);
}

}  // namespace orv::core
