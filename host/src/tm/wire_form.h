// What reader and writer of the wire form agree on. The form itself is described in docs/wire-format.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "orv/tm/flat_shape.h"

namespace orv::tm::wire {

inline constexpr std::uint64_t kFormatVersion = 1;

inline constexpr std::uint64_t kFlagDiscardEligible = 1;
inline constexpr std::uint64_t kFlagCatalog = 2;
inline constexpr std::uint64_t kAllFlags = kFlagDiscardEligible | kFlagCatalog;

/// Items of the outermost array when there is no catalog.
inline constexpr std::uint32_t kMessageItems = 10;

inline constexpr std::size_t kMaxStringSize = 64U << 20U;  // 64 MiB
inline constexpr std::size_t kMaxMessageSize = 1U << 30U;  // 1 GiB

/// Strings are handed out as `const char*`, so one with a zero byte would be truncated silently.
inline bool has_zero_byte(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

/// Whether structs of a shape travel as packed rows. Shapes whose rows have next to no bytes do not: a few
/// bytes of input could otherwise represent any number of elements or members.
inline bool travels_packed(const Tm_flat_shape& shape) {
    return shape.row_size() > 0 && shape.total_members() <= 2 * shape.row_size();
}

}  // namespace orv::tm::wire
