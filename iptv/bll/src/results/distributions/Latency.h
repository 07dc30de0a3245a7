// The latencies whose distributions are kept, and the counters of the time series.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv::iptv::distributions {

enum class Latency : std::uint8_t {
    kJoin,
    kLeave,
    kChange,
    kGap,
    kOverlap,
    kUnicastJoin,
    kRetransmission,
    kNone  ///< of a figure without distribution
};
inline constexpr std::size_t kNumLatencies = static_cast<std::size_t>(Latency::kNone);

/// Names in the property Figure, by latency.
inline constexpr const char* kLatencyNames[kNumLatencies] = {
    "join latency",    "leave latency",        "change latency",        "gap latency",
    "overlap latency", "unicast join latency", "retransmission latency"};

/// What is counted per interval.
enum class IntervalCounter : std::uint8_t { kViews, kFailedJoins, kLost, kNone };
inline constexpr std::size_t kNumIntervalCounters = static_cast<std::size_t>(IntervalCounter::kNone);

}  // namespace orv::iptv::distributions
