// Histograms, values that wait, and the time series, each against a plain computation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>

#include "results/distributions/TestDistributions.h"

namespace {

using namespace orv::iptv::distributions;  // NOLINT: a test

/// From 1 us to 10 minutes, any magnitude as often as any other.
double RollLatency(std::mt19937_64& random) {
    return std::exp(std::uniform_real_distribution<>(std::log(0.001), std::log(600'000.0))(random));
}

TEST(LatencyHistogramTest, PercentilesAreWithinOnePercentAfterMergingInAnyOrder) {
    std::mt19937_64 random(19);
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<double> values(1 + random() % 3000);
        std::vector<LatencyHistogram> parts(1 + random() % 6);
        const double spread = std::uniform_real_distribution<>(0, 1)(random), base = RollLatency(random);
        for (double& value : values) {
            value = std::clamp(base * std::pow(RollLatency(random), spread), 0.001, 600'000.0);
            parts[random() % parts.size()].Add(LatencyBuckets::Find(value), value);
        }
        LatencyHistogram sum, other_way;
        for (const LatencyHistogram& part : parts) sum.Merge(part);
        for (auto part = parts.rbegin(); part != parts.rend(); ++part) other_way.Merge(*part);
        EXPECT_EQ(sum.ToJson(), other_way.ToJson());
        std::sort(values.begin(), values.end());
        ASSERT_EQ(sum.GetCount(), values.size());
        EXPECT_EQ(sum.GetMin(), values.front());
        EXPECT_EQ(sum.GetMax(), values.back());
        for (std::uint32_t permille = 1; permille <= 1000; ++permille) {
            const double exact = values[(values.size() * permille + 999) / 1000 - 1];
            ASSERT_NEAR(sum.GetPercentile(permille), exact, exact * 0.01) << permille << " of " << trial;
        }
    }
}

TEST(LatencyHistogramTest, BucketsAreAsDocumented) {
    for (std::uint32_t bucket = 0; bucket < LatencyBuckets::kCount; ++bucket) {
        const double lowest = std::ldexp(1 + bucket % 64 / 64.0, static_cast<int>(bucket / 64) - 10);
        ASSERT_EQ(LatencyBuckets::GetLowest(bucket), lowest);
        ASSERT_EQ(LatencyBuckets::Find(lowest), bucket);
        ASSERT_EQ(LatencyBuckets::Find(std::nextafter(lowest, 0)), bucket == 0 ? 0 : bucket - 1);
    }
    EXPECT_EQ(LatencyBuckets::Find(1e9), LatencyBuckets::kCount - 1);
    LatencyHistogram histogram;
    for (const double ms : {37.0, 2.0, 37.0}) histogram.Add(LatencyBuckets::Find(ms), ms);
    EXPECT_EQ(histogram.ToJson(), "[[704,1],[970,2]]");
}

/// Few views and many, of one range and of several, in one interval and in several: the same counts.
TEST(ValueLogTest, CountsEveryValueWhereItBelongs) {
    std::mt19937_64 random(7);
    for (int trial = 0; trial < 60; ++trial) {
        std::vector<DistributionSet> ranges(1 + (trial % 2) * 6), expected_ranges(ranges.size());
        std::vector<Interval> intervals(1 + (trial / 2 % 2) * 3), expected_intervals(intervals.size());
        DistributionSet block, expected_block;
        ValueLog log;
        const std::size_t views = trial % 3 == 0 ? random() % 50 : random() % 3000;
        for (std::size_t i = 0; i < views; ++i) {
            const std::size_t range = random() % ranges.size(), interval = random() % (intervals.size() + 1);
            const bool has_interval = interval < intervals.size();
            if (log.IsFull()) log.Drain(block);
            ViewSink sink(log, ranges[range], has_interval ? &intervals[interval] : nullptr);
            sink.Count(IntervalCounter::kViews, 1);
            if (has_interval) expected_intervals[interval].Count(IntervalCounter::kViews, 1);
            for (const auto latency : {Latency::kJoin, Latency::kGap, Latency::kRetransmission}) {
                if (random() % 4 == 0) continue;
                const double ms = RollLatency(random);
                const std::uint32_t bucket = LatencyBuckets::Find(ms);
                sink.Add(latency, ms);
                expected_block[latency].Add(bucket, ms);
                expected_ranges[range][latency].Add(bucket, ms);
                if (!has_interval) continue;
                expected_intervals[interval].AddSum(latency, ms, 1);
                if (latency == Latency::kJoin) expected_intervals[interval].joins.Add(bucket, ms);
            }
        }
        log.Drain(block);
        const auto compare = [&](const LatencyHistogram& expected, const LatencyHistogram& found) {
            ASSERT_EQ(expected.ToJson(), found.ToJson()) << trial;
            ASSERT_NEAR(expected.GetMean(), found.GetMean(), 1e-9 * expected.GetMean());
            ASSERT_EQ(expected.GetMin(), found.GetMin());
            ASSERT_EQ(expected.GetMax(), found.GetMax());
        };
        for (std::size_t i = 0; i < kNumLatencies; ++i) {
            const auto latency = static_cast<Latency>(i);
            compare(expected_block[latency], block[latency]);
            for (std::size_t range = 0; range < ranges.size(); ++range)
                compare(expected_ranges[range][latency], ranges[range][latency]);
            for (std::size_t interval = 0; interval < intervals.size(); ++interval) {
                EXPECT_EQ(expected_intervals[interval].sums[i].count, intervals[interval].sums[i].count);
                EXPECT_NEAR(expected_intervals[interval].sums[i].total, intervals[interval].sums[i].total,
                            1e-9 * expected_intervals[interval].sums[i].total);
            }
        }
        for (std::size_t interval = 0; interval < intervals.size(); ++interval) {
            compare(expected_intervals[interval].joins, intervals[interval].joins);
            EXPECT_EQ(expected_intervals[interval].counters, intervals[interval].counters);
        }
    }
}

TEST(TestDistributionsTest, NothingOfATestIsLeftForTheNext) {
    TestDistributions test;
    ViewSink(test.GetLog(), test.FindOrMakeRange(1), test.FindOrMakeSeries(3).FindOrMake(5))
        .Add(Latency::kJoin, 10);
    test.Clear();
    test.GetLog().Drain(test.FindOrMakeBlock(2, 4, 3).set);
    EXPECT_EQ(test.MergeTest()[Latency::kJoin].GetCount(), 0);
    EXPECT_TRUE(test.GetRanges().empty());
}

constexpr std::int64_t kSecond = 100'000'000;

/// Views by number of the interval, counted from the first one.
std::map<std::size_t, std::uint64_t> CountViews(const TimeSeries& series) {
    std::map<std::size_t, std::uint64_t> views;
    for (std::size_t i = 0; i < series.GetIntervals().size(); ++i) {
        if (const std::uint64_t count = series.GetIntervals()[i].counters[0]; count != 0) views[i] = count;
    }
    return views;
}

TimeSeries MakeSeries(const std::vector<std::int64_t>& ticks) {
    TimeSeries series;
    for (const std::int64_t tick : ticks) {
        Interval* interval = series.Find(tick);
        if (!interval) interval = series.FindOrMake(tick);
        if (interval) interval->Count(IntervalCounter::kViews, 1);
    }
    return series;
}

TEST(TimeSeriesTest, HasEveryViewInItsInterval) {
    using Views = std::map<std::size_t, std::uint64_t>;
    constexpr std::int64_t kTurn = std::int64_t{1} << 46, kDay = 86'400 * kSecond;
    const struct {
        const char* what;
        std::vector<std::int64_t> ticks;
        Views views;
        std::uint32_t seconds = 1;
    } cases[] = {
        {"lock step", {5 * kSecond, 5 * kSecond + 4, 5 * kSecond - 4, 6 * kSecond}, {{0, 3}, {1, 1}}},
        {"earlier ones later", {9 * kSecond, 7 * kSecond, 12 * kSecond}, {{0, 1}, {2, 1}, {5, 1}}},
        {"the counter turns over", {kTurn - kSecond, kSecond, 2 * kSecond}, {{0, 1}, {2, 1}, {3, 1}}},
        {"no times", {0, kSecond, 0, std::int64_t{1} << 62}, {{0, 1}}},
        {"two hours", {kSecond, 7200 * kSecond}, {{0, 1}, {7199, 1}}},
        {"longer", {kSecond, 2 * kSecond, 3 * kSecond, 7201 * kSecond}, {{0, 2}, {1, 1}, {3600, 1}}, 2},
        {"a day, backwards", {kDay + kSecond, kSecond}, {{0, 1}, {5400, 1}}, 16},
    };
    for (const auto& test : cases) {
        const TimeSeries series = MakeSeries(test.ticks);
        EXPECT_EQ(CountViews(series), test.views) << test.what;
        EXPECT_EQ(series.GetSecondsPerInterval(), test.seconds) << test.what;
        EXPECT_LE(series.GetIntervals().size(), TimeSeries::kMost);
    }
    // Ports have clocks of their own, and long series wide intervals.
    TimeSeries sum;
    sum.Merge(MakeSeries({500 * kSecond, 501 * kSecond, 503 * kSecond}));
    sum.Merge(MakeSeries({kSecond, 7201 * kSecond}));
    sum.Merge(MakeSeries({9 * kSecond}));
    EXPECT_EQ(CountViews(sum), (Views{{0, 4}, {1, 1}, {3600, 1}}));
}

}  // namespace
