// The distributions and time series of a running test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>

#include "results/distributions/DistributionSet.h"
#include "results/distributions/TimeSeries.h"

namespace orv::iptv::distributions {

/// Where the values of one view go; the range and the block always exist.
class ViewSink {
  public:
    ViewSink(DistributionSet& range, DistributionSet& block, Interval* interval)
        : range_(range), block_(block), interval_(interval) {}

    void Add(Latency latency, double ms) {
        range_[latency].Add(ms);
        block_[latency].Add(ms);
        if (interval_) interval_->Add(latency, ms);
    }
    void Count(IntervalCounter counter, std::uint64_t count) {
        if (interval_) interval_->Count(counter, count);
    }

  private:
    DistributionSet& range_;
    DistributionSet& block_;
    Interval* interval_;
};

/// Values are counted per channel range and per block, whose sums are those of profiles, ports and the test.
/// Objects are known by their handles: what was measured remains when one of them is deleted.
class TestDistributions {
  public:
    struct Block {
        std::uint32_t profile = 0;
        std::uint32_t port = 0;
        DistributionSet set;
    };
    using Sets = std::map<std::uint32_t, DistributionSet>;  ///< by handle

    /// A block whose profile or port changes takes its values along. References are valid until Clear.
    Block& FindOrMakeBlock(std::uint32_t block, std::uint32_t profile, std::uint32_t port);
    DistributionSet& FindOrMakeRange(std::uint32_t range) { return ranges_[range]; }
    TimeSeries& FindOrMakeSeries(std::uint32_t port) { return series_[port]; }
    void Clear() { *this = {}; }
    /// Call before what follows.
    void Settle();

    const std::unordered_map<std::uint32_t, DistributionSet>& GetRanges() const { return ranges_; }
    const std::unordered_map<std::uint32_t, Block>& GetBlocks() const { return blocks_; }
    const std::map<std::uint32_t, TimeSeries>& GetSeries() const { return series_; }
    Sets MergeProfiles() const { return MergeBy(&Block::profile); }
    Sets MergePorts() const { return MergeBy(&Block::port); }
    DistributionSet MergeTest() const;
    TimeSeries MergeSeries() const;

  private:
    Sets MergeBy(std::uint32_t Block::*owner) const;

    std::unordered_map<std::uint32_t, DistributionSet> ranges_;
    std::unordered_map<std::uint32_t, Block> blocks_;
    std::map<std::uint32_t, TimeSeries> series_;
};

}  // namespace orv::iptv::distributions
