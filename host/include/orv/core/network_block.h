// Blocks of network addresses.
#pragma once

#include <cstdint>

#include "orv/core/network_endpoint.h"

namespace orv::core {

/// Base of the address blocks: for each start address, GetNetworkCount addresses at a distance of
/// GetAddrIncrement.
class CNetworkBlock : public CNetworkEndpoint {
  public:
    static framework::ClassId CLASS_ID();

    std::uint32_t GetNetworkCount() const;
    void SetNetworkCount(std::uint32_t count);
    std::uint32_t GetAddrIncrement() const;
    void SetAddrIncrement(std::uint32_t increment);
};

}  // namespace orv::core
