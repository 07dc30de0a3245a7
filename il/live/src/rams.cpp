#include "rtcp_packets.h"

namespace orv::live {
namespace {

// Messages (RFC 6285 section 11.4).
constexpr std::uint8_t kRamsRequest = 1;
constexpr std::uint8_t kRamsInformation = 2;
constexpr std::uint8_t kRamsTermination = 3;

// Elements (RFC 6285 section 11.5).
constexpr std::uint8_t kRequestedMediaSsrc = 1;
constexpr std::uint8_t kMinBuffer = 2;
constexpr std::uint8_t kMaxBuffer = 3;
constexpr std::uint8_t kMaxReceiveBitrate = 4;
constexpr std::uint8_t kMediaSsrc = 31;
constexpr std::uint8_t kFirstSequence = 32;
constexpr std::uint8_t kEarliestJoin = 33;
constexpr std::uint8_t kBurstDuration = 34;
constexpr std::uint8_t kMaxTransmitBitrate = 35;
constexpr std::uint8_t kFirstMulticastSequence = 61;

constexpr std::size_t kElementHeader = 4;

/// Up to the first element.
std::size_t begin_rams(Writer& writer, const RtcpSender& sender, std::uint32_t media_ssrc,
                       std::uint8_t message) {
    write_preamble(writer, sender, sender.token);
    const std::size_t begin = begin_packet(writer, kFeedbackRams, kRtcpTransportFeedback, sender.ssrc);
    writer.u32(media_ssrc);
    writer.u32(std::uint32_t{message} << 24);
    return begin;
}

/// `Number` has whole words, so that nothing has to be padded.
template <typename Number>
void write_element(Writer& writer, std::uint8_t type, const std::optional<Number>& value) {
    static_assert(sizeof(Number) % 4 == 0);
    if (!value) return;
    writer.u8(type);
    writer.u8(0);
    writer.u16(sizeof(Number));
    writer.number(*value);
}

/// The first element of a type counts. False for a wrong length.
template <typename Number>
bool read_element(std::span<const std::byte> value, std::optional<Number>& into) {
    if (value.size() != sizeof(Number)) return false;
    if (!into) into = get_number<Number>(value.data());
    return true;
}

}  // namespace

std::size_t WriteRamsRequest(std::span<std::byte> out, const RtcpSender& sender, const RamsRequest& request) {
    Writer writer(out);
    const std::size_t begin = begin_rams(writer, sender, sender.ssrc, kRamsRequest);
    write_element(writer, kRequestedMediaSsrc, std::optional(request.media_ssrc));
    write_element(writer, kMinBuffer, request.min_buffer_ms);
    write_element(writer, kMaxBuffer, request.max_buffer_ms);
    write_element(writer, kMaxReceiveBitrate, request.max_bitrate);
    return end_packet(writer, begin);
}

std::size_t WriteRamsTermination(std::span<std::byte> out, const RtcpSender& sender, std::uint32_t media_ssrc,
                                 std::optional<std::uint32_t> first_multicast_extended_sequence) {
    Writer writer(out);
    const std::size_t begin = begin_rams(writer, sender, media_ssrc, kRamsTermination);
    write_element(writer, kFirstMulticastSequence, first_multicast_extended_sequence);
    return end_packet(writer, begin);
}

std::optional<RamsInformation> read_rams(const RtcpPacket& packet) {
    // SSRCs of packet sender and media source, the message's type, its number and the response.
    if (packet.body.size() < 12 || get8(packet.body.data() + 8) != kRamsInformation) return {};
    RamsInformation information;
    information.message_number = get8(packet.body.data() + 9);
    information.response = get16(packet.body.data() + 10);
    std::optional<std::uint32_t> media_ssrc;
    for (auto rest = packet.body.subspan(12); !rest.empty();) {
        if (rest.size() < kElementHeader) return {};
        const std::uint8_t type = get8(rest.data());
        const std::size_t length = get16(rest.data() + 2);
        const std::size_t padded = kElementHeader + whole_words(length);
        if (padded > rest.size()) return {};
        const auto value = rest.subspan(kElementHeader, length);
        bool is_right = true;
        if (type == kMediaSsrc) is_right = read_element(value, media_ssrc);
        if (type == kFirstSequence) is_right = read_element(value, information.first_sequence);
        if (type == kEarliestJoin) is_right = read_element(value, information.earliest_join_ms);
        if (type == kBurstDuration) is_right = read_element(value, information.burst_duration_ms);
        if (type == kMaxTransmitBitrate) is_right = read_element(value, information.max_bitrate);
        if (!is_right) return {};
        rest = rest.subspan(padded);
    }
    information.media_ssrc = media_ssrc.value_or(get32(packet.body.data() + 4));
    return information;
}

}  // namespace orv::live
