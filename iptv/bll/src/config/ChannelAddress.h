// The address of a channel.
#pragma once

#include <cstdint>

#include "orv/common/addresses.h"

namespace orv::core {
class CIpv4NetworkBlock;
class CIpv6NetworkBlock;
}  // namespace orv::core

namespace orv::iptv {

/// The block's first start address, and its increment added `offset` times. Throws COrvRunTimeError when the
/// block has no start address.
common::CIpAddress GetChannelAddress(const core::CIpv4NetworkBlock& block, std::uint32_t offset);
common::CIpv6Address GetChannelAddress(const core::CIpv6NetworkBlock& block, std::uint32_t offset);

}  // namespace orv::iptv
