// Hosts of a live port that get their addresses from the network.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "frame_sink.h"
#include "hash.h"
#include "host_stacks.h"
#include "neighbours.h"
#include "orv/il/address_network.h"
#include "orv/il/timeline.h"
#include "orv/live/frame_parser.h"
#include "orv/live/membership_host.h"

namespace orv::nic {

/// Makes their clients, brings them the frames that are for them, and knows who has which address. Answers
/// ARP and neighbour discovery for addresses that were given.
class LiveAddressing : public il::AddressNetwork {
  public:
    struct Events {
        /// Whether frames to broadcast addresses are needed may have changed.
        std::function<void()> listening_changed;
        /// A host has no address any more.
        std::function<void(const FormerAddress& before)> address_lost;
        /// A host has an address again, mostly another one, after it had one.
        std::function<void(const FormerAddress& before, const Host& now)> address_changed;
    };

    LiveAddressing(il::ITimeline& timeline, FrameSink& sink, Events events);

    Clients make_clients(const hostaddr_1_bll::addressBlock_s& block,
                         const il::PortConfiguration& configuration, std::uint64_t seed,
                         Changed changed) override;
    void host_changed(const hostaddr_1_bll::addressBlock_s& block, std::uint32_t host,
                      const Client& client) override;
    void forget(const hostaddr_1_bll::addressBlock_s& block) override;

    void on_frame(const live::ParsedFrame& frame, il::Time stamp);

    /// Whether the interface's hosts get their addresses here.
    bool has(std::uint32_t if_handle) const;
    /// The interface's hosts with what they were given; those without an address have an unspecified one.
    /// Only when has().
    const std::vector<Host>& get_hosts(std::uint32_t if_handle) const {
        return interfaces_.at(if_handle).hosts;
    }
    /// Whether servers may answer to 255.255.255.255.
    bool needs_broadcasts() const { return ipv4_clients_ > 0; }

  private:
    struct Interface {
        std::vector<Host> hosts;                      ///< as they are now
        std::vector<live::IpAddress> last_addresses;  ///< that they had; unspecified if none
        bool gives_addresses = true;                  ///< not prefixes
    };
    struct HostKey {
        std::uint32_t link;
        live::MacAddress mac;
        bool is_v6;
        bool operator==(const HostKey&) const = default;
    };
    struct HostKeyHash {
        std::size_t operator()(const HostKey& key) const;
    };

    Client* find(const live::VlanTags& vlan, const live::MacAddress& mac, bool is_v6) const;
    void on_datagram(const live::ParsedFrame& frame, const live::UdpPacket& packet);
    void tell_routers(const live::ParsedFrame& frame, const live::RouterAdvertisement& advertisement);
    void tell_address_used(const live::ParsedFrame& frame, const live::IpAddress& address,
                           const live::MacAddress& user);

    void listen_to_neighbours(const Host& host, std::uint64_t seed);
    void on_query(const live::ParsedFrame& frame, const live::MembershipQuery& query, il::Time stamp);

    il::ITimeline& timeline_;
    FrameSink& sink_;
    const Events events_;
    std::map<std::uint32_t, Interface> interfaces_;  ///< by IL handle
    std::unordered_map<HostKey, Client*, HostKeyHash> clients_;
    /// IPv6 hosts are members of the groups at which neighbours ask for their addresses (RFC 4861
    /// section 7.2.1): switches that snoop would not let these messages pass.
    std::unordered_map<HostKey, std::unique_ptr<live::MembershipHost>, HostKeyHash> members_;
    il::Time last_query_ = il::kNever;  ///< that was answered
    std::size_t ipv4_clients_ = 0;
    Neighbours neighbours_;  ///< hosts that have an address, and link-local ones
};

}  // namespace orv::nic
