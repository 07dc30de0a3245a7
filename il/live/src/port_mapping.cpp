#include "headers.h"
#include "rtcp_packets.h"

namespace orv::live {
namespace {

// Messages (RFC 6284 section 10.3).
constexpr std::uint8_t kMappingRequest = 1;
constexpr std::uint8_t kMappingResponse = 2;
constexpr std::uint8_t kVerificationRequest = 3;
constexpr std::uint8_t kVerificationFailure = 4;

/// Takes an element of a length and a value off `rest`; nothing when it is longer than that.
template <typename Length>
std::optional<std::span<const std::byte>> take_element(std::span<const std::byte>& rest) {
    if (rest.size() < sizeof(Length)) return {};
    const std::size_t length = get_number<Length>(rest.data());
    const std::size_t padded = whole_words(sizeof(Length) + length);
    if (padded > rest.size()) return {};
    const auto value = rest.subspan(sizeof(Length), length);
    rest = rest.subspan(padded);
    return value;
}

std::optional<RtcpMessage> read_response(std::span<const std::byte> body) {
    // SSRCs of packet sender and client, nonce.
    if (body.size() < 16) return {};
    auto rest = body.subspan(16);
    const auto token = take_element<std::uint16_t>(rest);
    if (!token || rest.size() < 12) return {};
    PortMappingResponse response{.client_ssrc = get32(body.data() + 4),
                                 .token = {.nonce = get_number<std::uint64_t>(body.data() + 8),
                                           .bytes = *token,
                                           .absolute_expiration = get_number<std::uint64_t>(rest.data())},
                                 .relative_expiration_s = get32(rest.data() + 8),
                                 .packet_types = {}};
    rest = rest.subspan(12);
    const auto types = take_element<std::uint8_t>(rest);
    if (!types) return {};
    response.packet_types = *types;
    return response;
}

std::optional<RtcpMessage> read_failure(std::span<const std::byte> body) {
    if (body.size() < 20) return {};
    return TokenVerificationFailure{
        .client_ssrc = get32(body.data() + 4),
        .failed_packet_type = get8(body.data() + 8),
        .failed_feedback_type = static_cast<std::uint8_t>(get8(body.data() + 9) >> 3),
        .nonce = get_number<std::uint64_t>(body.data() + 12)};
}

}  // namespace

std::size_t WritePortMappingRequest(std::span<std::byte> out, const RtcpSender& sender, std::uint64_t nonce) {
    Writer writer(out);
    write_preamble(writer, sender, {});
    const std::size_t begin = begin_packet(writer, kMappingRequest, kRtcpToken, sender.ssrc);
    writer.number(nonce);
    return end_packet(writer, begin);
}

void write_token_request(Writer& writer, std::uint32_t sender_ssrc, const PortMappingToken& token) {
    require(token.bytes.size() <= 0xffff, "a token has at most 65,535 bytes");
    const std::size_t begin = begin_packet(writer, kVerificationRequest, kRtcpToken, sender_ssrc);
    writer.number(token.nonce);
    writer.u16(static_cast<std::uint16_t>(token.bytes.size()));
    writer.bytes(token.bytes);
    while ((writer.size() - begin) % 4 != 0) writer.u8(0);
    writer.number(token.absolute_expiration);
    end_packet(writer, begin);
}

std::optional<RtcpMessage> read_port_mapping(const RtcpPacket& packet) {
    if (packet.count == kMappingResponse) return read_response(packet.body);
    if (packet.count == kVerificationFailure) return read_failure(packet.body);
    return {};
}

}  // namespace orv::live
