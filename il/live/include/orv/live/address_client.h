// What all ways to get an address from the network have in common, for one emulated host.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>

#include "orv/il/timeline.h"
#include "orv/live/address.h"
#include "orv/live/router_advertisement.h"

namespace orv::live {

/// What a host was given.
struct GivenAddress {
    IpAddress address;
    std::uint8_t prefix_length = 0;
    IpAddress gateway = {};  ///< of the address's family; unspecified: none
    std::optional<MacAddress> gateway_mac = {};
    IpAddress server = {};  ///< who gave it; unspecified: not known
    /// Of the timeline; kForever: always.
    std::chrono::nanoseconds valid_until = kForever;

    static constexpr std::chrono::nanoseconds kForever = std::chrono::nanoseconds::max();
    bool operator==(const GivenAddress&) const = default;
};

/// How often something happened to one host, or to several.
struct AddressCounts {
    std::uint64_t sent = 0;       ///< messages
    std::uint64_t received = 0;   ///< answers that were for the host and made sense
    std::uint64_t ignored = 0;    ///< answers for the host that could not be used: late, doubled, damaged
    std::uint64_t repeated = 0;   ///< messages sent again because no answer came
    std::uint64_t refused = 0;    ///< by a server: DHCPNAK, a status code that is an error
    std::uint64_t conflicts = 0;  ///< addresses given that somebody else has; declined if noticed before use
    std::uint64_t renewed = 0;    ///< leases prolonged by the server that gave them
    std::uint64_t rebound = 0;    ///< by another, or after a broadcast
    std::uint64_t changed = 0;    ///< a host that was bound got another address
    std::uint64_t lost = 0;       ///< a host that was bound has no address any more
};

/// A state machine over messages and time. Knows no socket: frames go out by a function, and what comes in is
/// handed over by whoever has read it. Used from one thread at a time, the timeline's.
class AddressClient {
  public:
    enum class State : std::uint8_t {
        Idle,       ///< has asked for nothing, or has given everything back
        Binding,    ///< asks, and has no address
        Bound,      ///< has one; may be about to renew it
        Releasing,  ///< gives it back, and waits for the server's word where the protocol has one
        Failed,     ///< asks no more; GetFailure() says why
    };
    struct Surroundings {
        il::ITimeline& timeline;  ///< outlives the client
        std::uint64_t seed = 1;   ///< of transaction ids and random delays
        /// Takes a finished frame; its bytes are invalid after the call. May not call the client.
        std::function<void(std::span<const std::byte> frame)> send;
        /// The state or what was given has changed. May not destroy the client.
        std::function<void()> changed;
    };

    virtual ~AddressClient() = default;

    /// Idle or Failed: begins to ask. Otherwise does nothing.
    virtual void Bind() = 0;
    /// Gives the address back, if there is one; a client that asks for one stops.
    virtual void Release() = 0;

    /// A UDP datagram to the port of the protocol's clients, on the host's link and for the host's MAC
    /// address or a group or broadcast; `source_mac` is who sent the frame, perhaps a router. Any bytes;
    /// those of others are not counted.
    virtual void OnDatagram(const IpAddress& source, const MacAddress& source_mac,
                            std::span<const std::byte> payload) = 0;
    /// Somebody else on the link says that `address` is his: ARP, or neighbour discovery.
    virtual void OnAddressUsed(const IpAddress& address, const MacAddress& user) = 0;
    /// A router of the host's link. IPv4 hosts hear of none.
    virtual void OnRouterAdvertisement(const RouterAdvertisement& advertisement) { (void)advertisement; }

    virtual State GetState() const = 0;
    /// Whether a server has given the host an address, which it may still be looking at.
    virtual bool HasLease() const = 0;
    /// Bound: what the host has.
    virtual const std::optional<GivenAddress>& GetGiven() const = 0;
    /// Failed, Binding after the address was lost, and Bound when a renewal has failed: why, for people.
    virtual const std::string& GetFailure() const = 0;
    virtual const AddressCounts& GetCounts() const = 0;
};

}  // namespace orv::live
