#include "orv/live/frame_parser.h"

#include "bytes.h"
#include "checksum.h"
#include "message_parsers.h"
#include "orv/live/frame.h"
#include "protocol.h"

namespace orv::live {
namespace {

std::optional<FrameContent> parse_arp(std::span<const std::byte> packet) {
    // Ethernet and IPv4, addresses of 6 and 4 bytes, a request or a reply.
    constexpr std::uint64_t kRequest = 0x0001'0800'06'04'0001U;
    constexpr std::uint64_t kReply = 0x0001'0800'06'04'0002U;
    if (packet.size() < kArpLength) return {};
    const auto kind = get_number<std::uint64_t>(packet.data());
    const MacAddress sender_mac = get_mac(packet.data() + 8);
    const IpAddress sender = get_v4(packet.data() + 14);
    if (kind == kRequest) return ArpRequest{sender_mac, sender, get_v4(packet.data() + 24)};
    if (kind == kReply) return ArpReply{sender_mac, sender};
    return {};
}

/// Whether Router Alert is among the options of an IPv4 header; nothing when they do not fit into it.
std::optional<bool> find_ipv4_router_alert(std::span<const std::byte> options) {
    bool found = false;
    while (!options.empty()) {
        const std::uint8_t type = get8(options.data());
        if (type == 0) break;  // end of options
        std::size_t length = 1;
        if (type != 1) {  // no operation
            if (options.size() < 2) return {};
            length = get8(options.data() + 1);
            if (length < 2 || length > options.size()) return {};
        }
        found = found || (type == kIpv4RouterAlert && length == kIpv4RouterAlertLength);
        options = options.subspan(length);
    }
    return found;
}

std::optional<IpPacket> parse_ipv4(std::span<const std::byte> bytes) {
    if (bytes.size() < kIpv4HeaderLength) return {};
    const std::uint8_t first = get8(bytes.data());
    const std::size_t header = (first & 0x0f) * std::size_t{4};
    const std::size_t total = get16(bytes.data() + 2);
    if (first >> 4 != 4 || header < kIpv4HeaderLength || total < header || total > bytes.size()) return {};
    if (checksum_of(bytes.first(header)) != 0) return {};
    if ((get16(bytes.data() + 6) & 0x3fff) != 0) return {};  // a fragment
    const auto router_alert = find_ipv4_router_alert(bytes.first(header).subspan(kIpv4HeaderLength));
    if (!router_alert) return {};
    return IpPacket{.source = get_v4(bytes.data() + 12),
                    .destination = get_v4(bytes.data() + 16),
                    .protocol = get8(bytes.data() + 9),
                    .hop_limit = get8(bytes.data() + 8),
                    .router_alert = *router_alert,
                    .message = bytes.first(total).subspan(header)};
}

/// Takes the hop-by-hop header off the message (RFC 8200 sections 4.2 and 4.3). False when it is malformed or
/// has an option that hosts must not skip.
bool read_hop_by_hop(IpPacket& packet) {
    if (packet.message.size() < 8) return false;
    const std::size_t header = (get8(packet.message.data() + 1) + std::size_t{1}) * 8;
    if (header > packet.message.size()) return false;
    packet.protocol = get8(packet.message.data());
    for (auto options = packet.message.first(header).subspan(2); !options.empty();) {
        const std::uint8_t type = get8(options.data());
        std::size_t length = 1;
        if (type != 0) {  // Pad1
            if (options.size() < 2) return false;
            length = 2 + std::size_t{get8(options.data() + 1)};
            if (length > options.size()) return false;
            if (type == kIpv6RouterAlert) {
                if (length != 4) return false;
                packet.router_alert = true;
            } else if (type >> 6 != 0) {
                return false;
            }
        }
        options = options.subspan(length);
    }
    packet.message = packet.message.subspan(header);
    return true;
}

std::optional<IpPacket> parse_ipv6(std::span<const std::byte> bytes) {
    if (bytes.size() < kIpv6HeaderLength || get8(bytes.data()) >> 4 != 6) return {};
    const std::size_t length = get16(bytes.data() + 4);
    if (length > bytes.size() - kIpv6HeaderLength) return {};
    IpPacket packet{.source = get_v6(bytes.data() + 8),
                    .destination = get_v6(bytes.data() + 24),
                    .protocol = get8(bytes.data() + 6),
                    .hop_limit = get8(bytes.data() + 7),
                    .router_alert = false,
                    .message = bytes.subspan(kIpv6HeaderLength, length)};
    if (packet.protocol == kProtocolHopByHop && !read_hop_by_hop(packet)) return {};
    return packet;
}

std::optional<FrameContent> parse_udp(const IpPacket& packet, bool check) {
    if (packet.message.size() < kUdpHeaderLength) return {};
    const std::byte* header = packet.message.data();
    const std::size_t length = get16(header + 4);
    if (length < kUdpHeaderLength || length > packet.message.size()) return {};
    const auto datagram = packet.message.first(length);
    // In IPv4 a checksum of 0 means that there is none, in IPv6 there has to be one (RFC 8200 section 8.1).
    if (check && (get16(header + 6) != 0 || packet.source.IsV6())) {
        Checksum checksum;
        checksum.add_pseudo_header(packet.source, packet.destination, kProtocolUdp, length);
        checksum.add(datagram);
        if (get16(header + 6) == 0 || !checksum.is_right()) return {};
    }
    return UdpPacket{packet.source, packet.destination, get16(header), get16(header + 2),
                     datagram.subspan(kUdpHeaderLength)};
}

std::optional<FrameContent> parse_ip(const std::optional<IpPacket>& packet, const MacAddress& source_mac,
                                     bool check_udp) {
    if (!packet || packet->source.IsMulticast()) return {};
    if (packet->protocol == kProtocolUdp) return parse_udp(*packet, check_udp);
    if (packet->protocol == kProtocolIgmp && !packet->source.IsV6()) return parse_igmp(*packet);
    if (packet->protocol == kProtocolIcmp6 && packet->source.IsV6()) return parse_icmp6(*packet, source_mac);
    return {};
}

}  // namespace

std::optional<ParsedFrame> ParseFrame(std::span<const std::byte> frame, const ReceiveInfo& info) noexcept {
    if (frame.size() < kEthernetHeaderLength) return {};
    ParsedFrame parsed;
    parsed.destination = get_mac(frame.data());
    parsed.source = get_mac(frame.data() + 6);
    if (info.stripped_tag) parsed.vlan.tags[parsed.vlan.count++] = *info.stripped_tag;
    std::uint16_t type = get16(frame.data() + 12);
    auto rest = frame.subspan(kEthernetHeaderLength);
    while (is_tag_type(type)) {
        if (rest.size() < 4 || parsed.vlan.count == VlanTags::kMost) return {};
        parsed.vlan.tags[parsed.vlan.count++] = VlanTag{type, get16(rest.data())};
        type = get16(rest.data() + 2);
        rest = rest.subspan(4);
    }
    std::optional<FrameContent> content;
    switch (type) {
        case kEtherArp:
            content = parse_arp(rest);
            break;
        case kEtherIpv4:
            content = parse_ip(parse_ipv4(rest), parsed.source, info.check_udp);
            break;
        case kEtherIpv6:
            content = parse_ip(parse_ipv6(rest), parsed.source, info.check_udp);
            break;
        default:
            return {};
    }
    if (!content) return {};
    parsed.content = *content;
    return parsed;
}

}  // namespace orv::live
