// Values that wait to be counted.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "results/distributions/DistributionSet.h"
#include "results/distributions/TimeSeries.h"

namespace orv::iptv::distributions {

/// Values of one block, by latency. They are counted together, which takes a third of the time: the counts of
/// one latency stay in the cache, and those of channel ranges are fetched ahead.
class ValueLog {
  public:
    /// Number of views that fit.
    static constexpr std::size_t kMostViews = 1024;

    ValueLog() : values_(std::make_unique<Values[]>(kNumLatencies)) {}

    bool IsFull() const { return num_views_ == kMostViews; }
    /// Begins a view or retransmission, to which the values that follow belong: at most one of each latency.
    void BeginView(DistributionSet& range, Interval* interval) {
        views_[num_views_++] = {&range, interval};
        is_one_range_ &= &range == views_[0].range;
        is_one_interval_ &= interval == views_[0].interval;
    }
    void Add(Latency latency, double ms) {
        Values& values = values_[static_cast<std::size_t>(latency)];
        values.ms[values.size] = ms;
        values.view[values.size++] = static_cast<std::uint16_t>(num_views_ - 1);
    }

    /// Counts the values in the block, their ranges and intervals, and forgets them. Call while all of these
    /// exist.
    void Drain(DistributionSet& block);
    /// Forgets values that were not counted because of an exception.
    void Discard();

  private:
    struct View {
        DistributionSet* range;
        Interval* interval;  ///< null: none
    };
    struct Values {
        std::size_t size = 0;
        std::array<double, kMostViews> ms;
        std::array<std::uint16_t, kMostViews> view;
    };

    void CountTogether(Latency latency, const Values& values, LatencyHistogram& block);
    void CountSingly(Latency latency, const Values& values, LatencyHistogram& block);
    void CountInRanges(Latency latency, const Values& values);
    void CountInIntervals(Latency latency, const Values& values);

    std::size_t num_views_ = 0;
    bool is_one_range_ = true;
    bool is_one_interval_ = true;
    std::array<View, kMostViews> views_;
    std::unique_ptr<Values[]> values_;                            ///< by latency
    std::array<std::uint32_t, LatencyBuckets::kCount> counts_{};  ///< all 0 between calls
};

/// Where the values of one view go.
class ViewSink {
  public:
    ViewSink(ValueLog& log, DistributionSet& range, Interval* interval) : log_(log), interval_(interval) {
        log_.BeginView(range, interval);
    }

    void Add(Latency latency, double ms) { log_.Add(latency, ms); }
    void Count(IntervalCounter counter, std::uint64_t count) {
        if (count != 0 && interval_) interval_->Count(counter, count);
    }

  private:
    ValueLog& log_;
    Interval* interval_;
};

}  // namespace orv::iptv::distributions
