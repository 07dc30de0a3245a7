#include "addresses.h"

#include "orv/core/ipv4_if.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/core/network_interface_stack_enumerator.h"
#include "orv/ids/core_ids.h"

namespace orv::app {

namespace {

ipAddress_t ToAddressRecord(const common::CIpAddress& address) {
    ipAddress_t converted;
    converted.type = ipAddress_t::kV4;
    address.CopyTo(converted.v4.address);
    return converted;
}

ipAddress_t ToAddressRecord(const common::CIpv6Address& address) {
    ipAddress_t converted;
    converted.type = ipAddress_t::kV6;
    address.CopyTo(converted.v6.address);
    return converted;
}

template <class Block, class Address>
void Append(const Block& block, const Address& step, std::vector<ipAddress_t>& addresses) {
    for (Address address : block.GetStartIpList()) {
        for (std::uint32_t i = 0; i < block.GetNetworkCount(); ++i, address += step)
            addresses.push_back(ToAddressRecord(address));
    }
}

/// Calls `visit` with the stack of each host behind an IP interface, from that interface down.
template <class Visit>
void ForEachHost(const core::CNetworkEndpoint& endpoint, const Visit& visit) {
    const auto* top = dynamic_cast<const core::CNetworkInterface*>(&endpoint);
    if (!top || (!top->IsTypeOf(core::CIpv4If::CLASS_ID()) && !top->IsTypeOf(core::CIpv6If::CLASS_ID())))
        return;
    core::CNetworkInterfaceStackEnumerator hosts(*top);
    for (std::uint32_t host = 0; host < hosts.GetEndpointCount(); ++host) visit(hosts.GetInterfaceList(host));
}

ipAddress_t GetIp(const core::CNetworkInterface& interface) {
    return interface.IsTypeOf(core::CIpv4If::CLASS_ID())
               ? ToAddressRecord(interface.GetIp(ids::Ipv4If::Address))
               : ToAddressRecord(interface.GetIpv6(ids::Ipv6If::Address));
}

}  // namespace

std::vector<ipAddress_t> GetAddresses(const core::CNetworkBlock& block) {
    std::vector<ipAddress_t> addresses;
    if (const auto* v4 = dynamic_cast<const core::CIpv4NetworkBlock*>(&block))
        Append(*v4, common::CIpAddress(block.GetAddrIncrement()), addresses);
    if (const auto* v6 = dynamic_cast<const core::CIpv6NetworkBlock*>(&block))
        Append(*v6, common::CIpv6Address::FromLow32(block.GetAddrIncrement()), addresses);
    return addresses;
}

std::vector<ipAddress_t> GetHostAddresses(const core::CNetworkEndpoint& endpoint) {
    std::vector<ipAddress_t> addresses;
    ForEachHost(endpoint, [&addresses](const auto& stack) { addresses.push_back(GetIp(*stack.front())); });
    return addresses;
}

}  // namespace orv::app
