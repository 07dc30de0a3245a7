#include "config/ChannelAddress.h"

#include "IptvErrors.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"

namespace orv::iptv {

namespace {

template <class Block, class Address>
Address AddSteps(const Block& block, Address step, std::uint32_t offset) {
    if (block.GetStartIpList().empty()) {
        ThrowLookupFailure({"StartIpList", "NetworkBlock", "GetChannelAddress"},
                           "NetworkBlock " + block.GetName() + " has no start address");
    }
    Address address = block.GetStartIpList().front();
    return address += (step *= offset);
}

}  // namespace

common::CIpAddress GetChannelAddress(const core::CIpv4NetworkBlock& block, std::uint32_t offset) {
    return AddSteps(block, common::CIpAddress(block.GetAddrIncrement()), offset);
}

common::CIpv6Address GetChannelAddress(const core::CIpv6NetworkBlock& block, std::uint32_t offset) {
    return AddSteps(block, common::CIpv6Address::FromLow32(block.GetAddrIncrement()), offset);
}

}  // namespace orv::iptv
