#include <algorithm>
#include <array>

#include "bytes.h"
#include "checksum.h"
#include "message_parsers.h"
#include "protocol.h"
#include "query_fields.h"

namespace orv::live {
namespace {

using std::chrono::milliseconds;

std::optional<FrameContent> parse_mld(const IpPacket& packet) {
    const auto message = packet.message;
    if (message.size() < kMembershipHeaderV6 || packet.hop_limit != 1 || !packet.router_alert ||
        !packet.source.IsLinkLocal()) {
        return {};
    }
    const std::uint8_t type = get8(message.data());
    const IpAddress group = get_v6(message.data() + 8);
    if (!group.IsMulticast() && !(type == kMldQuery && group.IsUnspecified())) return {};
    if (type == kMld1Report) return MembershipReport{MembershipVersion::Mld1, packet.source, group};
    if (type == kMld1Done) return MembershipLeave{MembershipVersion::Mld1, packet.source, group};

    MembershipQuery query;
    query.destination = packet.destination;
    query.group = group;
    query.max_response_code = get16(message.data() + 4);
    if (message.size() == kMembershipHeaderV6) {
        query.version = MembershipVersion::Mld1;
        query.max_response_time = milliseconds(query.max_response_code);
        return query;
    }
    if (message.size() < 28) return {};
    query.version = MembershipVersion::Mld2;
    query.max_response_time = milliseconds(decode_float(query.max_response_code, 12));
    if (!read_query_tail(message.subspan(kMembershipHeaderV6), true, query)) return {};
    return query;
}

/// ff02::1:ff00:0/104.
bool is_solicited_node(const IpAddress& address) {
    return address == SolicitedNodeAddress(address);
}

/// Calls `take` with the type and all bytes of each option. False when they do not fit into the message.
template <typename Take>
bool read_options(std::span<const std::byte> options, Take take) {
    while (!options.empty()) {
        if (options.size() < 8) return false;
        const std::size_t length = get8(options.data() + 1) * std::size_t{8};
        if (length == 0 || length > options.size()) return false;
        take(get8(options.data()), options.first(length));
        options = options.subspan(length);
    }
    return true;
}

/// Reads the MAC address of the option of this type, if there is one.
bool read_mac_option(std::span<const std::byte> options, std::uint8_t type, std::optional<MacAddress>& mac) {
    return read_options(options, [&](std::uint8_t read, std::span<const std::byte> option) {
        if (read == type) mac = get_mac(option.data() + 2);
    });
}

/// What RFC 4861 sections 7.1.1 and 7.1.2 want of both kinds of messages.
bool is_neighbor_message(const IpPacket& packet) {
    return packet.message.size() >= 24 && packet.hop_limit == kNeighborHopLimit &&
           get8(packet.message.data() + 1) == 0 && !get_v6(packet.message.data() + 8).IsMulticast();
}

/// RFC 4861 section 7.1.1.
std::optional<FrameContent> parse_solicitation(const IpPacket& packet, const MacAddress& source_mac) {
    const bool has_no_address = packet.source.IsUnspecified();
    if (!is_neighbor_message(packet) || (has_no_address && !is_solicited_node(packet.destination))) return {};
    std::optional<MacAddress> mac;
    if (!read_mac_option(packet.message.subspan(24), kSourceLinkAddress, mac)) return {};
    if (mac && has_no_address) return {};
    return NeighborSolicitation{mac.value_or(source_mac), packet.source, get_v6(packet.message.data() + 8)};
}

/// RFC 4861 section 7.1.2.
std::optional<FrameContent> parse_advertisement(const IpPacket& packet) {
    if (!is_neighbor_message(packet)) return {};
    const std::uint8_t flags = get8(packet.message.data() + 4);
    const bool is_solicited = (flags & 0x40) != 0;
    if (is_solicited && packet.destination.IsMulticast()) return {};
    std::optional<MacAddress> mac;
    if (!read_mac_option(packet.message.subspan(24), kTargetLinkAddress, mac) || !mac) return {};
    return NeighborAdvertisement{.target = get_v6(packet.message.data() + 8),
                                 .mac = *mac,
                                 .is_solicited = is_solicited,
                                 .is_override = (flags & 0x20) != 0};
}

/// The first `length` bits of an address.
IpAddress first_bits(const std::byte* address, std::size_t length) {
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t i = 0; i * 8 < length; ++i) {
        const std::size_t cut = 8 - std::min<std::size_t>(length - i * 8, 8);
        bytes[i] = static_cast<std::uint8_t>(get8(address + i) >> cut << cut);
    }
    return IpAddress::V6(bytes);
}

void read_prefix(std::span<const std::byte> option, RouterAdvertisement& message) {
    if (option.size() != 32 || message.prefix_count == RouterAdvertisement::kMostPrefixes) return;
    const std::uint8_t length = get8(option.data() + 2), flags = get8(option.data() + 3);
    if (length > 128) return;
    message.prefix_table[message.prefix_count++] = {.prefix = first_bits(option.data() + 16, length),
                                                    .length = length,
                                                    .is_on_link = (flags & 0x80) != 0,
                                                    .is_autonomous = (flags & 0x40) != 0,
                                                    .valid = get32(option.data() + 4),
                                                    .preferred = get32(option.data() + 8)};
}

/// RFC 4861 section 6.1.2.
std::optional<FrameContent> parse_router_advertisement(const IpPacket& packet) {
    const auto bytes = packet.message;
    if (bytes.size() < 16 || packet.hop_limit != kNeighborHopLimit || get8(bytes.data() + 1) != 0 ||
        !packet.source.IsLinkLocal()) {
        return {};
    }
    const std::uint8_t flags = get8(bytes.data() + 5);
    RouterAdvertisement message{.router = packet.source,
                                .lifetime = get16(bytes.data() + 6),
                                .is_managed = (flags & 0x80) != 0,
                                .has_other = (flags & 0x40) != 0};
    const bool fits =
        read_options(bytes.subspan(16), [&](std::uint8_t type, std::span<const std::byte> option) {
            if (type == kSourceLinkAddress) message.mac = get_mac(option.data() + 2);
            if (type == kPrefixInformation) read_prefix(option, message);
        });
    if (!fits) return {};
    return message;
}

}  // namespace

std::optional<FrameContent> parse_icmp6(const IpPacket& packet, const MacAddress& source_mac) {
    if (packet.message.size() < 4) return {};
    Checksum checksum;
    checksum.add_pseudo_header(packet.source, packet.destination, kProtocolIcmp6, packet.message.size());
    checksum.add(packet.message);
    if (!checksum.is_right()) return {};
    switch (get8(packet.message.data())) {
        case kMldQuery:
        case kMld1Report:
        case kMld1Done:
            return parse_mld(packet);
        case kNeighborSolicitation:
            return parse_solicitation(packet, source_mac);
        case kNeighborAdvertisement:
            return parse_advertisement(packet);
        case kRouterAdvertisement:
            return parse_router_advertisement(packet);
        default:
            return {};
    }
}

}  // namespace orv::live
