// RTCP (RFC 3550) with the messages of RFC 4585, RFC 6284 and RFC 6285.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

namespace orv::lab {

namespace rtcp {

constexpr unsigned kReceiverReport = 201;
constexpr unsigned kSourceDescription = 202;
constexpr unsigned kBye = 203;
constexpr unsigned kTransportFeedback = 205;
constexpr unsigned kToken = 210;

constexpr unsigned kNack = 1;  // of feedback
constexpr unsigned kRams = 6;

constexpr unsigned kPortMappingRequest = 1;  // of tokens
constexpr unsigned kPortMappingResponse = 2;
constexpr unsigned kTokenVerification = 3;
constexpr unsigned kTokenFailure = 4;

constexpr unsigned kRamsRequest = 1;
constexpr unsigned kRamsInformation = 2;
constexpr unsigned kRamsTermination = 3;

}  // namespace rtcp

/// One packet of a compound.
struct RtcpPacket {
    unsigned type = 0;
    unsigned format = 0;              ///< the five bits that count, or that tell messages of a type apart
    std::span<const std::byte> body;  ///< behind the first word, without padding
};

/// Hands on each packet. Returns false, before any is handed on, if the datagram is not made of RTCP packets.
bool ReadCompound(std::span<const std::byte> datagram, const std::function<void(const RtcpPacket&)>& take);

struct RamsRequest {
    static constexpr std::size_t kMostSsrcs = 32;

    std::array<std::uint32_t, kMostSsrcs> ssrcs{};  ///< what is asked for
    std::size_t count = 0;
    std::optional<std::uint32_t> min_fill_ms;
    std::optional<std::uint32_t> max_fill_ms;
    std::optional<std::uint64_t> max_bitrate;
};

/// `body`: of a RAMS message, from the sender's SSRC on. Nothing if its elements are malformed. Without an
/// element for it, what is asked for is the media source's SSRC.
std::optional<RamsRequest> ReadRamsRequest(std::span<const std::byte> body);

struct RamsTermination {
    std::optional<std::uint16_t> first_multicast;
};

std::optional<RamsTermination> ReadRamsTermination(std::span<const std::byte> body);

struct TokenVerification {
    std::uint64_t nonce = 0;
    std::uint64_t expiry = 0;
    std::span<const std::byte> token{};
};

/// `body` from the sender's SSRC on.
std::optional<TokenVerification> ReadTokenVerification(std::span<const std::byte> body);

struct RamsInformation {
    std::uint32_t ssrc = 0;
    std::uint8_t number = 0;
    std::uint16_t response = 0;
    std::optional<std::uint16_t> first_sequence{};
    std::uint32_t join_ms = 0;
    std::optional<std::uint32_t> duration_ms{};
    std::optional<std::uint64_t> bitrate{};
};

/// Writes RTCP packets one behind the other into a buffer large enough.
class RtcpWriter {
  public:
    explicit RtcpWriter(std::span<std::byte> bytes) : bytes_(bytes) {}

    /// What a compound has to begin with: an empty receiver report, and who it is from.
    void WriteBeginning(std::uint32_t ssrc, std::string_view canonical_name);
    void WriteRamsInformation(const RamsInformation& information);
    void WritePortMappingResponse(std::uint32_t ssrc, std::uint32_t client, const TokenVerification& token,
                                  std::uint32_t seconds, std::span<const std::uint8_t> types);
    void WriteTokenFailure(std::uint32_t ssrc, std::uint32_t client, unsigned type, unsigned format,
                           std::uint64_t nonce);

    std::size_t size() const { return at_; }

  private:
    void Begin(unsigned type, unsigned format);
    void Number8(unsigned value);
    void Number16(std::uint16_t value);
    void Number32(std::uint32_t value);
    void Number64(std::uint64_t value);
    void Element(unsigned type, unsigned length);
    void Align();
    void End();

    std::span<std::byte> bytes_;
    std::size_t at_ = 0;
    std::size_t begin_ = 0;
};

}  // namespace orv::lab
