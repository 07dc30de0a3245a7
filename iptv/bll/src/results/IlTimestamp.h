// Time stamps of ports: 46-bit counters of 10 ns ticks in signed 64-bit numbers. 0: the event did not happen.
#pragma once

#include <cstdint>
#include <string>

namespace orv::iptv {

/// a - b in ticks. Handles wrap-around: a value in the last quarter of the counter's range counts as earlier
/// than one in the first quarter.
constexpr std::int64_t TimestampsDifference(std::int64_t a, std::int64_t b) {
    constexpr std::int64_t kTop = 0x300000000000;
    constexpr std::int64_t kWrap = 0x400000000000;
    const std::int64_t top_a = a & kTop;
    const std::int64_t top_b = b & kTop;
    // Unsigned arithmetic: values of more than 46 bits must not cause signed overflow.
    const auto subtract = [](std::int64_t x, std::int64_t y) {
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(x) - static_cast<std::uint64_t>(y));
    };
    if (top_a == 0 && top_b == kTop) return subtract(subtract(a, b), -kWrap);
    if (top_a == kTop && top_b == 0) return subtract(subtract(a, b), kWrap);
    return subtract(a, b);
}

constexpr double TicksToMs(std::int64_t ticks) {
    return static_cast<double>(ticks) * 10.0 / 1000000.0;
}

constexpr double TicksToSeconds(std::int64_t ticks) {
    return TicksToMs(ticks) / 1000.0;
}

/// "hhhh:mm:ss.mmmuuunnn"; the hours have more digits if needed.
std::string ConvertTimestampToString(long ts);
/// Writes the same to `text`, at most 40 characters, and returns its end. Thread-safe.
char* FormatTimestamp(std::int64_t ts, char* text);

}  // namespace orv::iptv
