// Interface stacks as a host application sends them.
#pragma once

#include <algorithm>
#include <vector>

#include "msgset/interface_requests.h"
#include "orv/live/address.h"

namespace testing_aids {

/// The stack of hosts that are of one family and have as many tags each. Layers from IP down, each with a
/// list.
inline IFSETUP_1_bll::NetworkInterfaceStack_s stack_of(const std::vector<orv::live::HostAddress>& hosts) {
    using IFSETUP_1_bll::InterfaceTypeList_t;
    IFSETUP_1_bll::NetworkInterfaceStack_s stack;
    const bool is_v6 = hosts.front().ip.IsV6();
    stack.ifDescriptors.push_back({is_v6 ? InterfaceTypeList_t::IPv6 : InterfaceTypeList_t::IPv4, 0});
    const auto add_addresses = [&hosts](auto& layer) {
        for (const auto& host : hosts)
            std::ranges::copy(host.ip.GetBytes(), layer.AddrList.emplace_back().address);
    };
    is_v6 ? add_addresses(stack.Ipv6InterfaceList.emplace_back())
          : add_addresses(stack.Ipv4InterfaceList.emplace_back());
    const std::uint32_t tags = hosts.front().vlan.count;
    for (std::uint32_t i = 0; i < tags; ++i) {
        const std::size_t tag = tags - 1 - i;  // the inner one first
        stack.ifDescriptors.push_back({InterfaceTypeList_t::VLAN, i});
        auto& layer = stack.VlanInterfaceList.emplace_back();
        for (const auto& host : hosts) layer.IdList.push_back(host.vlan.tags[tag].GetId());
        layer.Priority = static_cast<std::uint8_t>(hosts.front().vlan.tags[tag].control >> 13);
        layer.Cfi = hosts.front().vlan.tags[tag].control >> 12 & 1;
        layer.Tpid = hosts.front().vlan.tags[tag].type;
    }
    stack.ifDescriptors.push_back({InterfaceTypeList_t::ETHII, 0});
    auto& layer = stack.EthIIInterfaceList.emplace_back();
    for (const auto& host : hosts)
        layer.SrcMacList.push_back({{host.mac.bytes.begin(), host.mac.bytes.end()}});
    return stack;
}

}  // namespace testing_aids
