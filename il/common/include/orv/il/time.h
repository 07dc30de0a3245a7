// Times of a run, as numbers to calculate with.
#pragma once

#include <cstdint>

namespace orv::il {

/// Times of a run: nanoseconds of the timeline; kNever for what did not happen.
using Time = std::int64_t;
inline constexpr Time kNever = -1;
inline constexpr Time kMillisecond = 1'000'000;
inline constexpr Time kSecond = 1'000'000'000;
/// No configured delay is longer than this, so that sums cannot overflow.
inline constexpr std::uint64_t kLongestMs = 1'000'000'000'000;  // 30 years

constexpr Time ms(std::uint64_t count) {
    return static_cast<Time>(count < kLongestMs ? count : kLongestMs) * kMillisecond;
}

}  // namespace orv::il
