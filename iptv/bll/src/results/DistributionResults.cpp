#include "results/DistributionResults.h"

#include <algorithm>

#include "orv/core/project.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvIntervalResults.h"
#include "results/IptvLatencyDistribution.h"
#include "results/ResultNodes.h"

namespace orv::iptv {

using distributions::DistributionSet;
using distributions::Latency;
using distributions::TestDistributions;
using framework::CHandleRegistry;
using framework::CScriptable;

namespace {

/// Rows are objects only until the manager has copied them.
constexpr std::size_t kRowsAtOnce = 1000;

void SaveIntervals(const distributions::TimeSeries& series, CScriptable& owner,
                   core::TestResultManager& database) {
    const auto& intervals = series.GetIntervals();
    const double duration = series.GetSecondsPerInterval();
    for (std::size_t first = 0; first < intervals.size(); first += kRowsAtOnce) {
        framework::ScriptableVec rows;
        for (std::size_t i = first; i < std::min(intervals.size(), first + kRowsAtOnce); ++i) {
            auto* row = FindOrMakeResult<CIptvIntervalResults>(owner, false, false);
            if (!row) return;
            row->SetValues(intervals[i], static_cast<double>(i) * duration, duration);
            rows.push_back(row);
        }
        database.SaveResults(rows);
        // In reverse, because a parent finds its last child fastest.
        for (auto row = rows.rbegin(); row != rows.rend(); ++row) (*row)->Delete();
    }
}

}  // namespace

void DistributionResults::Make(CScriptable& owner, const DistributionSet& set) {
    for (std::size_t i = 0; i < distributions::kNumLatencies; ++i) {
        const auto latency = static_cast<Latency>(i);
        if (set[latency].IsEmpty()) continue;
        auto* result = FindOrMakeResult<CIptvLatencyDistribution>(owner, false, true);
        if (!result) return;
        result->SetValues(latency, set[latency]);
        made_.push_back(result->GetHandle());
    }
}

void DistributionResults::Make(std::uint32_t owner, const DistributionSet& set) {
    CScriptable* object = CHandleRegistry::Instance().Find(owner);
    if (object && !object->IsDeleted()) Make(*object, set);
}

void DistributionResults::MakeForTest(const TestDistributions& test) {
    Destroy();
    if (auto* project = core::CProject::GetCurrentActiveInstance()) Make(*project, test.MergeTest());
}

void DistributionResults::Make(const TestDistributions& test) {
    MakeForTest(test);
    for (const auto& [handle, set] : test.GetRanges()) Make(handle, set);
    for (const auto& [handle, block] : test.GetBlocks()) Make(handle, block.set);
    for (const auto& [handle, set] : test.MergeProfiles()) Make(handle, set);
    for (const auto& [handle, set] : test.MergePorts()) Make(handle, set);
}

void DistributionResults::Destroy() {
    for (auto handle = made_.rbegin(); handle != made_.rend(); ++handle) {
        if (CScriptable* result = CHandleRegistry::Instance().Find(*handle)) result->Delete();
    }
    made_.clear();
}

void SaveTimeSeries(const TestDistributions& test, core::TestResultManager& database) {
    for (const auto& [handle, series] : test.GetSeries()) {
        CScriptable* port = CHandleRegistry::Instance().Find(handle);
        if (port && !port->IsDeleted()) SaveIntervals(series, *port, database);
    }
    if (auto* project = core::CProject::GetCurrentActiveInstance())
        SaveIntervals(test.MergeSeries(), *project, database);
}

}  // namespace orv::iptv
