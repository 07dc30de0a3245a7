#include "results/IlTimestamp.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "orv/core/packed_rows.h"

namespace orv::iptv {

namespace {

/// The digits of all numbers up to 99.
constexpr auto kPairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
    return pairs;
}();

/// An event row has twelve time stamps: general-purpose formatting would cost as much as storing the row.
char* PutPair(char* text, std::uint32_t number) {
    std::memcpy(text, &kPairs[2 * number], 2);
    return text + 2;
}

}  // namespace

char* FormatTimestamp(std::int64_t ts, char* text) {
    constexpr std::int64_t kTicksPerSecond = 100'000'000;
    constexpr std::int64_t kSecondsOf10000Hours = 10'000 * 3600;
    const std::int64_t all_seconds = ts / kTicksPerSecond;
    if (ts < 0 || all_seconds >= kSecondsOf10000Hours) {  // no valid port time: the counter has 46 bits
        const std::int64_t us = ts / 100;
        return fmt::format_to(text, "{:04}:{:02}:{:02}.{:03}{:03}{:03}", all_seconds / 3600,
                              all_seconds / 60 % 60, all_seconds % 60, us / 1000 % 1000, us % 1000,
                              ts % 100 * 10);
    }
    const auto seconds = static_cast<std::uint32_t>(all_seconds);
    const auto ticks = static_cast<std::uint32_t>(ts % kTicksPerSecond);
    const std::uint32_t hours = seconds / 3600;
    text = PutPair(text, hours / 100);
    text = PutPair(text, hours % 100);
    *text++ = ':';
    text = PutPair(text, seconds / 60 % 60);
    *text++ = ':';
    text = PutPair(text, seconds % 60);
    *text++ = '.';
    text = PutPair(text, ticks / 1'000'000);
    text = PutPair(text, ticks / 10'000 % 100);
    text = PutPair(text, ticks / 100 % 100);
    text = PutPair(text, ticks % 100);
    *text++ = '0';
    return text;
}

std::string ConvertTimestampToString(long ts) {
    char text[core::PackedRowLayout::kMaxText];
    return std::string(text, static_cast<std::size_t>(FormatTimestamp(ts, text) - text));
}

}  // namespace orv::iptv
