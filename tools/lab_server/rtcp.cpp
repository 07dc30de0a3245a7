#include "lab_server/rtcp.h"

#include <algorithm>

#include "lab_common/bytes.h"

namespace orv::lab {

namespace {

constexpr std::size_t kElementHeader = 4;

enum ElementType : unsigned {
    kRequestedSsrcs = 1,
    kMinFill = 2,
    kMaxFill = 3,
    kMaxReceiveBitrate = 4,
    kMediaSenderSsrc = 31,
    kFirstSequence = 32,
    kEarliestJoin = 33,
    kBurstDuration = 34,
    kMaxTransmitBitrate = 35,
    kFirstMulticast = 61,
};

std::size_t RoundUp(std::size_t size) {
    return (size + 3) / 4 * 4;
}

/// Hands on the type and the value of each element. Returns false at one that is cut short, or whose value is
/// refused.
bool ReadElements(std::span<const std::byte> bytes,
                  const std::function<bool(unsigned type, std::span<const std::byte> value)>& take) {
    while (bytes.size() >= kElementHeader) {
        const std::size_t length = Get16(bytes, 2);
        const std::size_t all = kElementHeader + RoundUp(length);
        if (all > bytes.size() || !take(Get8(bytes, 0), bytes.subspan(kElementHeader, length))) return false;
        bytes = bytes.subspan(all);
    }
    return bytes.empty();
}

bool ReadInto(std::optional<std::uint32_t>& number, std::span<const std::byte> value) {
    if (value.size() == 4) number = Get32(value, 0);
    return value.size() == 4;
}

}  // namespace

bool ReadCompound(std::span<const std::byte> datagram, const std::function<void(const RtcpPacket&)>& take) {
    const auto read = [&](const std::function<void(const RtcpPacket&)>& use) {
        auto rest = datagram;
        while (rest.size() >= 4) {
            const std::size_t size = 4 + std::size_t{4} * Get16(rest, 2);
            const unsigned type = Get8(rest, 1);
            if (Get8(rest, 0) >> 6 != 2 || type < 192 || type > 223 || size > rest.size()) return false;
            std::size_t body = size - 4;
            if (Get8(rest, 0) & 0x20) {
                // Only the last packet of a compound may be padded.
                const std::size_t padding = Get8(rest, size - 1);
                if (size != rest.size() || padding == 0 || padding > body) return false;
                body -= padding;
            }
            use({type, Get8(rest, 0) & 0x1F, rest.subspan(4, body)});
            rest = rest.subspan(size);
        }
        return rest.empty() && !datagram.empty();
    };
    return read([](const RtcpPacket&) {}) && read(take);
}

std::optional<RamsRequest> ReadRamsRequest(std::span<const std::byte> body) {
    if (body.size() < 12) return std::nullopt;
    RamsRequest request;
    const bool good = ReadElements(body.subspan(12), [&](unsigned type, std::span<const std::byte> value) {
        switch (type) {
            case kRequestedSsrcs:
                if (value.size() % 4 != 0) return false;
                request.count = std::min(value.size() / 4, RamsRequest::kMostSsrcs);
                for (std::size_t i = 0; i < request.count; ++i) request.ssrcs[i] = Get32(value, 4 * i);
                return true;
            case kMinFill:
                return ReadInto(request.min_fill_ms, value);
            case kMaxFill:
                return ReadInto(request.max_fill_ms, value);
            case kMaxReceiveBitrate:
                if (value.size() == 8) request.max_bitrate = Get64(value, 0);
                return value.size() == 8;
            default:
                return true;
        }
    });
    if (!good) return std::nullopt;
    if (request.count == 0) request.ssrcs[request.count++] = Get32(body, 4);
    return request;
}

std::optional<RamsTermination> ReadRamsTermination(std::span<const std::byte> body) {
    if (body.size() < 12) return std::nullopt;
    RamsTermination termination;
    const bool good = ReadElements(body.subspan(12), [&](unsigned type, std::span<const std::byte> value) {
        if (type != kFirstMulticast) return true;
        if (value.size() == 4) termination.first_multicast = Get16(value, 2);  // the rest counts its cycles
        return value.size() == 4;
    });
    return good ? std::optional(termination) : std::nullopt;
}

std::optional<TokenVerification> ReadTokenVerification(std::span<const std::byte> body) {
    if (body.size() < 14) return std::nullopt;
    const std::size_t length = Get16(body, 12);
    const std::size_t token = RoundUp(2 + length);
    if (body.size() < 12 + token + 8) return std::nullopt;
    return TokenVerification{Get64(body, 4), Get64(body, 12 + token), body.subspan(14, length)};
}

void RtcpWriter::Begin(unsigned type, unsigned format) {
    begin_ = at_;
    Number8(0x80 | format);
    Number8(type);
    Number16(0);
}

void RtcpWriter::Number8(unsigned value) {
    Put8(bytes_, at_++, value);
}

void RtcpWriter::Number16(std::uint16_t value) {
    Put16(bytes_, at_, value);
    at_ += 2;
}

void RtcpWriter::Number32(std::uint32_t value) {
    Put32(bytes_, at_, value);
    at_ += 4;
}

void RtcpWriter::Number64(std::uint64_t value) {
    Put64(bytes_, at_, value);
    at_ += 8;
}

void RtcpWriter::Element(unsigned type, unsigned length) {
    Number8(type);
    Number8(0);
    Number16(static_cast<std::uint16_t>(length));
}

void RtcpWriter::Align() {
    while ((at_ - begin_) % 4 != 0) Number8(0);
}

void RtcpWriter::End() {
    Align();
    Put16(bytes_, begin_ + 2, static_cast<std::uint16_t>((at_ - begin_) / 4 - 1));
}

void RtcpWriter::WriteBeginning(std::uint32_t ssrc, std::string_view canonical_name) {
    Begin(rtcp::kReceiverReport, 0);
    Number32(ssrc);
    End();
    Begin(rtcp::kSourceDescription, 1);
    Number32(ssrc);
    Number8(1);  // CNAME
    Number8(static_cast<unsigned>(canonical_name.size()));
    for (const char letter : canonical_name) Number8(static_cast<unsigned char>(letter));
    Number8(0);  // the end of the items
    End();
}

void RtcpWriter::WriteRamsInformation(const RamsInformation& information) {
    Begin(rtcp::kTransportFeedback, rtcp::kRams);
    Number32(information.ssrc);
    Number32(information.ssrc);
    Number8(rtcp::kRamsInformation);
    Number8(information.number);
    Number16(information.response);
    Element(kMediaSenderSsrc, 4);
    Number32(information.ssrc);
    if (information.first_sequence) {
        Element(kFirstSequence, 2);
        Number16(*information.first_sequence);
        Align();
    }
    Element(kEarliestJoin, 4);
    Number32(information.join_ms);
    if (information.duration_ms) {
        Element(kBurstDuration, 4);
        Number32(*information.duration_ms);
    }
    if (information.bitrate) {
        Element(kMaxTransmitBitrate, 8);
        Number64(*information.bitrate);
    }
    End();
}

void RtcpWriter::WritePortMappingResponse(std::uint32_t ssrc, std::uint32_t client,
                                          const TokenVerification& token, std::uint32_t seconds,
                                          std::span<const std::uint8_t> types) {
    Begin(rtcp::kToken, rtcp::kPortMappingResponse);
    Number32(ssrc);
    Number32(client);
    Number64(token.nonce);
    Number16(static_cast<std::uint16_t>(token.token.size()));
    for (const std::byte value : token.token) Number8(std::to_integer<unsigned>(value));
    Align();
    Number64(token.expiry);
    Number32(seconds);
    Number8(static_cast<unsigned>(types.size()));
    for (const std::uint8_t type : types) Number8(type);
    End();
}

void RtcpWriter::WriteTokenFailure(std::uint32_t ssrc, std::uint32_t client, unsigned type, unsigned format,
                                   std::uint64_t nonce) {
    Begin(rtcp::kToken, rtcp::kTokenFailure);
    Number32(ssrc);
    Number32(client);
    Number8(type);
    Number8(format << 3);
    Number16(0);
    Number64(nonce);
    End();
}

}  // namespace orv::lab
