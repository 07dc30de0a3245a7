#include "results/distributions/ValueLog.h"

#include <algorithm>

namespace orv::iptv::distributions {

namespace {

/// Fewer values are counted one by one: adding up takes time for every bucket between the least and the
/// greatest value.
constexpr std::size_t kLeastTogether = 64;
/// How many values ahead of the current one its memory is fetched.
constexpr std::size_t kFetchCount = 8;
constexpr std::size_t kFetchIndex = 2 * kFetchCount;

}  // namespace

void ValueLog::Drain(DistributionSet& block) {
    for (std::size_t i = 0; i < kNumLatencies; ++i) {
        const auto latency = static_cast<Latency>(i);
        const Values& values = values_[i];
        values.size < kLeastTogether ? CountSingly(latency, values, block[latency])
                                     : CountTogether(latency, values, block[latency]);
    }
    Discard();
}

void ValueLog::Discard() {
    for (std::size_t i = 0; i < kNumLatencies; ++i) values_[i].size = 0;
    num_views_ = 0;
    is_one_range_ = is_one_interval_ = true;
}

void ValueLog::CountSingly(Latency latency, const Values& values, LatencyHistogram& block) {
    for (std::size_t i = 0; i < values.size; ++i) {
        const std::uint32_t bucket = LatencyBuckets::Find(values.ms[i]);
        block.Add(bucket, values.ms[i]);
        (*views_[values.view[i]].range)[latency].Add(bucket, values.ms[i]);
    }
    CountInIntervals(latency, values);
}

void ValueLog::CountTogether(Latency latency, const Values& values, LatencyHistogram& block) {
    double sum = 0, min = values.ms[0], max = min;
    for (std::size_t i = 0; i < values.size; ++i) {
        const double ms = values.ms[i];
        ++counts_[LatencyBuckets::Find(ms)];
        sum += ms;
        min = std::min(min, ms);
        max = std::max(max, ms);
    }
    const std::uint32_t first = LatencyBuckets::Find(min), last = LatencyBuckets::Find(max);
    const auto add_to = [&](LatencyHistogram& histogram) {
        histogram.Add(counts_.data(), first, last, sum, min, max);
    };
    add_to(block);
    is_one_range_ ? add_to((*views_[0].range)[latency]) : CountInRanges(latency, values);
    Interval* const interval = views_[0].interval;
    if (!is_one_interval_) {
        CountInIntervals(latency, values);
    } else if (interval) {
        interval->AddSum(latency, sum, values.size);
        if (latency == Latency::kJoin) add_to(interval->joins);
    }
    std::fill(&counts_[first], &counts_[last] + 1, 0);
}

void ValueLog::CountInRanges(Latency latency, const Values& values) {
    const auto range_of = [&](std::size_t i) -> LatencyHistogram& {
        return (*views_[values.view[i]].range)[latency];
    };
    const auto bucket_of = [&](std::size_t i) { return LatencyBuckets::Find(values.ms[i]); };
    for (std::size_t i = 0; i < values.size; ++i) {
        if (i + kFetchIndex < values.size) range_of(i + kFetchIndex).FetchIndex(bucket_of(i + kFetchIndex));
        if (i + kFetchCount < values.size) range_of(i + kFetchCount).FetchCount(bucket_of(i + kFetchCount));
        range_of(i).Add(bucket_of(i), values.ms[i]);
    }
}

void ValueLog::CountInIntervals(Latency latency, const Values& values) {
    // Successive values often belong to the same interval.
    for (std::size_t i = 0; i < values.size;) {
        Interval* const interval = views_[values.view[i]].interval;
        const std::size_t first = i;
        double sum = 0;
        for (; i < values.size && views_[values.view[i]].interval == interval; ++i) {
            sum += values.ms[i];
            if (latency == Latency::kJoin && interval)
                interval->joins.Add(LatencyBuckets::Find(values.ms[i]), values.ms[i]);
        }
        if (interval) interval->AddSum(latency, sum, i - first);
    }
}

}  // namespace orv::iptv::distributions
