#include "orv/live/stream_packet.h"

#include <array>
#include <cstring>
#include <stdexcept>

#include "bytes.h"
#include "crc32.h"
#include "rtcp_packets.h"

namespace orv::live {
namespace {

constexpr std::uint8_t kMpegTransport = 33;
constexpr std::size_t kTransportPacket = 188;
constexpr std::uint32_t kMagic = 0x4f525631;  // "ORV1"
constexpr std::size_t kSignatureLength = 28;  ///< magic, stream id, sequence number, send time, CRC
constexpr std::size_t kSignature = kStreamPayloadLength - kSignatureLength;
constexpr std::size_t kCrc = kStreamPayloadLength - 4;

/// What all packets have in common: everything before the signature, so that its CRC is known in advance.
struct Template {
    std::array<std::byte, kSignature> bytes{};
    std::uint32_t crc;

    Template() {
        bytes.fill(std::byte{0xff});
        bytes[0] = std::byte{0x80};  // version 2
        bytes[1] = std::byte{kMpegTransport};
        for (std::size_t at = kRtpHeaderLength; at < kSignature; at += kTransportPacket) {
            put(&bytes[at], std::uint32_t{0x471fff10});  // sync byte, null packet, payload only
        }
        crc = crc32(0, std::span(bytes).subspan(kRtpHeaderLength));
    }
};

const Template& packet_template() {
    static const Template made;
    return made;
}

/// 90 kHz; wraps after 13 hours.
std::uint32_t rtp_timestamp(Nanoseconds time) {
    // In two steps, so that times since 1970 do not overflow.
    const auto ns = static_cast<std::uint64_t>(time.count());
    return static_cast<std::uint32_t>(ns / 1'000'000'000 * 90'000 +
                                      ns % 1'000'000'000 * 90'000 / 1'000'000'000);
}

}  // namespace

std::size_t WriteStreamPacket(std::span<std::byte> out, const StreamSignature& signature,
                              std::optional<std::uint32_t> ssrc) {
    if (out.size() < kStreamPayloadLength) {
        throw std::length_error("the buffer is too short for a stream packet");
    }
    std::byte* bytes = out.data();
    const Template& common = packet_template();
    std::memcpy(bytes, common.bytes.data(), kSignature);
    put(bytes + 2, static_cast<std::uint16_t>(signature.sequence_number));
    put(bytes + 4, rtp_timestamp(signature.send_time));
    put(bytes + 8, ssrc.value_or(signature.stream_id));
    put(bytes + kSignature, kMagic);
    put(bytes + kSignature + 4, signature.stream_id);
    put(bytes + kSignature + 8, signature.sequence_number);
    put(bytes + kSignature + 16, signature.send_time.count());
    put(bytes + kCrc, crc32(common.crc, out.subspan(kSignature, kSignatureLength - 4)));
    return kStreamPayloadLength;
}

std::optional<StreamPacket> ReadStreamPacket(std::span<const std::byte> payload) noexcept {
    if (payload.size() != kStreamPayloadLength) return {};
    return ReadStreamPayload(payload.subspan(kRtpHeaderLength));
}

std::optional<StreamPacket> ReadStreamPayload(std::span<const std::byte> rtp_payload) noexcept {
    if (rtp_payload.size() != kStreamPayloadLength - kRtpHeaderLength) return {};
    const std::byte* signature = rtp_payload.data() + kSignature - kRtpHeaderLength;
    if (get32(signature) != kMagic) return {};
    // What comes before the signature is the same in all packets that nobody has damaged: comparing it takes
    // a tenth of the time of its CRC.
    const Template& common = packet_template();
    constexpr std::size_t kBefore = kSignature - kRtpHeaderLength;
    const bool is_common = std::memcmp(rtp_payload.data(), &common.bytes[kRtpHeaderLength], kBefore) == 0;
    const auto covered = rtp_payload.first(kCrc - kRtpHeaderLength);
    const std::uint32_t crc = is_common ? crc32(common.crc, covered.subspan(kBefore)) : crc32(0, covered);
    return StreamPacket{.signature = {.stream_id = get32(signature + 4),
                                      .sequence_number = get_number<std::uint64_t>(signature + 8),
                                      .send_time = Nanoseconds(get_number<std::int64_t>(signature + 16))},
                        .is_intact = crc == get32(covered.data() + covered.size())};
}

std::optional<RtpPacket> ReadRtpPacket(std::span<const std::byte> payload) noexcept {
    if (payload.size() < kRtpHeaderLength) return {};
    const std::uint8_t first = get8(payload.data());
    const std::uint8_t second = get8(payload.data() + 1);
    if (first >> 6 != 2) return {};
    if (is_rtcp_type(second)) return {};
    RtpPacket packet{.payload_type = static_cast<std::uint8_t>(second & 0x7f),
                     .marker = (second & 0x80) != 0,
                     .sequence_number = get16(payload.data() + 2),
                     .timestamp = get32(payload.data() + 4),
                     .ssrc = get32(payload.data() + 8),
                     .payload = {}};
    std::size_t header = kRtpHeaderLength + 4 * std::size_t{first & 0x0fU};
    if ((first & 0x10) != 0) {  // header extension
        if (payload.size() < header + 4) return {};
        header += 4 + 4 * std::size_t{get16(payload.data() + header + 2)};
    }
    if (payload.size() < header) return {};
    packet.payload = payload.subspan(header);
    if ((first & 0x20) != 0) {  // padding
        if (packet.payload.empty()) return {};
        const std::size_t padding = get8(&packet.payload.back());
        if (padding == 0 || padding > packet.payload.size()) return {};
        packet.payload = packet.payload.first(packet.payload.size() - padding);
    }
    return packet;
}

}  // namespace orv::live
