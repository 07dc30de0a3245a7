#include "object_figures.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numeric>
#include <unordered_map>

#include "interval_series.h"
#include "output/foreign_json.h"

namespace orv::app {

namespace {

/// Where the objects of a kind and their counts are.
struct ObjectKind {
    const char* name;
    const char* configuration;  ///< the class of the objects
    const char* results;        ///< the class of their results
    bool views;                 ///< results have counts of views, too
};

constexpr ObjectKind kObjectKinds[] = {
    {"port", "Port", "IptvPortResults", false},
    {"profile", "IptvViewingProfileConfig", "IptvViewingProfileResults", true},
    {"range", "IptvViewedChannels", "IptvChannelResults", true},
    {"block", "IptvStbBlockConfig", "IptvStbBlockResults", true},
};

/// Counts and the SQL that gives them.
struct CountColumn {
    const char* name;
    const char* sql;
};
constexpr CountColumn kViewCounts[] = {
    {"views", "r.NumOfChannelChanges"},
    {"failed", "r.JoinFails + r.UnicastJoinFails"},
    {"packets", "r.TotalPkts"},
    {"lost", "r.DroppedFrameCount + r.DroppedUnicastFrameCount"},
};
constexpr CountColumn kPortCounts[] = {
    {"packets", "r.TotalPkts"},
    {"lost", "r.DroppedFrameCount"},
};

template <std::size_t N>
void ReadKind(const ResultsDatabase& database, std::uint32_t data_set, const ObjectKind& kind,
              const CountColumn (&counts)[N], ObjectTable& table) {
    std::string columns;
    for (const CountColumn& count : counts) columns += fmt::format(", {}", count.sql);
    ResultsQuery query(database, fmt::format("SELECT c.Handle, c.Name{} FROM {} r JOIN {} c ON c.Handle = "
                                             "r.ParentHnd WHERE r.DataSetId = @DataSetId ORDER BY c.Handle",
                                             columns, kind.results, kind.configuration));
    query.Bind("@DataSetId", std::int64_t{data_set});
    while (query.Next()) {
        table.handles.push_back(query.GetInteger(0));
        table.names.push_back(query.GetText(1));
        for (std::size_t i = 0; i < N; ++i)
            table.counts[counts[i].name].push_back(GetNumber(query, static_cast<int>(i) + 2));
    }
}

/// Ports store no views: their intervals have them.
void AddPortViews(const ResultsDatabase& database, std::uint32_t data_set, ObjectTable& table) {
    for (const std::int64_t handle : table.handles) {
        const auto intervals = ReadIntervals(database, data_set, handle);
        table.counts["views"].push_back(SumIntervals(intervals, 0));
        table.counts["failed"].push_back(SumIntervals(intervals, 1));
    }
}

/// Sums over the STB blocks, to which every view belongs.
ObjectTable MakeWholeTest(const ResultsDatabase& database, const DataSet& data_set,
                          const ObjectTable* blocks) {
    ObjectTable test;
    test.kind = "test";
    test.names = {data_set.test};
    test.handles = {0};
    if (database.HasTable("Project")) {
        ResultsQuery project(database, "SELECT Handle FROM Project WHERE DataSetId = @DataSetId");
        project.Bind("@DataSetId", std::int64_t{data_set.id});
        if (project.Next()) test.handles = {project.GetInteger(0)};
    }
    for (const CountColumn& count : kViewCounts) {
        Number sum;
        if (blocks && blocks->counts.contains(count.name)) {
            for (const Number& value : blocks->counts.at(count.name)) {
                if (value) sum = sum.value_or(0) + *value;
            }
        }
        test.counts[count.name] = {sum};
    }
    return test;
}

void AddDistributions(const ResultsDatabase& database, std::uint32_t data_set,
                      std::vector<ObjectTable>& tables) {
    if (!database.HasTable("IptvLatencyDistribution")) return;
    std::unordered_map<std::int64_t, std::pair<ObjectTable*, std::size_t>> owners;
    for (ObjectTable& table : tables) {
        for (std::size_t i = 0; i < table.handles.size(); ++i) owners[table.handles[i]] = {&table, i};
    }
    std::string columns;
    for (const char* statistic : kStoredStatistics) columns += ", " + QuoteName(statistic);
    ResultsQuery query(database, "SELECT Handle, ParentHnd, Figure" + columns +
                                     " FROM IptvLatencyDistribution WHERE DataSetId = @DataSetId");
    query.Bind("@DataSetId", std::int64_t{data_set});
    while (query.Next()) {
        const auto owner = owners.find(query.GetInteger(1));
        if (owner == owners.end()) continue;
        const auto& [table, position] = owner->second;
        StoredDistribution& distribution = table->distributions[query.GetText(2)][position];
        distribution.handle = query.GetInteger(0);
        for (std::size_t i = 0; i < kStoredStatistics.size(); ++i)
            distribution.values[i] = GetNumber(query, static_cast<int>(i) + 3);
    }
}

/// How far the percentiles p99 of an object are from those of the test, as a factor's logarithm.
double MeasureDifference(const ObjectTable& table, const ObjectTable& test, std::size_t position) {
    constexpr std::size_t kP99 = 7;
    double greatest = 0;
    for (const auto& [figure, distributions] : table.distributions) {
        const auto own = distributions.find(position);
        const auto whole = test.distributions.find(figure);
        if (own == distributions.end() || whole == test.distributions.end() || whole->second.empty())
            continue;
        const double a = own->second.values[kP99].value_or(0);
        const double b = whole->second.begin()->second.values[kP99].value_or(0);
        if (a > 0 && b > 0) greatest = std::max(greatest, std::fabs(std::log(a / b)));
    }
    return greatest;
}

/// The stored text, if it is what it should be.
PageJson ReadBuckets(const ResultsDatabase& database, std::int64_t handle) {
    ResultsQuery query(database, "SELECT Buckets FROM IptvLatencyDistribution WHERE Handle = @Handle");
    query.Bind("@Handle", handle);
    if (!query.Next()) return {};
    PageJson buckets = ParseForeignJson<PageJson>(query.GetText(0));
    const auto is_bucket = [](const PageJson& pair) {
        return pair.is_array() && pair.size() == 2 && pair[0].is_number() && pair[1].is_number();
    };
    if (!buckets.is_array() || !std::all_of(buckets.begin(), buckets.end(), is_bucket)) return {};
    return buckets;
}

}  // namespace

std::vector<ObjectTable> ReadObjects(const ResultsDatabase& database, const DataSet& data_set) {
    std::vector<ObjectTable> tables;
    const ObjectTable* blocks = nullptr;
    for (const ObjectKind& kind : kObjectKinds) {
        if (!database.HasTable(kind.results) || !database.HasTable(kind.configuration)) continue;
        ObjectTable table;
        table.kind = kind.name;
        if (kind.views) {
            ReadKind(database, data_set.id, kind, kViewCounts, table);
        } else {
            ReadKind(database, data_set.id, kind, kPortCounts, table);
            AddPortViews(database, data_set.id, table);
        }
        if (!table.names.empty()) tables.push_back(std::move(table));
    }
    if (!tables.empty() && tables.back().kind == "block") blocks = &tables.back();
    ObjectTable test = MakeWholeTest(database, data_set, blocks);
    tables.insert(tables.begin(), std::move(test));
    AddDistributions(database, data_set.id, tables);
    return tables;
}

PageJson MakeTableJson(const ObjectTable& table) {
    const bool is_large = table.names.size() > kLargeTable;
    PageJson json{{"kind", table.kind}, {"names", PackTexts(table.names)}, {"counts", PageJson::object()}};
    for (const auto& [name, column] : table.counts) json["counts"][name] = PackColumn(column);
    json["figures"] = PageJson::object();
    for (const auto& [figure, distributions] : table.distributions) {
        PageJson& columns = json["figures"][figure];
        for (std::size_t statistic = 0; statistic < kStoredStatistics.size(); ++statistic) {
            const bool is_needed = kStoredStatistics[statistic][0] == 'P' || statistic == 0;
            if (is_large && !is_needed) continue;
            std::vector<Number> column(table.names.size());
            for (const auto& [position, distribution] : distributions) {
                const Number& value = distribution.values[statistic];
                if (value) column[position] = RoundFigure(*value, is_large ? 3 : 4);
            }
            columns[kStoredStatistics[statistic]] = PackColumn(column);
        }
    }
    return json;
}

PageJson ReadHistograms(const ResultsDatabase& database, const ObjectTable& table, const ObjectTable& test,
                        std::size_t bytes) {
    std::vector<double> differences;
    for (std::size_t i = 0; i < table.names.size(); ++i)
        differences.push_back(MeasureDifference(table, test, i));
    std::vector<std::size_t> order(table.names.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return differences[a] > differences[b]; });
    PageJson histograms = PageJson::object();
    for (const std::size_t position : order) {
        PageJson of_object = PageJson::object();
        for (const auto& [figure, distributions] : table.distributions) {
            const auto own = distributions.find(position);
            if (own == distributions.end()) continue;
            PageJson buckets = ReadBuckets(database, own->second.handle);
            if (!buckets.empty()) of_object[figure] = std::move(buckets);
        }
        if (of_object.empty()) continue;
        const std::size_t size = of_object.dump().size();
        if (size > bytes) break;
        bytes -= size;
        histograms[std::to_string(position)] = std::move(of_object);
    }
    return histograms;
}

}  // namespace orv::app
