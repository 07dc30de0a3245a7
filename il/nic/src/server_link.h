// What an STB needs to send messages to a server.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "orv/il/event_queue.h"
#include "orv/il/time.h"
#include "orv/live/frame.h"
#include "orv/live/rtcp.h"

namespace orv::nic {

enum class ServerKind : std::uint8_t {
    Burst,   ///< fast channel change
    Repair,  ///< retransmission
};

struct ServerLink {
    enum class Hop : std::uint8_t { Unknown, Asked, Known, Configured, Unreachable };

    live::UdpFlow flow;  ///< from the STB to the server; with the first hop's MAC address once it is known
    live::IpAddress next_hop;         ///< the server, or the STB's gateway
    Hop hop = Hop::Unknown;           ///< the MAC address
    il::Time ask_again = 0;           ///< for the MAC address of one that is unreachable
    std::optional<il::Step> waiting;  ///< for the MAC address or a token
    il::Time token_due = il::kNever;  ///< when to ask for one again
    std::uint64_t nonce = 0;          ///< of the port mapping request; 0: there was none
    bool knows_us = false;            ///< it has had a whole packet with the CNAME (RFC 5506 section 3.4.1)
    std::uint8_t requests = 0;        ///< for a token, since the last answer
    std::vector<std::byte> token;
    std::uint64_t absolute_expiration = 0;
    il::Time token_expires = il::kNever;  ///< kNever: there is none

    bool is_from_here(const live::IpAddress& address, std::uint16_t port) const {
        return address == flow.destination && port == flow.destination_port;
    }
    std::optional<live::PortMappingToken> token_at(il::Time now) const {
        if (token_expires == il::kNever || now >= token_expires) return {};
        return live::PortMappingToken{nonce, token, absolute_expiration};
    }
};

}  // namespace orv::nic
