#include "report_of_test.h"

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <unordered_map>

#include "find_objects.h"
#include "orv/core/project.h"
#include "orv/core/test_result_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

namespace {

namespace Command = ids::IptvStartTestCommand;

ScriptableVec FindInProject(common::ClassId id) {
    return FindBelow(*core::CProject::GetCurrentActiveInstance(), id);
}

Figure ToFigure(const framework::CPropertyMeta& meta, const framework::PropertyValue& value) {
    return std::visit(
        [&](const auto& held) -> Figure {
            using Held = std::remove_cvref_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, bool>) return held;
            if constexpr (std::is_same_v<Held, double>) return held;
            if constexpr (std::is_unsigned_v<Held>) {
                if (!meta.enumeration) return std::uint64_t{held};
            }
            return meta.Format(value);
        },
        value);
}

/// By handle of the object that was measured.
using Distributions = std::unordered_map<std::uint32_t, std::vector<Distribution>>;

Distributions FindDistributions() {
    namespace Id = ids::IptvLatencyDistribution;
    Distributions found;
    for (const CScriptable* result : FindInProject(Id::CLASS)) {
        const auto get = [result](common::PropId property) { return result->GetDouble(property); };
        found[result->GetParent()->GetHandle()].push_back(
            {result->GetString(Id::Figure), result->GetU64(Id::Count), get(Id::Min), get(Id::Mean),
             get(Id::Max), get(Id::P50), get(Id::P90), get(Id::P95), get(Id::P99), get(Id::P999)});
    }
    return found;
}

/// Rows of the objects of `results_class`, each named after the object that it is below.
std::vector<ResultRow> MakeRows(common::ClassId results_class, Distributions& distributions) {
    std::vector<ResultRow> rows;
    for (const CScriptable* result : FindInProject(results_class)) {
        // Results of single set-top boxes have another class with the same base; only blocks are wanted.
        if (result->GetClassId() != results_class) continue;
        ResultRow& row = rows.emplace_back();
        row.name = result->GetParent()->GetName();
        const auto measured = distributions.find(result->GetParent()->GetHandle());
        if (measured != distributions.end()) row.distributions = std::move(measured->second);
        for (const framework::CPropertyMeta* meta : result->GetMetaClass()->GetProperties()) {
            const bool of_results =
                meta->id.GetClassId().GetPluginId() == ids::IptvTestResults::CLASS.GetPluginId();
            if (of_results)
                row.figures.emplace_back(meta->name, ToFigure(*meta, result->GetDataStore()[meta->slot]));
        }
    }
    return rows;
}

std::string NameOf(const CScriptable& object, common::PropId property) {
    const framework::CPropertyMeta* meta = object.GetMetaClass()->FindProperty(property);
    return meta->Format(object.GetDataStore()[meta->slot]);
}

}  // namespace

std::optional<double> ResultRow::FindNumber(const std::string& figure) const {
    const auto found = std::find_if(figures.begin(), figures.end(),
                                    [&figure](const auto& entry) { return entry.first == figure; });
    if (found == figures.end()) return std::nullopt;
    if (const auto* number = std::get_if<double>(&found->second)) return *number;
    if (const auto* count = std::get_if<std::uint64_t>(&found->second)) return static_cast<double>(*count);
    return std::nullopt;
}

JoinCounts ResultRow::GetJoins() const {
    return {
        GetNumber("JoinFails") + GetNumber("UnicastJoinFails"),
        GetNumber("NumOfChannelChanges") - GetNumber("DuplicateJoins") - GetNumber("DuplicateUnicastJoins")};
}

double TestReport::Sum(const std::string& figure) const {
    double sum = 0;
    for (const ResultRow& row : stb_blocks) sum += row.GetNumber(figure);
    return sum;
}

JoinCounts TestReport::GetJoins() const {
    JoinCounts joins;
    for (const ResultRow& row : stb_blocks) joins += row.GetJoins();
    return joins;
}

TestReport MakeTestReport(const framework::CCommand& start_command, bool passed) {
    TestReport report;
    report.name = NameOf(start_command, Command::TestName);
    report.type = NameOf(start_command, Command::TestType);
    report.environment = NameOf(start_command, Command::TestEnv);
    // Ports are told whole seconds.
    report.duration = report.configured_duration = std::trunc(start_command.GetDouble(Command::TestDuration));
    report.join_fail_threshold = start_command.GetU32(Command::JoinFailThreshold);
    report.passed = passed;
    Distributions distributions = FindDistributions();
    report.channel_ranges = MakeRows(ids::IptvChannelResults::CLASS, distributions);
    report.stb_blocks = MakeRows(ids::IptvStbBlockResults::CLASS, distributions);
    report.profiles = MakeRows(ids::IptvViewingProfileResults::CLASS, distributions);
    report.ports = MakeRows(ids::IptvPortResults::CLASS, distributions);
    report.distributions = std::move(distributions[core::CProject::GetCurrentActiveInstance()->GetHandle()]);
    if (const auto* database = core::TestResultManager::GetCurrentInstance())
        report.data_set = database->GetDataSetId();
    return report;
}

LiveFigures GetLiveFigures() {
    namespace Id = ids::IptvJoinLeaveResults;
    LiveFigures figures;
    double latencies = 0, joins = 0;
    for (const CScriptable* block : FindBlockResults(*core::CProject::GetCurrentActiveInstance())) {
        const double changes = block->GetDouble(Id::NumOfChannelChanges);
        const double failed = block->GetDouble(Id::JoinFails);
        const double latency = block->GetDouble(Id::AvgJoinLatency);
        figures.channel_changes += changes;
        figures.failed_joins += failed;
        if (latency <= 0) continue;
        latencies += latency * (changes - failed);
        joins += changes - failed;
    }
    if (joins > 0) figures.average_join_latency = latencies / joins;
    return figures;
}

}  // namespace orv::app
