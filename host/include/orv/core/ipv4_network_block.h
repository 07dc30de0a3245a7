// Blocks of IPv4 addresses.
#pragma once

#include <cstdint>
#include <vector>

#include "orv/core/network_block.h"

namespace orv::core {

class CIpv4NetworkBlock : public CNetworkBlock {
  public:
    static framework::ClassId CLASS_ID();

    /// The first address of each block.
    const std::vector<common::CIpAddress>& GetStartIpList() const;
    void SetStartIpList(std::vector<common::CIpAddress> addresses);
    /// The increment between two addresses, as an address.
    common::CIpAddress GetNativeIncrementValue() const;
    /// Number of addresses of all blocks together.
    std::uint64_t GetEndpointCount() const override;
};

}  // namespace orv::core
