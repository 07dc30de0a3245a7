// Numbers in network byte order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orv::lab {

inline std::uint16_t Get16(std::span<const std::byte> bytes, std::size_t at) {
    return static_cast<std::uint16_t>(std::to_integer<unsigned>(bytes[at]) << 8 |
                                      std::to_integer<unsigned>(bytes[at + 1]));
}

}  // namespace orv::lab
