#include "results/distributions/TimeSeries.h"

#include <algorithm>
#include <utility>

#include "results/IlTimestamp.h"

namespace orv::iptv::distributions {

namespace {

constexpr std::int64_t kTicksPerSecond = 100'000'000;
/// Half of the counter's range: what is farther away is no time of this test.
constexpr std::int64_t kFarthest = 0x200000000000;

constexpr std::int64_t FloorOf(std::int64_t number, std::int64_t divisor) {
    return number / divisor - (number % divisor < 0);
}

}  // namespace

void Interval::Merge(const Interval& other) {
    for (std::size_t i = 0; i < kNumIntervalCounters; ++i) counters[i] += other.counters[i];
    for (std::size_t i = 0; i < kNumLatencies; ++i) {
        sums[i].total += other.sums[i].total;
        sums[i].count += other.sums[i].count;
    }
    joins.Merge(other.joins);
}

Interval* TimeSeries::Find(std::int64_t ticks) {
    if (ticks == 0) return nullptr;
    if (intervals_.empty()) {
        origin_ = ticks;
        intervals_.emplace_back();
    }
    const std::int64_t since_origin = TimestampsDifference(ticks, origin_);
    if (since_origin < -kFarthest || since_origin > kFarthest) return nullptr;
    const std::int64_t second = FloorOf(since_origin, kTicksPerSecond);
    std::int64_t index = FloorOf(second, seconds_per_interval_) - first_;
    if (index < 0 || index >= static_cast<std::int64_t>(intervals_.size())) {
        MakeRoom(second);
        index = FloorOf(second, seconds_per_interval_) - first_;
    }
    return &intervals_[static_cast<std::size_t>(index)];
}

void TimeSeries::MakeRoom(std::int64_t second) {
    for (;;) {
        const std::int64_t wanted = FloorOf(second, seconds_per_interval_);
        const std::int64_t last = first_ + static_cast<std::int64_t>(intervals_.size()) - 1;
        const std::int64_t begin = std::min(first_, wanted), end = std::max(last, wanted);
        if (end - begin < static_cast<std::int64_t>(kMost)) {
            for (; first_ > begin; --first_) intervals_.emplace_front();
            intervals_.resize(static_cast<std::size_t>(end - begin) + 1);
            return;
        }
        Halve();
    }
}

void TimeSeries::Settle() {
    for (Interval& interval : intervals_) interval.joins.Settle();
}

void TimeSeries::Halve() {
    Settle();
    std::deque<Interval> halved;
    const std::int64_t first = FloorOf(first_, 2);
    for (std::size_t i = 0; i < intervals_.size(); ++i) {
        const auto to = static_cast<std::size_t>(FloorOf(first_ + static_cast<std::int64_t>(i), 2) - first);
        if (to == halved.size()) {
            halved.push_back(std::move(intervals_[i]));
        } else {
            halved[to].Merge(intervals_[i]);
        }
    }
    intervals_ = std::move(halved);
    first_ = first;
    seconds_per_interval_ *= 2;
}

void TimeSeries::Merge(const TimeSeries& other) {
    TimeSeries theirs = other;
    // Counted from the first interval of each.
    first_ = theirs.first_ = 0;
    while (seconds_per_interval_ < theirs.seconds_per_interval_) Halve();
    while (theirs.seconds_per_interval_ < seconds_per_interval_) theirs.Halve();
    if (intervals_.size() < theirs.intervals_.size()) intervals_.resize(theirs.intervals_.size());
    for (std::size_t i = 0; i < theirs.intervals_.size(); ++i) intervals_[i].Merge(theirs.intervals_[i]);
}

}  // namespace orv::iptv::distributions
