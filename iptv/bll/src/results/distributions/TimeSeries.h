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
    void AddSum(Latency latency, double ms, std::size_t count) {
        Sum& sum = sums[static_cast<std::size_t>(latency)];
        sum.total += ms;
        sum.count += count;
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

    /// The interval of a time stamp of the port, in ticks; null if there is none yet. Often that of the call
    /// before, which is found without a division.
    Interval* Find(std::int64_t ticks) {
        return ticks >= found_from_ && ticks < found_to_ ? found_ : FindOther(ticks);
    }
    /// Whether FindOrMake could find something: false for 0, and for times that are farther from the others
    /// than the counter can tell.
    bool IsPlausible(std::int64_t ticks) const;
    /// Makes the interval if there is none; other intervals may move then. Null for an implausible time.
    Interval* FindOrMake(std::int64_t ticks);
    /// Adds the intervals of another port, whose first interval coincides with the first one here.
    void Merge(const TimeSeries& other);

    std::uint32_t GetSecondsPerInterval() const { return seconds_per_interval_; }
    /// In the order of time, without gaps.
    const std::deque<Interval>& GetIntervals() const { return intervals_; }

  private:
    std::int64_t GetTicksSinceOrigin(std::int64_t ticks) const;
    Interval* FindOther(std::int64_t ticks);
    void Halve();
    void MakeRoom(std::int64_t second);

    std::int64_t origin_ = 0;  ///< ticks of the first event that came
    std::int64_t first_ = 0;   ///< number of the first interval, counted from the origin
    std::uint32_t seconds_per_interval_ = 1;
    std::deque<Interval> intervals_;
    // The interval found last, and its ticks.
    Interval* found_ = nullptr;
    std::int64_t found_from_ = 0;
    std::int64_t found_to_ = 0;
};

}  // namespace orv::iptv::distributions
