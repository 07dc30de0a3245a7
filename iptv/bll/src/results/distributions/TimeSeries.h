// Counts and latencies of a port per interval of time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>

#include "results/distributions/Latency.h"
#include "results/distributions/LatencyHistogram.h"

namespace orv::iptv::distributions {

/// What begins within one interval.
struct Interval {
    struct Sum {
        double total = 0;  ///< ms
        std::uint64_t count = 0;
    };

    void Count(IntervalCounter counter, std::uint64_t count) {
        counters[static_cast<std::size_t>(counter)] += count;
    }
    void Add(Latency latency, double ms) {
        Sum& sum = sums[static_cast<std::size_t>(latency)];
        sum.total += ms;
        ++sum.count;
        if (latency == Latency::kJoin) joins.Add(ms);
    }
    void Merge(const Interval& other);

    std::array<std::uint64_t, kNumIntervalCounters> counters{};
    std::array<Sum, kNumLatencies> sums{};
    LatencyHistogram joins;
};

/// The intervals of one port, by the counter of the port. They are a second long. When there would be more
/// than `kMost`, each two become one: so long tests need no more memory than short ones.
class TimeSeries {
  public:
    static constexpr std::size_t kMost = 7200;

    /// The interval of a time stamp of the port, in ticks. Null for 0, and for times that are farther from
    /// the others than the counter can tell.
    Interval* Find(std::int64_t ticks);
    /// Adds the intervals of another port, whose first interval coincides with the first one here.
    void Merge(const TimeSeries& other);
    /// Before the intervals are read or merged into others.
    void Settle();

    std::uint32_t GetSecondsPerInterval() const { return seconds_per_interval_; }
    /// In the order of time, without gaps.
    const std::deque<Interval>& GetIntervals() const { return intervals_; }

  private:
    void Halve();
    void MakeRoom(std::int64_t second);

    std::int64_t origin_ = 0;  ///< ticks of the first event that came
    std::int64_t first_ = 0;   ///< number of the first interval, counted from the origin
    std::uint32_t seconds_per_interval_ = 1;
    std::deque<Interval> intervals_;
};

}  // namespace orv::iptv::distributions
