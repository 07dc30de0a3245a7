// The server's own presence on the link: answers to ARP (RFC 826) and to neighbour solicitations (RFC 4861).
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "lab_server/datagram.h"

namespace orv::lab {

using MacAddress = std::array<std::byte, 6>;

struct OwnAddresses {
    MacAddress mac{};
    std::array<std::byte, 4> ipv4{};
    Ipv6Address ipv6{};
};

/// The answer to a frame, in `buffer`; empty if the frame asks for nothing of ours.
std::span<const std::byte> AnswerNeighbour(const Link& question, const OwnAddresses& own,
                                           std::span<std::byte, 128> buffer);

}  // namespace orv::lab
