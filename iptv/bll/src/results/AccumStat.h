// Minimum, maximum and average of a stream of values.
#pragma once

#include <cstdint>
#include <limits>

namespace orv::iptv {

/// For positive values (latencies, counts, rates): the maximum starts at the smallest positive number, and
/// stays there if all values are zero or negative.
struct CAccumStatDouble {
    double min = std::numeric_limits<double>::max();
    double max = std::numeric_limits<double>::min();
    std::uint64_t count = 0;
    double sum = 0.0;

    void addStat(double value) {
        ++count;
        sum += value;
        if (value < min) min = value;
        if (value > max) max = value;
    }
    /// Merging an empty accumulator changes nothing.
    void accum(const CAccumStatDouble& other) {
        count += other.count;
        sum += other.sum;
        if (other.min < min) min = other.min;
        if (other.max > max) max = other.max;
    }
    double getAvg() const { return count == 0 ? 0.0 : sum / static_cast<double>(count); }
    void clear() { *this = {}; }

    bool operator==(const CAccumStatDouble&) const = default;
};

}  // namespace orv::iptv
