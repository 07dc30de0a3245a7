// How the hosts of a port reach those who give addresses.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "msgset/hostaddr_1.h"
#include "orv/il/port_configuration.h"
#include "orv/live/address_client.h"

namespace orv::il {

/// A part of a port's world. Used from the timeline's thread.
class AddressNetwork {
  public:
    using Client = live::AddressClient;
    /// Called when the client of a host has changed.
    using Changed = std::function<void(std::uint32_t host)>;
    using Clients = std::vector<std::unique_ptr<Client>>;

    virtual ~AddressNetwork() = default;

    /// One client for each host of the block. Throws PortFault when the block's hosts are not those of its
    /// interface, or cannot ask in this way.
    virtual Clients make_clients(const hostaddr_1_bll::addressBlock_s& block,
                                 const PortConfiguration& configuration, std::uint64_t seed,
                                 Changed changed) = 0;
    /// What a host has been given, or is not any more. The client is one of those of the block.
    virtual void host_changed(const hostaddr_1_bll::addressBlock_s& block, std::uint32_t host,
                              const Client& client) = 0;
    /// The clients of the block are about to be destroyed.
    virtual void forget(const hostaddr_1_bll::addressBlock_s& block) = 0;
};

}  // namespace orv::il
