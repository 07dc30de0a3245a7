// What travels in one message of the server: a piece of a parcel, or an acknowledgement.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "orv/bus/names.h"

namespace orv::bus {

/// What one end of a session sends the other, of any size.
struct Parcel {
    std::uint8_t kind = 0;   ///< what the bytes are; the ends know
    std::uint16_t port = 0;  ///< which port of the session it is to or from
    std::vector<std::byte> data;
};

/// Largest parcel that is taken; more is hostile.
inline constexpr std::size_t kMostParcelBytes = std::size_t{1} << 30;

/// A piece of a parcel. On the wire, little-endian: u8 1, u8 lane, u8 kind, u8 whether it is packed, u16
/// port, u16 0, u32 bytes of the whole parcel, u32 offset of the piece, u64 number, and the piece. Pieces of
/// a lane are numbered from 1 without gaps, those of a parcel follow each other.
struct Frame {
    Lane lane = Lane::Down;
    std::uint8_t kind = 0;
    bool is_packed = false;  ///< the pieces together are a parcel's data made smaller (packing.h)
    std::uint16_t port = 0;
    std::uint32_t whole = 0;
    std::uint32_t offset = 0;
    std::uint64_t number = 0;
    std::span<const std::byte> piece;

    bool is_last() const { return offset + piece.size() == whole; }
};
inline constexpr std::size_t kFrameHeaderBytes = 24;

/// How far a lane's receiver is. On the wire, little-endian: u8 2, u8 lane, u8 whether it is busy, u8 0, u32
/// 0, u64 taken, u64 expected.
struct Acknowledgement {
    Lane lane = Lane::Down;
    std::uint64_t taken = 0;     ///< last frame of the last parcel that is done with, or 0
    std::uint64_t expected = 1;  ///< frame that it waits for
    bool is_busy = false;        ///< with a parcel: there may be frames that it has not looked at
};

void write_header(const Frame& frame, std::span<std::byte, kFrameHeaderBytes> out);
std::vector<std::byte> encode(const Acknowledgement& acknowledgement);

/// Nothing if the bytes are no such thing. The frame refers to them.
std::optional<Frame> decode_frame(std::span<const std::byte> bytes);
std::optional<Acknowledgement> decode_acknowledgement(std::span<const std::byte> bytes);

}  // namespace orv::bus
