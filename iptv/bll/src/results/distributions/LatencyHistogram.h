// Histogram of a latency with a relative error below 1 %.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace orv::iptv::distributions {

/// Buckets for latencies from 1 us to 10 minutes: each octave of milliseconds, from 2^-10 ms to 2^20 ms, has
/// 64 buckets of equal width, so that a value in the middle of its bucket is at most 0.8 % away from the
/// others. The number of a bucket is the exponent and the first six digits of the fraction of a value as it
/// is stored (IEC 60559 binary64), which costs one shift; a logarithm would cost more than all else per
/// value.
class LatencyBuckets {
  public:
    static constexpr std::uint32_t kPerOctave = 64;
    static constexpr int kFirstExponent = -10;
    static constexpr int kLastExponent = 19;
    static constexpr std::uint32_t kCount = (kLastExponent - kFirstExponent + 1) * kPerOctave;

    /// The bucket of a positive value. Smaller values than those of the buckets are in the first bucket,
    /// larger ones in the last.
    static constexpr std::uint32_t Find(double ms) {
        constexpr std::int64_t kFirst = std::int64_t{kBias + kFirstExponent} * kPerOctave;
        const std::int64_t bucket = (std::bit_cast<std::int64_t>(ms) >> kShift) - kFirst;
        return static_cast<std::uint32_t>(std::clamp<std::int64_t>(bucket, 0, kCount - 1));
    }
    /// The least value of a bucket, ms; of kCount: where the last one ends.
    static constexpr double GetLowest(std::uint32_t bucket) {
        constexpr std::int64_t kFirst = std::int64_t{kBias + kFirstExponent} * kPerOctave;
        return std::bit_cast<double>((kFirst + bucket) << kShift);
    }
    /// The value with the same relative distance to both ends of a bucket, ms.
    static constexpr double GetMiddle(std::uint32_t bucket) {
        const double low = GetLowest(bucket), high = GetLowest(bucket + 1);
        return 2 * low * high / (low + high);
    }

  private:
    static constexpr int kBias = 1023;
    static constexpr int kShift = 52 - 6;
};

/// Counts by bucket, and the exact number, sum, minimum and maximum of the values. Memory is taken for every
/// 16 buckets when the first of them gets a value: a latency that varies by a factor of two takes about 1
/// KiB.
///
/// Values wait in a cache line of their own until it is full: successive values of a test belong to different
/// channel ranges, and the counts of all of them do not fit into the caches, their lines do.
class LatencyHistogram {
  public:
    void Add(double ms) {
        // Ports measure in ticks of 10 ns; more than 32 bits of them are rare.
        const double ticks = ms * kTicksPerMs + 0.5;
        if (ticks >= kMostWaitingTicks) [[unlikely]]
            return Count(ms);
        waiting_[num_waiting_++] = static_cast<std::uint32_t>(ticks);
        if (num_waiting_ == kMostWaiting) Settle();
    }
    void Merge(const LatencyHistogram& other);
    /// Counts the waiting values. What is below, and being merged into another, needs this first.
    void Settle();

    bool IsEmpty() const { return counts_.empty(); }
    std::uint64_t GetCount() const;
    double GetMin() const { return min_; }
    double GetMax() const { return max_; }
    /// 0 without values.
    double GetMean() const;
    /// The smallest value that `permille` of 1000 values do not exceed (nearest rank), within 1 %; 0 without
    /// values.
    double GetPercentile(std::uint32_t permille) const;
    /// "[[bucket, count], ...]" in ascending order, without empty buckets.
    std::string ToJson() const;
    /// Including the memory behind it.
    std::size_t GetBytes() const { return sizeof *this + counts_.capacity() * sizeof(std::uint64_t); }

    /// Calls use(bucket, count) for each bucket with values, in ascending order, while it returns true.
    template <class Use>
    void ForEachBucket(Use use) const {
        for (std::uint32_t i = 0; i < kChunks; ++i) {
            if (chunks_[i] == 0) continue;
            const std::uint64_t* counts = &counts_[(chunks_[i] - std::size_t{1}) * kChunk];
            for (std::uint32_t j = 0; j < kChunk; ++j) {
                if (counts[j] != 0 && !use(i * kChunk + j, counts[j])) return;
            }
        }
    }

  private:
    static constexpr std::uint32_t kChunk = 16;
    static constexpr std::uint32_t kChunks = LatencyBuckets::kCount / kChunk;
    static constexpr double kTicksPerMs = 100000.0;
    static constexpr double kMostWaitingTicks = 0x1p32;
    static constexpr std::uint32_t kMostWaiting = 15;

    void Count(double ms);
    std::uint16_t MakeChunk(std::uint32_t index);

    alignas(64) std::uint32_t num_waiting_ = 0;
    std::array<std::uint32_t, kMostWaiting> waiting_;  ///< ticks
    double sum_ = 0;                                   ///< ms
    double min_ = std::numeric_limits<double>::max();
    double max_ = 0;
    std::vector<std::uint64_t> counts_;
    std::array<std::uint16_t, kChunks> chunks_{};  ///< position of the counts, from 1; 0: none
};

}  // namespace orv::iptv::distributions
