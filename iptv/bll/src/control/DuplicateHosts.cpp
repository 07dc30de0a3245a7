#include "control/DuplicateHosts.h"

#include <unordered_set>

#include "FindByHandle.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/core/emulated_device.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/network_interface_stack_enumerator.h"
#include "orv/core/port.h"
#include "orv/core/vlan_if.h"
#include "orv/ids/core_ids.h"
#include "orv/igmpmld/multicast_port_config.h"

namespace orv::iptv {

namespace {

using InterfaceList = std::vector<core::CNetworkInterface*>;

/// True if `is_duplicate` returns true for the interface stack (from the top) of any host of the blocks;
/// later hosts are not examined. Devices for which `skip` is true are left out.
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
        const bool is_new = ipv4_.insert(GetVlanIds(stack) + address).second;
        return is_new ? nullptr : "IPv4";
    }
    if (top.IsTypeOf(core::CIpv6If::CLASS_ID())) {
        const common::CIpv6Address& address = top.GetIpv6(ids::Ipv6If::Address);
        if (!address.IsLinkLocalAddr()) return nullptr;
        const bool is_new = link_local_.insert(GetVlanIds(stack) + address.ToString()).second;
        return is_new ? nullptr : "IPv6 Link Local";
    }
    return nullptr;
}

}  // namespace

bool IsJoinRateShaped(const core::CPort& port) {
    const CScriptable* config =
        port.GetObject(igmpmld::CMulticastPortConfig::CLASS_ID(), common::kParentChild);
    return config && (config->Get("RatePps") != "0" || config->Get("MaxBurst") != "0");
}

const char* FindDuplicateAddress(const std::vector<std::uint32_t>& stbBlocks) {
    const auto has_other_address = [](const core::CEmulatedDevice& device) {
        return DeviceIsPppoxClient(&device) || DeviceIsDhcpClient(&device);
    };
    AddressSets addresses;
    const char* kind = nullptr;
    FindDuplicate(stbBlocks, has_other_address, [&](const InterfaceList& stack) {
        kind = addresses.Add(stack);
        return kind != nullptr;
    });
    return kind;
}

bool ShareLayer2Interface(const std::vector<std::uint32_t>& stbBlocks) {
    const auto is_pppox_client = [](const core::CEmulatedDevice& device) {
        return DeviceIsPppoxClient(&device);
    };
    std::unordered_set<std::string> layer2;
    return FindDuplicate(stbBlocks, is_pppox_client, [&layer2](const InterfaceList& stack) {
        return !layer2.insert(GetVlanIds(stack)).second;
    });
}

std::string GetVlanIds(const std::vector<core::CNetworkInterface*>& interfaces) {
    std::string ids;
    for (auto layer = interfaces.rbegin(); layer != interfaces.rend(); ++layer) {
        if ((*layer)->IsTypeOf(core::CVlanIf::CLASS_ID()))
            ids += std::to_string((*layer)->GetU16(ids::VlanIf::VlanId)) + "/";
    }
    return ids;
}

bool DeviceIsPppoxClient(const core::CEmulatedDevice* device) {
    return DeviceHasActiveConfig(device, "AbstPppBlockConfig");
}

bool DeviceIsDhcpClient(const core::CEmulatedDevice* device) {
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
