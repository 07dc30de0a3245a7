#include "results/IptvIntervalResults.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace Id = ids::IptvIntervalResults;
using distributions::kNumIntervalCounters;
using distributions::kNumLatencies;

void CIptvIntervalResults::SetValues(const distributions::Interval& interval, double start, double duration) {
    constexpr framework::PropId kCounters[kNumIntervalCounters] = {Id::Views, Id::FailedJoins, Id::Lost};
    constexpr framework::PropId kMeans[kNumLatencies] = {
        Id::JoinLatency,    Id::LeaveLatency,       Id::ChangeLatency,        Id::GapLatency,
        Id::OverlapLatency, Id::UnicastJoinLatency, Id::RetransmissionLatency};
    Set(Id::Start, start);
    Set(Id::Duration, duration);
    for (std::size_t i = 0; i < kNumIntervalCounters; ++i) Set(kCounters[i], interval.counters[i]);
    for (std::size_t i = 0; i < kNumLatencies; ++i) {
        const distributions::Interval::Sum& sum = interval.sums[i];
        if (sum.count != 0) Set(kMeans[i], sum.total / static_cast<double>(sum.count));
    }
    if (interval.joins.IsEmpty()) return;
    Set(Id::JoinLatencyP50, interval.joins.GetPercentile(500));
    Set(Id::JoinLatencyP99, interval.joins.GetPercentile(990));
}

IPTV_REGISTER_CLASS(CIptvIntervalResults);

}  // namespace orv::iptv
