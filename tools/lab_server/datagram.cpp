#include "lab_server/datagram.h"

#include <algorithm>

#include "lab_common/bytes.h"
#include "lab_common/checksum.h"
#include "lab_common/frame.h"

namespace orv::lab {

namespace {

constexpr unsigned kProtocolUdp = 17;

void CopyAddress(std::span<const std::byte> bytes, Ipv6Address& address) {
    std::copy(bytes.begin(), bytes.end(), address.end() - static_cast<std::ptrdiff_t>(bytes.size()));
}

/// Of the network layer: where UDP begins, and all of the packet without the frame's padding.
struct Layers {
    std::size_t udp_at = 0;
    std::size_t end = 0;
};

std::optional<Layers> ReadIpv4(std::span<const std::byte> packet, Datagram& datagram) {
    if (packet.size() < 20 || Get8(packet, 0) >> 4 != 4) return std::nullopt;
    const std::size_t header = (Get8(packet, 0) & 0xF) * 4;
    const std::size_t total = Get16(packet, 2);
    const bool is_fragment = (Get16(packet, 6) & 0x3FFF) != 0;
    if (header < 20 || header > total || is_fragment || Get8(packet, 9) != kProtocolUdp) return std::nullopt;
    CopyAddress(packet.subspan(12, 4), datagram.source);
    CopyAddress(packet.subspan(16, 4), datagram.destination);
    return Layers{header, total};
}

std::optional<Layers> ReadIpv6(std::span<const std::byte> packet, Datagram& datagram) {
    if (packet.size() < 40 || Get8(packet, 0) >> 4 != 6 || Get8(packet, 6) != kProtocolUdp) {
        return std::nullopt;
    }
    datagram.is_ipv6 = true;
    CopyAddress(packet.subspan(8, 16), datagram.source);
    CopyAddress(packet.subspan(24, 16), datagram.destination);
    return Layers{40, 40U + Get16(packet, 4)};
}

}  // namespace

std::optional<Link> ReadLink(std::span<const std::byte> frame) {
    Link link{.frame = frame};
    std::size_t at = 12;
    for (std::size_t tags = 0;; ++tags, at += 4) {
        if (frame.size() < at + 4) return std::nullopt;
        link.protocol = Get16(frame, at);
        if (!IsTagProtocol(link.protocol)) break;
        if (tags == link.vlans.size()) return std::nullopt;
        link.vlans[tags] = Get16(frame, at + 2) & 0x0FFF;
    }
    link.network_at = at + 2;
    return link;
}

std::optional<Datagram> ReadDatagram(const Link& link) {
    Datagram datagram{.link = link};
    const auto packet = link.network();
    std::optional<Layers> layers;
    if (link.protocol == 0x0800) layers = ReadIpv4(packet, datagram);
    if (link.protocol == 0x86DD) layers = ReadIpv6(packet, datagram);
    if (!layers || layers->end > packet.size() || layers->end < layers->udp_at + 8) return std::nullopt;
    datagram.udp = packet.subspan(layers->udp_at, layers->end - layers->udp_at);
    const std::size_t length = Get16(datagram.udp, 4);
    if (length < 8 || length > datagram.udp.size()) return std::nullopt;
    datagram.udp = datagram.udp.first(length);
    datagram.source_port = Get16(datagram.udp, 0);
    datagram.destination_port = Get16(datagram.udp, 2);
    return datagram;
}

bool Datagram::IsToGroup() const {
    return is_ipv6 ? destination[0] == std::byte{0xFF}
                   : std::to_integer<unsigned>(destination[12]) >> 4 == 0xE;
}

bool Datagram::HasGoodChecksums() const {
    if (!is_ipv6) {
        const auto packet = link.network();
        if (ChecksumOf(SumOf(packet.first((Get8(packet, 0) & 0xF) * 4))) != 0) return false;
    }
    if (Get16(udp, 6) == 0) return !is_ipv6;
    // An IPv4 address is the end of the array, and its zeros do not matter.
    return ChecksumOf(std::uint64_t{SumOf(source)} + SumOf(destination) + kProtocolUdp + udp.size() +
                      SumOf(udp)) == 0;
}

}  // namespace orv::lab
