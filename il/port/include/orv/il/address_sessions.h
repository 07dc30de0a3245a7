// The hosts of a port that get their addresses from the network: when each begins, and what became of it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "msgset/hostaddr_1.h"
#include "orv/il/address_network.h"
#include "orv/il/port_configuration.h"
#include "orv/il/timeline.h"

namespace orv::il {

/// Has hosts ask for addresses and give them back, no more per second and at once than their block allows.
/// Used from one thread at a time, the timeline's. Functions with a handle throw PortFault if it is not
/// known.
class AddressSessions {
  public:
    using Block = hostaddr_1_bll::addressBlock_s;

    /// Both outlive the sessions.
    AddressSessions(ITimeline& timeline, AddressNetwork& network, std::uint64_t seed);
    /// Sends nothing: give_back_some() does.
    ~AddressSessions();
    AddressSessions(const AddressSessions&) = delete;
    AddressSessions& operator=(const AddressSessions&) = delete;

    /// A block whose handle is known is replaced; its hosts give back what they have. Throws PortFault.
    void configure(const std::vector<Block>& blocks, const PortConfiguration& configuration);
    void remove(const std::vector<std::uint32_t>& handles);
    /// Hosts that have no address ask for one, also those that have failed.
    void bind(const std::vector<std::uint32_t>& handles);
    /// Hosts give their address back, or stop asking.
    void release(const std::vector<std::uint32_t>& handles);
    /// The port ends: hosts that ask stop, and at most `most` of those that have an address give it back at
    /// once. False when none is left.
    bool give_back_some(std::size_t most);

    hostaddr_1_bll::addressCounts_s count(std::uint32_t handle) const;
    /// At most `most` hosts from `first` on.
    std::vector<hostaddr_1_bll::hostAddress_s> describe(std::uint32_t handle, std::uint32_t first,
                                                        std::uint32_t most) const;

  private:
    class Hosts;

    Hosts& find(std::uint32_t handle) const;
    std::vector<Hosts*> find_all(const std::vector<std::uint32_t>& handles) const;

    ITimeline& timeline_;
    AddressNetwork& network_;
    const std::uint64_t seed_;
    std::map<std::uint32_t, std::unique_ptr<Hosts>> blocks_;  ///< by handle
};

}  // namespace orv::il
