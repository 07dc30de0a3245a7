#include "results/IptvLatencyDistribution.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

void CIptvLatencyDistribution::SetValues(distributions::Latency latency,
                                         const distributions::LatencyHistogram& histogram) {
    using namespace ids::IptvLatencyDistribution;
    SetT<std::string>(Figure, distributions::kLatencyNames[static_cast<std::size_t>(latency)]);
    Set(Count, histogram.GetCount());
    Set(Min, histogram.GetMin());
    Set(Mean, histogram.GetMean());
    Set(Max, histogram.GetMax());
    Set(P50, histogram.GetPercentile(500));
    Set(P90, histogram.GetPercentile(900));
    Set(P95, histogram.GetPercentile(950));
    Set(P99, histogram.GetPercentile(990));
    Set(P999, histogram.GetPercentile(999));
    SetT<std::string>(Buckets, histogram.ToJson());
}

IPTV_REGISTER_CLASS(CIptvLatencyDistribution);

}  // namespace orv::iptv
