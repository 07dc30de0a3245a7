#include "orv/bus/frame.h"

#include <concepts>

namespace orv::bus {

namespace {

constexpr std::uint8_t kFrame = 1, kAcknowledgement = 2;
constexpr std::size_t kAcknowledgementBytes = 24;

template <std::unsigned_integral Number>
void put(std::span<std::byte> out, std::size_t at, Number number) {
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        out[at + i] = static_cast<std::byte>(number >> (8 * i) & 0xFF);
}

template <std::unsigned_integral Number>
Number get(std::span<const std::byte> in, std::size_t at) {
    Number number = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        number = static_cast<Number>(number | static_cast<Number>(in[at + i]) << (8 * i));
    return number;
}

/// Nothing unless the bytes begin like something of that type on a lane.
std::optional<Lane> lane_of(std::span<const std::byte> bytes, std::uint8_t type) {
    if (bytes.size() < 2 || get<std::uint8_t>(bytes, 0) != type) return {};
    const auto lane = get<std::uint8_t>(bytes, 1);
    if (lane >= kLaneCount) return {};
    return static_cast<Lane>(lane);
}

}  // namespace

void write_header(const Frame& frame, std::span<std::byte, kFrameHeaderBytes> out) {
    put(out, 0, kFrame);
    put(out, 1, static_cast<std::uint8_t>(frame.lane));
    put(out, 2, frame.kind);
    put(out, 3, static_cast<std::uint8_t>(frame.is_packed));
    put(out, 4, frame.port);
    put(out, 6, std::uint16_t{0});
    put(out, 8, frame.whole);
    put(out, 12, frame.offset);
    put(out, 16, frame.number);
}

std::optional<Frame> decode_frame(std::span<const std::byte> bytes) {
    const auto lane = lane_of(bytes, kFrame);
    if (!lane || bytes.size() < kFrameHeaderBytes) return {};
    Frame frame;
    frame.lane = *lane;
    frame.kind = get<std::uint8_t>(bytes, 2);
    frame.is_packed = get<std::uint8_t>(bytes, 3) != 0;
    frame.port = get<std::uint16_t>(bytes, 4);
    frame.whole = get<std::uint32_t>(bytes, 8);
    frame.offset = get<std::uint32_t>(bytes, 12);
    frame.number = get<std::uint64_t>(bytes, 16);
    frame.piece = bytes.subspan(kFrameHeaderBytes);
    if (frame.whole > kMostParcelBytes || frame.offset > frame.whole ||
        frame.piece.size() > frame.whole - frame.offset)
        return {};
    // Only an empty parcel has an empty piece.
    if (frame.piece.empty() != (frame.whole == 0)) return {};
    return frame;
}

std::vector<std::byte> encode(const Acknowledgement& acknowledgement) {
    std::vector<std::byte> bytes(kAcknowledgementBytes);
    put(bytes, 0, kAcknowledgement);
    put(bytes, 1, static_cast<std::uint8_t>(acknowledgement.lane));
    put(bytes, 2, static_cast<std::uint8_t>(acknowledgement.is_busy));
    put(bytes, 8, acknowledgement.taken);
    put(bytes, 16, acknowledgement.expected);
    return bytes;
}

std::optional<Acknowledgement> decode_acknowledgement(std::span<const std::byte> bytes) {
    const auto lane = lane_of(bytes, kAcknowledgement);
    if (!lane || bytes.size() != kAcknowledgementBytes) return {};
    const Acknowledgement read{*lane, get<std::uint64_t>(bytes, 8), get<std::uint64_t>(bytes, 16),
                               get<std::uint8_t>(bytes, 2) != 0};
    if (read.taken >= read.expected) return {};
    return read;
}

}  // namespace orv::bus
