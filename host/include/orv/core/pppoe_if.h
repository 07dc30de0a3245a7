// PPPoE layer: a session for each host.
#pragma once

#include "orv/core/network_interface.h"

namespace orv::core {

class CPppoeIf : public CNetworkInterface {
  public:
    static framework::ClassId CLASS_ID();

    /// The session id of each host, in the order of the hosts.
    std::vector<std::uint16_t> GetSessionIdList() const;
    void TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) override;
};

}  // namespace orv::core
