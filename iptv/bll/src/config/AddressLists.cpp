#include "config/AddressLists.h"

#include "orv/core/ipv4_if.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/ids/core_ids.h"

namespace orv::iptv {

namespace {

template <class Address>
void AppendRow(std::vector<ipAddress_t>& out, Address address, const Address& step, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i, address += step) out.push_back(ToIpAddress(address));
}

template <class Address>
void AppendList(std::vector<ipAddress_t>& out, const std::vector<Address>& addresses) {
    for (const Address& address : addresses) out.push_back(ToIpAddress(address));
}

template <class Block, class Address>
void AppendBlock(std::vector<ipAddress_t>& out, const Block& block, const Address& increment) {
    for (const Address& start : block.GetStartIpList())
        AppendRow(out, start, increment, block.GetNetworkCount());
}

}  // namespace

ipAddress_t ToIpAddress(const common::CIpAddress& address) {
    ipAddress_t result;
    result.type = ipAddress_t::kV4;
    address.CopyTo(result.v4.address);
    return result;
}

ipAddress_t ToIpAddress(const common::CIpv6Address& address) {
    ipAddress_t result;
    result.type = ipAddress_t::kV6;
    address.CopyTo(result.v6.address);
    return result;
}

void GetSrcList(std::vector<ipAddress_t>& out, core::CIpv4If* intf) {
    if (!intf->GetAddrList().empty()) return AppendList(out, intf->GetAddrList());
    AppendRow(out, intf->GetIp(ids::Ipv4If::Address), intf->GetIp(ids::Ipv4If::AddrStep),
              intf->GetAddressCount());
}

void GetSrcList(std::vector<ipAddress_t>& out, core::CIpv6If* intf) {
    if (!intf->GetAddrList().empty()) return AppendList(out, intf->GetAddrList());
    AppendRow(out, intf->GetIpv6(ids::Ipv6If::Address), intf->GetIpv6(ids::Ipv6If::AddrStep),
              intf->GetAddressCount());
}

void FillSrcListUserDefinedSources(std::vector<ipAddress_t>& out, core::CIpv4NetworkBlock* block) {
    AppendBlock(out, *block, common::CIpAddress(block->GetAddrIncrement()));
}

void FillSrcListUserDefinedSources(std::vector<ipAddress_t>& out, core::CIpv6NetworkBlock* block) {
    AppendBlock(out, *block, common::CIpv6Address::FromLow32(block->GetAddrIncrement()));
}

void BlockToVector(core::CNetworkBlock* block, std::vector<ipAddress_t>& out) {
    out.clear();
    if (const auto* v6 = dynamic_cast<const core::CIpv6NetworkBlock*>(block)) {
        AppendBlock(out, *v6, v6->GetNativeIncrementValue());
    } else if (const auto* v4 = dynamic_cast<const core::CIpv4NetworkBlock*>(block)) {
        AppendBlock(out, *v4, v4->GetNativeIncrementValue());
    }
}

}  // namespace orv::iptv
