// Hosts of a simulated port that get their addresses from the simulated network.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "orv/il/address_network.h"
#include "orv/il/network.h"
#include "orv/il/timeline.h"

namespace orv::il {

/// A server that answers after a while, or not at all, as the network's behaviour says. It gives addresses of
/// 100.64.0.0/10 (RFC 6598) and 2001:db8::/64 (RFC 3849), each once, for ever.
class SimulatedAddressing : public AddressNetwork {
  public:
    /// All outlive it.
    SimulatedAddressing(const std::string& port, const Network& network, ITimeline& timeline);

    Clients make_clients(const hostaddr_1_bll::addressBlock_s& block, const PortConfiguration& configuration,
                         std::uint64_t seed, Changed changed) override;
    void host_changed(const hostaddr_1_bll::addressBlock_s& block, std::uint32_t host,
                      const Client& client) override;
    void forget(const hostaddr_1_bll::addressBlock_s& block) override;

    /// By host of the interface, whether it waits for an address; empty if its hosts have theirs already.
    std::vector<bool> get_absent(std::uint32_t if_handle) const;

  private:
    const NetworkBehaviour& behaviour() const;

    const std::string& port_;
    const Network& network_;
    ITimeline& timeline_;
    std::map<std::uint32_t, std::vector<bool>> absent_;  ///< by IL handle
    std::uint32_t given_ = 0;                            ///< addresses
};

}  // namespace orv::il
