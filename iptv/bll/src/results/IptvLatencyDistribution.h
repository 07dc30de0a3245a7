// Distribution of one latency of an object of the configuration.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"
#include "results/distributions/LatencyHistogram.h"

namespace orv::iptv {

class CIptvLatencyDistribution
    : public ModelClass<ids::IptvLatencyDistribution::CLASS.GetValue(), core::CResult> {
  public:
    /// The histogram has values, and none that wait.
    void SetValues(distributions::Latency latency, const distributions::LatencyHistogram& histogram);
};

}  // namespace orv::iptv
