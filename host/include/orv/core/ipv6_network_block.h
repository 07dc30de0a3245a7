// Blocks of IPv6 addresses.
#pragma once

#include <cstdint>
#include <vector>

#include "orv/core/network_block.h"

namespace orv::core {

class CIpv6NetworkBlock : public CNetworkBlock {
  public:
    static framework::ClassId CLASS_ID();

    /// The first address of each block.
    const std::vector<common::CIpv6Address>& GetStartIpList() const;
    void SetStartIpList(std::vector<common::CIpv6Address> addresses);
    /// The increment between two addresses, as an address.
    common::CIpv6Address GetNativeIncrementValue() const;
    /// Number of addresses of all blocks together.
    std::uint64_t GetEndpointCount() const override;
};

}  // namespace orv::core
