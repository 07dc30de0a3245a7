// What the writers and the reader of RTCP share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "bytes.h"
#include "orv/live/rtcp.h"

namespace orv::live {

inline constexpr std::uint8_t kRtcpReceiverReport = 201;  ///< RFC 3550 section 12.1
inline constexpr std::uint8_t kRtcpSourceDescription = 202;
inline constexpr std::uint8_t kRtcpGoodbye = 203;
inline constexpr std::uint8_t kRtcpTransportFeedback = 205;  ///< RFC 4585 section 6.1
inline constexpr std::uint8_t kRtcpToken = 210;              ///< RFC 6284 section 4

inline constexpr std::uint8_t kFeedbackNack = 1;  ///< RFC 4585 section 6.2
inline constexpr std::uint8_t kFeedbackRams = 6;  ///< RFC 6285 section 7

/// Whether the second byte of a packet makes it RTCP on a port shared with RTP (RFC 5761 section 4).
constexpr bool is_rtcp_type(std::uint8_t type) {
    return type >= 192 && type <= 223;
}

/// The smallest multiple of 4 that is not below `length`.
constexpr std::size_t whole_words(std::size_t length) {
    return (length + 3) / 4 * 4;
}

/// Begins a packet of a datagram; returns where, for end_packet(). `count` is the five bits beside the
/// version.
std::size_t begin_packet(Writer& writer, std::uint8_t count, std::uint8_t type, std::uint32_t sender_ssrc);
/// Fills the last word with zeros, and the length in. Returns the size of the datagram so far.
std::size_t end_packet(Writer& writer, std::size_t begin);
/// Everything that comes before a message.
void write_preamble(Writer& writer, const RtcpSender& sender, const std::optional<PortMappingToken>& token);
void write_token_request(Writer& writer, std::uint32_t sender_ssrc, const PortMappingToken& token);

/// A packet of a datagram.
struct RtcpPacket {
    std::uint8_t count = 0;  ///< the five bits beside the version: a number of sources, a type of message
    std::uint8_t type = 0;
    std::span<const std::byte> body;  ///< after the first word, without padding: whole words
};

std::optional<RamsInformation> read_rams(const RtcpPacket& packet);
std::optional<RtcpMessage> read_port_mapping(const RtcpPacket& packet);

}  // namespace orv::live
