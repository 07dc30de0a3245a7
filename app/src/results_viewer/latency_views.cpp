#include "results_viewer/latency_views.h"

#include <fmt/format.h>

#include <string>
#include <utility>

namespace orv::app {

namespace {

/// What rows can belong to.
constexpr std::pair<const char*, const char*> kOwners[] = {{"Project", "Test"},
                                                           {"Port", "Port"},
                                                           {"IptvViewingProfileConfig", "Viewing profile"},
                                                           {"IptvViewedChannels", "Channel range"},
                                                           {"IptvStbBlockConfig", "STB block"}};

constexpr const char* kPercentileColumns =
    "t.Figure AS 'Figure', t.Count AS 'Count', t.Min AS 'Min(msec)', t.Mean AS 'Mean(msec)', t.Max AS "
    "'Max(msec)', t.P50 AS 'p50(msec)', t.P90 AS 'p90(msec)', t.P95 AS 'p95(msec)', t.P99 AS 'p99(msec)', "
    "t.P999 AS 'p99.9(msec)'";
constexpr const char* kSeriesColumns =
    "t.Start AS 'Start(sec)', t.Duration AS 'Duration(sec)', t.Views AS 'Views', t.FailedJoins AS 'Failed "
    "Joins', t.Lost AS 'Lost', t.JoinLatencyP50 AS 'Join Latency p50(msec)', t.JoinLatencyP99 AS 'Join "
    "Latency p99(msec)', t.JoinLatency AS 'Join Latency(msec)', t.LeaveLatency AS 'Leave Latency(msec)', "
    "t.ChangeLatency AS 'Change Latency(msec)', t.GapLatency AS 'Gap Latency(msec)', t.OverlapLatency AS "
    "'Overlap Latency(msec)', t.UnicastJoinLatency AS 'Unicast Join Latency(msec)', t.RetransmissionLatency "
    "AS 'Retransmission Latency(msec)'";

bool HasRows(const ResultsDatabase& database, const DataSet& data_set, const char* table) {
    if (!database.HasTable(table)) return false;
    ResultsQuery query(database, fmt::format("SELECT 1 FROM {} WHERE DataSetId = @DataSetId", table));
    query.Bind("@DataSetId", std::int64_t{data_set.id});
    return query.Next();
}

/// Rows of a table behind the kind and the name of what each belongs to.
std::string SelectWithOwners(const ResultsDatabase& database, const char* table, const char* columns) {
    std::string kinds, order, names, joins;
    for (const auto& [owner, kind] : kOwners) {
        if (!database.HasTable(owner)) continue;
        kinds += fmt::format(" WHEN {}.Handle IS NOT NULL THEN '{}'", owner, kind);
        order += fmt::format("{}.Handle IS NULL, ", owner);
        // A project has no name that its user knows.
        if (std::string_view(owner) != "Project") names += fmt::format(", {}.Name", owner);
        joins += fmt::format(" LEFT JOIN {0} ON {0}.Handle = t.ParentHnd", owner);
    }
    return fmt::format(
        "SELECT CASE{} END AS 'Object Kind', COALESCE(NULL{}, (SELECT TestName FROM IptvTestResults WHERE "
        "DataSetId = @DataSetId)) AS 'Name', {} FROM {} t{} WHERE t.DataSetId = @DataSetId ORDER BY "
        "{}t.ParentHnd, t.Handle",
        kinds, names, columns, table, joins, order);
}

}  // namespace

std::vector<ViewNode> MakeLatencyViews(const ResultsDatabase& database, const DataSet& data_set) {
    struct View {
        const char* table;
        const char* name;
        const char* description;
        const char* columns;
    };
    constexpr View kViews[] = {
        {"IptvLatencyDistribution", "Latency Percentiles", "Percentiles of every latency of every object",
         kPercentileColumns},
        {"IptvIntervalResults", "Time Series", "Counts and latencies by time, of the test and of each port",
         kSeriesColumns}};
    std::vector<ViewNode> nodes;
    for (const View& view : kViews) {
        if (!database.HasTable(view.table) || !database.HasTable("IptvTestResults")) continue;
        // A test that has ended has the views even if it measured nothing.
        if (!data_set.HasViews() && !HasRows(database, data_set, view.table)) continue;
        ViewNode& node = nodes.emplace_back();
        node.name = node.path = view.name;
        node.description = view.description;
        node.kind = ViewNode::Kind::Table;
        node.sql = SelectWithOwners(database, view.table, view.columns);
    }
    return nodes;
}

}  // namespace orv::app
