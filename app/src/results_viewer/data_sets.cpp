#include "results_viewer/data_sets.h"

#include <fmt/format.h>

#include <algorithm>

#include "output/foreign_json.h"
#include "run/description_names.h"
#include "test_file/names.h"

namespace orv::app {

namespace {

/// Queries for the rows of a table that older databases, and tests without such objects, do not have.
template <class Take>
void ReadTable(const ResultsDatabase& database, const char* table, const std::string& sql, const Take& take) {
    if (!database.HasTable(table)) return;
    for (ResultsQuery query(database, sql); query.Next();) take(query);
}

std::string MakeVerdict(const DataSet& data_set, std::int64_t outcome) {
    // A run with errors has no verdict, whatever the result of its test.
    const std::string end = data_set.GetText(run_description::kOutcome);
    if (!end.empty() && end != "passed" && end != "failed") return "not finished: " + end;
    if (data_set.end_time.empty()) return "not finished";
    return outcome == 0 ? "FAILED" : outcome == 1 ? "PASSED" : "";
}

}  // namespace

std::string DataSet::GetText(const std::string& name) const {
    const auto found = description.find(name);
    return found == description.end() ? "" : found->second;
}

std::string DataSet::GetStart() const {
    const std::string start = GetText("StartTime");
    return start.empty() ? start_time : start;
}

std::string DataSet::GetEnd() const {
    const std::string end = GetText("EndTime");
    return end.empty() ? end_time : end;
}

nlohmann::ordered_json DataSet::GetExpectations() const {
    const auto outcome = ParseForeignJson<nlohmann::ordered_json>(GetText(run_description::kOutcomeDetails));
    nlohmann::ordered_json found;
    if (!outcome.is_object() || !outcome.contains("tests") || !outcome["tests"].is_array()) return found;
    for (const auto& test : outcome["tests"]) {
        // Of a run with a file per iteration, the last entry of that number is the one of this file.
        if (test.is_object() && test.contains("expectations") &&
            test.value("data_set", nlohmann::ordered_json()) == id)
            found = test["expectations"];
    }
    return found;
}

std::string DataSet::DescribeExpectations() const {
    const auto expectations = GetExpectations();
    if (!expectations.is_array() || expectations.empty()) return {};
    const auto count = [&expectations](const nlohmann::ordered_json& met) {
        return std::ranges::count_if(expectations, [&met](const auto& one) {
            return one.is_object() && one.contains("met") && one["met"] == met;
        });
    };
    const std::string end = GetText(run_description::kOutcome);
    const bool is_finished = count(nullptr) == 0 && (end == "passed" || end == "failed");
    if (count(false) == 0 && !is_finished) return "not finished";
    return fmt::format("{}, {} of {} met", count(false) > 0 ? "FAILED" : "PASSED", count(true),
                       expectations.size());
}

std::vector<DataSet> ReadDataSets(const ResultsDatabase& database) {
    std::vector<DataSet> data_sets;
    ResultsQuery query(
        database,
        "SELECT DataSetId, Category, StartTime, EndTime, RootNode FROM DataSets ORDER BY DataSetId");
    while (query.Next()) {
        DataSet& data_set = data_sets.emplace_back();
        data_set.id = static_cast<std::uint32_t>(query.GetInteger(0));
        data_set.category = query.GetText(1);
        data_set.start_time = query.GetText(2);
        data_set.end_time = query.GetText(3);
        data_set.root_node = query.GetInteger(4);
    }
    if (data_sets.empty()) {
        throw ResultsError(database.GetPath().string() +
                           " has no data set: no test has written its results to it");
    }
    const auto with = [&data_sets](std::int64_t id, const auto& change) {
        for (DataSet& data_set : data_sets) {
            if (data_set.id == id) change(data_set);
        }
    };
    ReadTable(database, "DataSetDescriptions", "SELECT DataSetId, Name, Text FROM DataSetDescriptions",
              [&](const ResultsQuery& row) {
                  with(row.GetInteger(0),
                       [&](DataSet& data_set) { data_set.description[row.GetText(1)] = row.GetText(2); });
              });
    // The command is stored when the test starts, its outcome when it ends.
    ReadTable(database, "IptvStartTestCommand",
              "SELECT d.DataSetId, c.TestName FROM DataSets d JOIN IptvStartTestCommand c "
              "ON c.Handle = d.TestCommand",
              [&](const ResultsQuery& row) {
                  with(row.GetInteger(0), [&](DataSet& data_set) {
                      data_set.test = row.GetText(1);
                      data_set.verdict = MakeVerdict(data_set, -1);
                  });
              });
    ReadTable(database, "IptvTestResults", "SELECT DataSetId, TestResult FROM IptvTestResults",
              [&](const ResultsQuery& row) {
                  with(row.GetInteger(0), [&](DataSet& data_set) {
                      data_set.verdict = MakeVerdict(data_set, row.GetInteger(1));
                  });
              });
    return data_sets;
}

const DataSet& ChooseDataSet(const ResultsDatabase& database, const std::vector<DataSet>& data_sets,
                             std::optional<std::uint32_t> id) {
    if (!id) {
        const auto latest =
            std::find_if(data_sets.rbegin(), data_sets.rend(), [](const auto& d) { return d.HasViews(); });
        return latest == data_sets.rend() ? data_sets.back() : *latest;
    }
    std::vector<std::string> known;
    for (const DataSet& data_set : data_sets) {
        if (data_set.id == *id) return data_set;
        known.push_back(std::to_string(data_set.id));
    }
    throw ResultsError(
        fmt::format("{} has no data set {}; it has: {}", database.GetPath().string(), *id, JoinNames(known)));
}

std::string DescribeTimes(const DataSet& data_set) {
    if (!data_set.end_time.empty()) {
        return fmt::format("{} to {} (UTC)", data_set.GetStart(), data_set.GetEnd());
    }
    return fmt::format("started {} (UTC), no end yet: it is being written, or its test was broken off",
                       data_set.GetStart());
}

}  // namespace orv::app
