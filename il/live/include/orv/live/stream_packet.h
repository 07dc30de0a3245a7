// The UDP payload of channel streams: RTP with a signature of ours in seven MPEG transport stream packets.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orv::live {

using Nanoseconds = std::chrono::nanoseconds;

inline constexpr std::size_t kRtpHeaderLength = 12;
/// Seven transport stream packets of 188 bytes (ISO/IEC 13818-1) in an RTP packet (RFC 2250 section 2).
inline constexpr std::size_t kStreamPayloadLength = kRtpHeaderLength + 7 * 188;

/// Contents of the signature.
struct StreamSignature {
    std::uint32_t stream_id = 0;
    std::uint64_t sequence_number = 0;  ///< the RTP sequence number is its lower 16 bits
    Nanoseconds send_time{};            ///< of the sender's clock
};

/// Writes the UDP payload of one packet to the start of `out`: RTP (RFC 3550 section 5.1) of payload type 33
/// (RFC 3551) with a time stamp of 90 kHz from the send time and the SSRC, by default the stream id; seven
/// null packets of a transport stream, so that analysers accept it as a transport stream; the signature at
/// the end of the last one, with a CRC-32 (ISO 3309) over everything after the RTP header. Returns
/// kStreamPayloadLength; throws std::length_error when `out` is shorter. Allocates nothing. Any thread.
std::size_t WriteStreamPacket(std::span<std::byte> out, const StreamSignature& signature,
                              std::optional<std::uint32_t> ssrc = {});

struct StreamPacket {
    StreamSignature signature;
    /// Whether the CRC fits. If not, any part of the signature may be wrong as well.
    bool is_intact = false;
};

/// Nothing for a payload that is not one of ours. Allocates nothing, throws nothing. Any thread.
std::optional<StreamPacket> ReadStreamPacket(std::span<const std::byte> payload) noexcept;
/// The same for what follows the RTP header, as it comes in retransmissions.
std::optional<StreamPacket> ReadStreamPayload(std::span<const std::byte> rtp_payload) noexcept;

/// The fields of an RTP header that identify the packets of a foreign stream.
struct RtpPacket {
    std::uint8_t payload_type = 0;
    bool marker = false;
    std::uint16_t sequence_number = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
    std::span<const std::byte> payload;  ///< without contributing sources, header extension and padding
};

/// Nothing for a payload that cannot be RTP (RFC 3550 appendix A.1), as a bare transport stream cannot.
/// Allocates nothing, throws nothing. Any thread.
std::optional<RtpPacket> ReadRtpPacket(std::span<const std::byte> payload) noexcept;

}  // namespace orv::live
