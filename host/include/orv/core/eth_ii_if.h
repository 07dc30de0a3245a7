// Ethernet II layer: a MAC address for each host.
#pragma once

#include "orv/core/network_interface.h"

namespace orv::core {

class CEthIIIf : public CNetworkInterface {
  public:
    static framework::ClassId CLASS_ID();
    void TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) override;
};

}  // namespace orv::core
