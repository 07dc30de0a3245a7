// What is inside of IP packets: readers of the messages that concern hosts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "orv/live/frame_parser.h"

namespace orv::live {

using FrameContent = decltype(ParsedFrame::content);

/// A packet's header as far as its message depends on it, and the whole of the message.
struct IpPacket {
    IpAddress source;
    IpAddress destination;
    std::uint8_t protocol = 0;
    std::uint8_t hop_limit = 0;
    bool router_alert = false;
    std::span<const std::byte> message;
};

std::optional<FrameContent> parse_igmp(const IpPacket& packet);
/// `source_mac` is who a solicitation without a link-layer address came from.
std::optional<FrameContent> parse_icmp6(const IpPacket& packet, const MacAddress& source_mac);

}  // namespace orv::live
