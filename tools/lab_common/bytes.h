// Numbers in network byte order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orv::lab {

inline unsigned Get8(std::span<const std::byte> bytes, std::size_t at) {
    return std::to_integer<unsigned>(bytes[at]);
}

inline std::uint16_t Get16(std::span<const std::byte> bytes, std::size_t at) {
    return static_cast<std::uint16_t>(Get8(bytes, at) << 8 | Get8(bytes, at + 1));
}

inline std::uint32_t Get32(std::span<const std::byte> bytes, std::size_t at) {
    return std::uint32_t{Get16(bytes, at)} << 16 | Get16(bytes, at + 2);
}

inline std::uint64_t Get64(std::span<const std::byte> bytes, std::size_t at) {
    return std::uint64_t{Get32(bytes, at)} << 32 | Get32(bytes, at + 4);
}

inline void Put8(std::span<std::byte> bytes, std::size_t at, unsigned value) {
    bytes[at] = static_cast<std::byte>(value & 0xFF);
}

inline void Put16(std::span<std::byte> bytes, std::size_t at, std::uint16_t value) {
    Put8(bytes, at, value >> 8U);
    Put8(bytes, at + 1, value);
}

inline void Put32(std::span<std::byte> bytes, std::size_t at, std::uint32_t value) {
    Put16(bytes, at, static_cast<std::uint16_t>(value >> 16));
    Put16(bytes, at + 2, static_cast<std::uint16_t>(value & 0xFFFF));
}

inline void Put64(std::span<std::byte> bytes, std::size_t at, std::uint64_t value) {
    Put32(bytes, at, static_cast<std::uint32_t>(value >> 32));
    Put32(bytes, at + 4, static_cast<std::uint32_t>(value & 0xFFFFFFFF));
}

}  // namespace orv::lab
