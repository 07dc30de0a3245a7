#include "rtcp_packets.h"

namespace orv::live {
namespace {

constexpr std::size_t kPacketHeader = 4;

/// Takes the first packet off `rest`, which is not empty; nothing when it is malformed.
std::optional<RtcpPacket> take_packet(std::span<const std::byte>& rest) {
    if (rest.size() < kPacketHeader) return {};
    const std::uint8_t first = get8(rest.data());
    const std::size_t length = (get16(rest.data() + 2) + std::size_t{1}) * 4;
    if (first >> 6 != 2 || length > rest.size()) return {};
    RtcpPacket packet{.count = static_cast<std::uint8_t>(first & 0x1f),
                      .type = get8(rest.data() + 1),
                      .body = rest.subspan(kPacketHeader, length - kPacketHeader)};
    rest = rest.subspan(length);
    if ((first & 0x20) != 0) {  // padding
        if (!rest.empty() || packet.body.empty()) return {};
        const std::size_t padding = get8(&packet.body.back());
        if (padding == 0 || padding % 4 != 0 || padding > packet.body.size()) return {};
        packet.body = packet.body.first(packet.body.size() - padding);
    }
    return packet;
}

void read_goodbye(const RtcpPacket& packet, RtcpMessages& messages) {
    if (packet.body.size() < packet.count * std::size_t{4}) return;
    for (std::size_t i = 0; i < packet.count; ++i) messages.Add(Goodbye{get32(packet.body.data() + 4 * i)});
}

void read_packet(const RtcpPacket& packet, RtcpMessages& messages) {
    if (packet.type == kRtcpGoodbye) read_goodbye(packet, messages);
    if (packet.type == kRtcpTransportFeedback && packet.count == kFeedbackRams) {
        if (const auto information = read_rams(packet)) messages.Add(*information);
    }
    if (packet.type == kRtcpToken) {
        if (const auto message = read_port_mapping(packet)) messages.Add(*message);
    }
}

}  // namespace

bool IsRtcp(std::span<const std::byte> payload) noexcept {
    return payload.size() >= kPacketHeader && get8(payload.data()) >> 6 == 2 &&
           is_rtcp_type(get8(payload.data() + 1));
}

RtcpMessages ReadRtcp(std::span<const std::byte> payload) noexcept {
    RtcpMessages messages;
    if (!IsRtcp(payload)) return messages;
    while (!payload.empty()) {
        const auto packet = take_packet(payload);
        if (!packet) return {};
        read_packet(*packet, messages);
    }
    return messages;
}

}  // namespace orv::live
