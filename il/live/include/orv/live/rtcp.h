// RTCP of set-top boxes: requests for retransmissions and bursts, and what a server answers.
//
// The writers write the UDP payload of one datagram to the start of `out` and return its length in bytes.
// They throw std::length_error when `out` is too short, and std::invalid_argument for a sender without a
// CNAME, a CNAME of more than 255 bytes, a token of more than 65,535 bytes, and lists that are empty or too
// long for their message. Reading throws nothing and never reads outside of its input. None of them
// allocates. Any thread may call.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

namespace orv::live {

/// A token of a server, with all that the client has to hand back along with it (RFC 6284 section 4.2).
struct PortMappingToken {
    std::uint64_t nonce = 0;           ///< of the request that the token answers
    std::span<const std::byte> bytes;  ///< opaque
    /// Seconds since 1900 in the server's format and clock: to be handed back, not to be interpreted.
    std::uint64_t absolute_expiration = 0;
};

/// Who a message comes from, and the packets around it.
///
/// A datagram consists of an empty receiver report, a source description with the CNAME (RFC 3550 section
/// 6.1), a Token Verification Request if there is a token (RFC 6284 section 4.3), and the message, in this
/// order (RFC 4585 section 3.1). With `reduced_size` the first two are left out (RFC 5506), which needs the
/// server's consent.
struct RtcpSender {
    std::uint32_t ssrc = 0;  ///< of the STB, the same in all its messages for a channel
    /// By which the server recognises the STB in all its messages: unique, and the same in all of them.
    std::string_view cname;
    bool reduced_size = false;
    /// Servers that map ports want it in NACK, RAMS-R, RAMS-T and BYE (RFC 6284 section 4.3.1).
    std::optional<PortMappingToken> token = {};
};

/// One lost packet, and others among the 16 that follow it (RFC 4585 section 6.2.1).
struct NackEntry {
    std::uint16_t packet_id = 0;  ///< RTP sequence number
    std::uint16_t mask = 0;       ///< bit i (the lowest is 0): packet_id + 1 + i is lost, too
};

/// A generic NACK (RFC 4585 section 6.2.1) for packets of the stream `media_ssrc`; sent to the primary
/// session's feedback target. At least one entry.
std::size_t WriteNack(std::span<std::byte> out, const RtcpSender& sender, std::uint32_t media_ssrc,
                      std::span<const NackEntry> entries);

/// What a burst is asked for with. Limits that are not set are not sent.
struct RamsRequest {
    std::uint32_t media_ssrc = 0;  ///< of the channel's stream
    std::optional<std::uint32_t> min_buffer_ms = {};
    std::optional<std::uint32_t> max_buffer_ms = {};
    std::optional<std::uint64_t> max_bitrate = {};  ///< bit/s
};

/// A RAMS Request (RFC 6285 section 7.2). Both SSRCs of its header are the sender's; the channel's is in the
/// element "requested media sender SSRC".
std::size_t WriteRamsRequest(std::span<std::byte> out, const RtcpSender& sender, const RamsRequest& request);

/// A RAMS Termination (RFC 6285 section 7.4). Without a sequence number it ends the burst at once. With the
/// extended sequence number (RFC 3550 appendix A.1: cycles in the upper 16 bits) of the first multicast
/// packet the burst ends before that packet; this is the regular message after the join.
std::size_t WriteRamsTermination(std::span<std::byte> out, const RtcpSender& sender, std::uint32_t media_ssrc,
                                 std::optional<std::uint32_t> first_multicast_extended_sequence = {});

/// A BYE of the sender (RFC 3550 section 6.6). It ends bursts and retransmissions without a RAMS Termination
/// (RFC 6285 section 6.2, step 10).
std::size_t WriteGoodbye(std::span<std::byte> out, const RtcpSender& sender);

/// A Port Mapping Request (RFC 6284 section 4.1), always without the sender's token. Repetitions carry the
/// same nonce, a new request a new random one.
std::size_t WritePortMappingRequest(std::span<std::byte> out, const RtcpSender& sender, std::uint64_t nonce);

/// RAMS Information (RFC 6285 section 7.3).
struct RamsInformation {
    std::uint32_t media_ssrc = 0;     ///< from the element of that name, else the header's media source
    std::uint8_t message_number = 0;  ///< the same in repetitions, and one more (modulo 256) after a change
    std::uint16_t response = 0;       ///< ExplainRamsResponse() in rams_response.h
    /// RTP sequence number of the burst's first packet: of the retransmission stream, not the original one.
    std::optional<std::uint16_t> first_sequence = {};
    std::optional<std::uint32_t> earliest_join_ms = {};   ///< from the arrival of the burst's first packet
    std::optional<std::uint32_t> burst_duration_ms = {};  ///< from the burst's first packet to its last
    std::optional<std::uint64_t> max_bitrate = {};        ///< bit/s
};

/// Port Mapping Response (RFC 6284 section 4.2).
struct PortMappingResponse {
    std::uint32_t client_ssrc = 0;  ///< of the request
    PortMappingToken token;         ///< the bytes lie within the datagram
    /// From the token's generation; 0: the server refuses, and the token is void.
    std::uint32_t relative_expiration_s = 0;
    std::span<const std::byte> packet_types;  ///< RTCP types that want a token; within the datagram
};

/// Token Verification Failure (RFC 6284 section 4.4): the server has not carried out the message.
struct TokenVerificationFailure {
    std::uint32_t client_ssrc = 0;
    std::uint8_t failed_packet_type = 0;    ///< 205 for NACK and RAMS, 203 for BYE
    std::uint8_t failed_feedback_type = 0;  ///< 1 for NACK, 6 for RAMS, 0 for BYE
    std::uint64_t nonce = 0;                ///< of the rejected token; 0: there was none
};

/// One source that a BYE names (RFC 3550 section 6.6).
struct Goodbye {
    std::uint32_t ssrc = 0;
};

using RtcpMessage = std::variant<RamsInformation, PortMappingResponse, TokenVerificationFailure, Goodbye>;

/// The messages of a datagram, in its order.
class RtcpMessages {
  public:
    static constexpr std::size_t kMost = 32;

    const RtcpMessage* begin() const { return messages_.data(); }
    const RtcpMessage* end() const { return messages_.data() + size_; }
    std::size_t GetSize() const { return size_; }
    const RtcpMessage& operator[](std::size_t index) const { return messages_[index]; }
    /// Does nothing when there are kMost already.
    void Add(const RtcpMessage& message) {
        if (size_ < kMost) messages_[size_++] = message;
    }

  private:
    std::size_t size_ = 0;
    std::array<RtcpMessage, kMost> messages_{};
};

/// Whether a datagram of a port that RTP and RTCP share is RTCP (RFC 5761 section 4). ReadRtpPacket() takes
/// none of these.
bool IsRtcp(std::span<const std::byte> payload) noexcept;

/// The messages of a datagram that a set-top box reacts to, at most RtcpMessages::kMost: those beyond are
/// dropped. Views point into `payload`. The first packet may be of any type (RFC 5506).
/// - Skipped: packets, feedback messages and elements (TLV) of other types, and what follows the last field.
/// - A datagram gives nothing when its packets do not fill it exactly, one is not of version 2, or one has
///   wrong padding: none, not a multiple of four, or before the last packet (RFC 3550 appendix A.2).
/// - A message is left out when it is too short for its fields, or has an element that is longer than the
/// rest
///   or of a wrong length for its type. Of elements of the same type the first one counts.
RtcpMessages ReadRtcp(std::span<const std::byte> payload) noexcept;

}  // namespace orv::live
