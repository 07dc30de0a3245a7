#include "orv/live/retransmission_packet.h"

#include "bytes.h"
#include "orv/live/stream_packet.h"

namespace orv::live {
namespace {

/// `datagram` is RTP whose lengths fit.
bool has_join_bit(std::span<const std::byte> datagram) {
    constexpr std::size_t kExtensionWords = kRtpHeaderLength + 2;
    constexpr std::size_t kFirstExtensionWord = kRtpHeaderLength + 4;
    constexpr std::uint16_t kJoinBit = 0x0008;
    const bool has_sources = (get8(datagram.data()) & 0x0f) != 0;
    return !has_sources && get16(datagram.data() + kExtensionWords) > 0 &&
           (get16(datagram.data() + kFirstExtensionWord) & kJoinBit) != 0;
}

}  // namespace

std::optional<RetransmissionPacket> ReadRetransmission(std::span<const std::byte> payload) noexcept {
    const auto rtp = ReadRtpPacket(payload);
    if (!rtp || rtp->payload.size() < 2) return {};
    const bool has_extension = (get8(payload.data()) & 0x10) != 0;
    return RetransmissionPacket{.ssrc = rtp->ssrc,
                                .sequence_number = rtp->sequence_number,
                                .original_sequence_number = get16(rtp->payload.data()),
                                .payload_type = rtp->payload_type,
                                .timestamp = rtp->timestamp,
                                .payload = rtp->payload.subspan(2),
                                .has_extension = has_extension,
                                .has_sbit = has_extension && has_join_bit(payload)};
}

}  // namespace orv::live
