// IPv6 layer: an address for each host.
#pragma once

#include "orv/core/network_interface.h"

namespace orv::core {

class CIpv6If : public CNetworkInterface {
  public:
    static framework::ClassId CLASS_ID();

    /// Explicit addresses of the hosts; empty when they follow from the first address and the step.
    const std::vector<common::CIpv6Address>& GetAddrList() const;
    /// Number of hosts.
    std::uint32_t GetAddressCount() const { return GetInstanceCount(); }
    void TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) override;
};

}  // namespace orv::core
