// RTP retransmission packets, in bursts and in answer to NACK.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orv::live {

/// RFC 4588 section 4.
struct RetransmissionPacket {
    std::uint32_t ssrc = 0;             ///< of the retransmission stream
    std::uint16_t sequence_number = 0;  ///< of the retransmission stream
    std::uint16_t original_sequence_number = 0;
    std::uint8_t payload_type = 0;  ///< of the retransmission stream
    std::uint32_t timestamp = 0;    ///< the original one
    /// The original payload, within the datagram; for ReadStreamPayload() if the stream is one of ours.
    std::span<const std::byte> payload;
    bool has_extension = false;  ///< RTP header extension, of any content
    /// Whether the server announces that it is time to join the group: bit 0x0008 of the first 16 bits in the
    /// header extension of a packet without contributing sources, which are bytes 24 and 25 from the UDP
    /// header's start.
    bool has_sbit = false;
};

/// Reads a UDP payload; nothing when it is no RTP or has no room for the original sequence number. Allocates
/// nothing, throws nothing. Any thread.
std::optional<RetransmissionPacket> ReadRetransmission(std::span<const std::byte> payload) noexcept;

}  // namespace orv::live
