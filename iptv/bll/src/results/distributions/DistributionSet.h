// The distributions of one object of the configuration.
#pragma once

#include <array>
#include <cstddef>

#include "results/distributions/Latency.h"
#include "results/distributions/LatencyHistogram.h"

namespace orv::iptv::distributions {

/// A histogram for each latency.
class DistributionSet {
  public:
    LatencyHistogram& operator[](Latency latency) { return histograms_[static_cast<std::size_t>(latency)]; }
    const LatencyHistogram& operator[](Latency latency) const {
        return histograms_[static_cast<std::size_t>(latency)];
    }

    void Merge(const DistributionSet& other) {
        for (std::size_t i = 0; i < kNumLatencies; ++i) histograms_[i].Merge(other.histograms_[i]);
    }
    void Settle() {
        for (LatencyHistogram& histogram : histograms_) histogram.Settle();
    }
    std::size_t GetBytes() const {
        std::size_t bytes = 0;
        for (const LatencyHistogram& histogram : histograms_) bytes += histogram.GetBytes();
        return bytes;
    }

  private:
    std::array<LatencyHistogram, kNumLatencies> histograms_;
};

}  // namespace orv::iptv::distributions
