// Database row of one interval of a time series.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"
#include "results/distributions/TimeSeries.h"

namespace orv::iptv {

class CIptvIntervalResults : public ModelClass<ids::IptvIntervalResults::CLASS.GetValue(), core::CResult> {
  public:
    /// `start`, `duration`: seconds. What was not measured in the interval stays without value.
    void SetValues(const distributions::Interval& interval, double start, double duration);
};

}  // namespace orv::iptv
