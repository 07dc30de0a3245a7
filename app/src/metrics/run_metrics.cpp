#include "run_metrics.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <utility>

#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/core/result.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "run/find_objects.h"

namespace orv::app {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

/// Upper bounds in s. The histograms of the results are finer, and a value may be counted on the wrong side
/// of a bound if it is within 1 % of it.
constexpr double kBounds[] = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10, 30};

MetricFamily MakeFamily(const char* name, const char* help, MetricType type) {
    return {name, help, type, {}};
}

Labels Add(Labels labels, const char* name, const std::string& value) {
    labels.push_back({name, value});
    return labels;
}

void AddNumber(MetricFamily& family, Labels labels, double value) {
    ClientMetric& metric = family.metric.emplace_back();
    metric.label = std::move(labels);
    (family.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
}

struct ViewCounts {
    double views = 0, failed_joins = 0;
};

/// By port, of its STB blocks.
std::unordered_map<const core::CPort*, ViewCounts> CountViews(const core::CProject& project) {
    namespace Id = ids::IptvJoinLeaveResults;
    std::unordered_map<const core::CPort*, ViewCounts> counts;
    for (const CScriptable* result : FindBlockResults(project)) {
        const auto* device = dynamic_cast<const core::CEmulatedDevice*>(result->GetParent()->GetParent());
        if (!device) continue;
        ViewCounts& sum = counts[device->GetPort()];
        sum.views += result->GetDouble(Id::NumOfChannelChanges);
        sum.failed_joins += result->GetDouble(Id::JoinFails) + result->GetDouble(Id::UnicastJoinFails);
    }
    return counts;
}

/// Two ports of one name are counted together: a metric cannot be there twice.
std::map<std::string, ViewCounts> CountViewsByName(const core::CProject& project) {
    std::map<std::string, ViewCounts> by_name;
    for (const auto& [port, counts] : CountViews(project)) {
        ViewCounts& sum = by_name[port ? port->GetName() : ""];
        sum.views += counts.views;
        sum.failed_joins += counts.failed_joins;
    }
    return by_name;
}

void AddPorts(std::vector<MetricFamily>& families, const core::CProject& project, const Labels& test) {
    namespace Id = ids::IptvPortResults;
    const auto counter = [](const char* name, const char* help) {
        return MakeFamily(name, help, MetricType::Counter);
    };
    MetricFamily views = counter("iptvtest_channel_changes_total", "Channel views that have ended");
    MetricFamily failed = counter("iptvtest_failed_joins_total", "Multicast and unicast joins that failed");
    for (const auto& [port, counts] : CountViewsByName(project)) {
        const Labels labels = Add(test, "port", port);
        AddNumber(views, labels, counts.views);
        AddNumber(failed, labels, counts.failed_joins);
    }
    const ScriptableVec results = FindBelow(project, Id::CLASS);
    std::pair<MetricFamily, common::PropId> packets[] = {
        {counter("iptvtest_packets_received_total", "Stream packets received"), Id::TotalPkts},
        {counter("iptvtest_packets_lost_total", "Stream packets lost"), Id::DroppedFrameCount},
        {counter("iptvtest_packets_reordered_total", "Stream packets out of order"), Id::ReorderedFrameCount},
        {counter("iptvtest_packets_duplicate_total", "Stream packets received twice"),
         Id::DuplicateFrameCount},
        {counter("iptvtest_packets_late_total", "Stream packets late"), Id::LateFrameCount},
        {counter("iptvtest_payload_errors_total", "Errors in the payload of stream packets"),
         Id::PrbsErrorCount}};
    for (auto& [family, property] : packets) {
        std::map<std::string, double> counts;
        for (const CScriptable* result : results) {
            counts[result->GetParent()->GetName()] += property == Id::TotalPkts
                                                          ? result->GetDouble(property)
                                                          : static_cast<double>(result->GetU64(property));
        }
        for (const auto& [port, count] : counts) AddNumber(family, Add(test, "port", port), count);
    }
    families.push_back(std::move(views));
    families.push_back(std::move(failed));
    for (auto& [family, property] : packets) families.push_back(std::move(family));
}

/// The mean value of a bucket of the results, s.
double GetMiddle(std::uint32_t bucket) {
    return std::ldexp(1 + (bucket % 64 + 0.5) / 64, static_cast<int>(bucket / 64) - 10) / 1000;
}

void AddLatencies(std::vector<MetricFamily>& families, const core::CProject& project, const Labels& test) {
    namespace Id = ids::IptvLatencyDistribution;
    MetricFamily family =
        MakeFamily("iptvtest_latency_seconds", "Latencies of the whole test", MetricType::Histogram);
    framework::ScriptableVec distributions;
    project.GetObjects(distributions, Id::CLASS, common::kParentChild);
    for (const CScriptable* distribution : distributions) {
        ClientMetric& metric = family.metric.emplace_back();
        metric.label = Add(test, "latency", distribution->GetString(Id::Figure));
        metric.histogram.sample_count = distribution->GetU64(Id::Count);
        metric.histogram.sample_sum =
            distribution->GetDouble(Id::Mean) / 1000 * static_cast<double>(distribution->GetU64(Id::Count));
        const auto buckets = nlohmann::json::parse(distribution->GetString(Id::Buckets))
                                 .get<std::vector<std::pair<std::uint32_t, std::uint64_t>>>();
        std::uint64_t below = 0;
        auto bucket = buckets.begin();
        for (const double bound : kBounds) {
            for (; bucket != buckets.end() && GetMiddle(bucket->first) <= bound; ++bucket)
                below += bucket->second;
            metric.histogram.bucket.push_back({below, bound});
        }
        metric.histogram.bucket.push_back(
            {metric.histogram.sample_count, std::numeric_limits<double>::infinity()});
    }
    families.push_back(std::move(family));
}

}  // namespace

std::vector<MetricFamily> MakeRunMetrics(const RunProgress& progress, const std::string& test,
                                         std::size_t iteration) {
    Labels labels = Add({}, "test", test);
    if (iteration > 0) labels = Add(labels, "iteration", std::to_string(iteration));
    std::vector<MetricFamily> families;
    const auto add_gauge = [&](const char* name, const char* help, double value) {
        families.push_back(MakeFamily(name, help, MetricType::Gauge));
        AddNumber(families.back(), labels, value);
    };
    const auto seconds = [](std::chrono::nanoseconds time) {
        return std::chrono::duration<double>(time).count();
    };
    add_gauge("iptvtest_test_running", "1 while the test runs", progress.test.empty() ? 0 : 1);
    if (!progress.test.empty()) {
        add_gauge("iptvtest_test_elapsed_seconds", "Time since the start of the test",
                  seconds(progress.elapsed));
        add_gauge("iptvtest_test_duration_seconds", "Configured duration of the test",
                  seconds(progress.duration));
    }
    auto* project = core::CProject::GetCurrentActiveInstance();
    if (!project) return families;
    if (auto* results = dynamic_cast<core::CResult*>(
            project->GetObject(ids::IptvTestResults::CLASS, common::kParentChild))) {
        results->Refresh();
    }
    AddPorts(families, *project, labels);
    AddLatencies(families, *project, labels);
    return families;
}

}  // namespace orv::app
