// Hosts of a port that cannot be told apart.
#include <unordered_set>

#include "IptvErrors.h"
#include "IptvResources.h"
#include "control/FindByHandle.h"
#include "control/IptvStartTestCommand.h"
#include "control/StartTestReports.h"
#include "orv/core/emulated_device.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/network_interface_stack_enumerator.h"
#include "orv/core/port.h"
#include "orv/core/vlan_if.h"
#include "orv/framework/resources.h"
#include "orv/ids/core_ids.h"
#include "orv/igmpmld/multicast_port_config.h"

namespace orv::iptv {

namespace {

using framework::CBaseValidationContext;
using InterfaceList = std::vector<core::CNetworkInterface*>;

StbPortMap SortByPort(const std::vector<CIptvStbBlockConfig*>& blocks) {
    std::vector<std::uint32_t> handles;
    handles.reserve(blocks.size());
    for (const CIptvStbBlockConfig* block : blocks) handles.push_back(block->GetHandle());
    StbPortMap map;
    CIptvStartTestCommand::CreateStbMap(map, handles, false);
    return map;
}

/// Shows the interface stack of each host of the blocks, listed from the top, to `is_duplicate`, blocks on
/// devices that `skip` picks left out. True when it says so of one: the hosts after it are not looked at.
template <class Skip, class IsDuplicate>
bool FindDuplicate(const std::vector<std::uint32_t>& blocks, const Skip& skip,
                   const IsDuplicate& is_duplicate) {
    for (const std::uint32_t handle : blocks) {
        const auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
        if (!block) continue;
        const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block->GetParent());
        if (!device || skip(*device)) continue;
        const core::CNetworkInterface* interface = block->GetMcastIf();
        if (!interface) continue;
        core::CNetworkInterfaceStackEnumerator hosts(*interface);
        for (std::uint32_t host = 0; host < hosts.GetEndpointCount(); ++host) {
            const InterfaceList& stack = hosts.GetInterfaceList(host);
            if (!stack.empty() && is_duplicate(stack)) return true;
        }
    }
    return false;
}

/// The addresses of a port's hosts, each with the VLAN ids in front of it.
class AddressSets {
  public:
    /// Takes the address of a stack in. The kind of address when it was there before, else null. Global IPv6
    /// addresses are left out.
    const char* Add(const InterfaceList& stack);

  private:
    std::unordered_set<std::string> ipv4_;
    std::unordered_set<std::string> link_local_;
};

const char* AddressSets::Add(const InterfaceList& stack) {
    const core::CNetworkInterface& top = *stack.front();
    if (top.IsTypeOf(core::CIpv4If::CLASS_ID())) {
        const std::string address = top.GetIp(ids::Ipv4If::Address).ToString();
        const bool is_new = ipv4_.insert(CIptvStartTestCommand::GetVlanIds(stack) + address).second;
        return is_new ? nullptr : "IPv4";
    }
    if (top.IsTypeOf(core::CIpv6If::CLASS_ID())) {
        const common::CIpv6Address& address = top.GetIpv6(ids::Ipv6If::Address);
        if (!address.IsLinkLocalAddr()) return nullptr;
        const bool is_new =
            link_local_.insert(CIptvStartTestCommand::GetVlanIds(stack) + address.ToString()).second;
        return is_new ? nullptr : "IPv6 Link Local";
    }
    return nullptr;
}

bool IsShaped(const core::CPort& port) {
    const CScriptable* config =
        port.GetObject(igmpmld::CMulticastPortConfig::CLASS_ID(), common::kParentChild);
    return config && (config->Get("RatePps") != "0" || config->Get("MaxBurst") != "0");
}

}  // namespace

bool CIptvStartTestCommand::CheckForDuplicateAddresses(CBaseValidationContext& context) {
    const auto has_other_address = [](const core::CEmulatedDevice& device) {
        return DeviceIsPppoxClient(&device) || DeviceIsDhcpClient(&device);
    };
    for (const auto& [handle, blocks] : SortByPort(GetStbBlocks())) {
        const auto* port = FindByHandle<core::CPort>(handle);
        if (!port) continue;
        if (IsShaped(*port)) WarnOfTest(*this, context, resource::kPortLevelShaping);
        AddressSets addresses;
        const char* kind = nullptr;
        const auto is_duplicate = [&](const InterfaceList& stack) {
            kind = addresses.Add(stack);
            return kind != nullptr;
        };
        if (!FindDuplicate(blocks, has_other_address, is_duplicate)) continue;
        const std::string text =
            (framework::ResourceFormatter(resource::kDuplicateAddresses) << kind << port->GetName())
                .ToString();
        ReportError(context, text);
        return false;
    }
    return true;
}

bool CIptvStartTestCommand::CheckForDuplicateInterfaces(CBaseValidationContext&) const {
    const auto is_pppox_client = [](const core::CEmulatedDevice& device) {
        return DeviceIsPppoxClient(&device);
    };
    for (const auto& [port, blocks] : SortByPort(GetStbBlocks())) {
        std::unordered_set<std::string> layer2;
        const auto is_shared = [&layer2](const InterfaceList& stack) {
            return !layer2.insert(GetVlanIds(stack)).second;
        };
        if (FindDuplicate(blocks, is_pppox_client, is_shared)) return true;
    }
    return false;
}

std::string CIptvStartTestCommand::GetVlanIds(const std::vector<core::CNetworkInterface*>& interfaces) {
    std::string ids;
    for (auto layer = interfaces.rbegin(); layer != interfaces.rend(); ++layer) {
        if ((*layer)->IsTypeOf(core::CVlanIf::CLASS_ID()))
            ids += std::to_string((*layer)->GetU16(ids::VlanIf::VlanId)) + "/";
    }
    return ids;
}

bool CIptvStartTestCommand::DeviceIsPppoxClient(const core::CEmulatedDevice* device) {
    return DeviceHasActiveConfig(device, "AbstPppBlockConfig");
}

bool CIptvStartTestCommand::DeviceIsDhcpClient(const core::CEmulatedDevice* device) {
    return DeviceHasActiveConfig(device, "Dhcpv4BlockConfig") ||
           DeviceHasActiveConfig(device, "Dhcpv6BaseBlockConfig");
}

bool DeviceHasActiveConfig(const core::CEmulatedDevice* device, const std::string& className) {
    if (!device) return false;
    for (const CScriptable* config : device->GetObjects(className, common::kParentChild)) {
        if (config->GetActive() && !config->IsDeleted()) return true;
    }
    return false;
}

}  // namespace orv::iptv
