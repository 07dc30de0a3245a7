// Asks for the MAC addresses that hosts send to.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

#include "address_on_link.h"
#include "frame_sink.h"
#include "orv/il/time.h"
#include "orv/il/timeline.h"
#include "orv/live/address.h"
#include "orv/live/frame_parser.h"

namespace orv::nic {

/// Finds the MAC addresses of gateways and neighbours: by ARP (RFC 826) and neighbour discovery (RFC 4861
/// section 7.2). What one host of a link learns, all of them know. Frames concern it only as far as they are
/// about addresses that were asked for, so that foreign ones cannot fill the tables.
class NextHops {
  public:
    /// Nothing when nobody has answered.
    using Known = std::function<void(std::optional<live::MacAddress>)>;

    NextHops(il::ITimeline& timeline, FrameSink& sink) : timeline_(timeline), sink_(sink) {}
    ~NextHops() { forget(); }
    NextHops(const NextHops&) = delete;
    NextHops& operator=(const NextHops&) = delete;

    /// Calls `known` at once if the address of `hop` is known on the link of `asker`, otherwise after an
    /// answer or three requests without one, each a second after the last. `hop` is a unicast address of the
    /// family of `asker`. `known` may call any function.
    void resolve(const live::HostAddress& asker, const live::IpAddress& hop, Known known);
    /// Learns from answers, and from announcements of changed addresses.
    void on_frame(const live::ParsedFrame& frame);
    /// Forgets all addresses, and those who wait for one: they are not called.
    void forget();

  private:
    struct Hop {
        std::optional<live::MacAddress> mac;
        live::HostAddress asker;  ///< the first of those who wait
        int requests = 0;
        std::uint64_t timer = 0;
        std::vector<Known> waiting;
    };

    /// At once, or when the rate of requests allows it.
    void request(const AddressOnLink& key);
    void send_request(const AddressOnLink& key);
    void give_up(const AddressOnLink& key);
    /// `replaces`: also an address that is known already.
    void learn(const live::VlanTags& vlan, const live::IpAddress& ip, const live::MacAddress& mac,
               bool replaces);

    il::ITimeline& timeline_;
    FrameSink& sink_;
    std::unordered_map<AddressOnLink, Hop, AddressOnLinkHash> hops_;
    il::Time next_request_ = 0;  ///< when the rate allows another one
};

}  // namespace orv::nic
