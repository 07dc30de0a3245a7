// UDP datagrams out of frames, whatever IP version and VLAN tags.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orv::lab {

using Ipv6Address = std::array<std::byte, 16>;

/// Where the network layer begins behind the VLAN tags.
struct Link {
    std::span<const std::byte> frame;
    std::size_t network_at = 0;  ///< behind the type of its protocol
    std::uint16_t protocol = 0;
    std::array<std::uint16_t, 2> vlans{};  ///< ids, the outer one first; 0: no such tag

    std::span<const std::byte> network() const { return frame.subspan(network_at); }
};

/// Nothing if it is cut short or has more than two tags.
std::optional<Link> ReadLink(std::span<const std::byte> frame);

struct Datagram {
    Link link;
    bool is_ipv6 = false;
    Ipv6Address source{};  ///< IPv4 addresses in the last four bytes, the others zero
    Ipv6Address destination{};
    std::uint16_t source_port = 0;
    std::uint16_t destination_port = 0;
    std::span<const std::byte> udp{};  ///< header and payload

    std::span<const std::byte> payload() const { return udp.subspan(8); }
    bool IsToGroup() const;
    /// Whether the checksums of the IPv4 header and of UDP are right; IPv6 may not do without one.
    bool HasGoodChecksums() const;
};

/// Nothing if the frame is not a whole UDP datagram: something else, a fragment, IPv6 with extension headers.
std::optional<Datagram> ReadDatagram(const Link& link);

}  // namespace orv::lab
