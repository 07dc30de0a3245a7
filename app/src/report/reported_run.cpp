#include "reported_run.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <utility>

#include "output/foreign_json.h"
#include "run/description_names.h"

namespace orv::app {

namespace {

PageJson ParseObject(const std::string& text) {
    PageJson json = ParseForeignJson<PageJson>(text);
    return json.is_object() ? json : PageJson();
}

/// A member of an object; null without it.
PageJson GetMember(const PageJson& object, const char* name) {
    return object.is_object() && object.contains(name) ? object[name] : PageJson();
}

PageJson TextOrNull(const std::string& text) {
    return text.empty() ? PageJson() : PageJson(text);
}

/// The test of an outcome that has written a data set.
PageJson FindTest(const PageJson& outcome, std::uint32_t data_set) {
    const PageJson tests = GetMember(outcome, "tests");
    for (const PageJson& test : tests) {
        if (GetMember(test, "data_set") == data_set) return test;
    }
    return {};
}

/// What is stored of the outcome of a test. Iterations of a sweep may have it in the outcome of the last one.
PageJson ReadOutcomeOfTest(const DataSet& data_set, const PageJson& outcome_of_last) {
    const PageJson test =
        FindTest(ParseObject(data_set.GetText(run_description::kOutcomeDetails)), data_set.id);
    return test.is_null() ? FindTest(outcome_of_last, data_set.id) : test;
}

/// Whether two data sets that follow each other are iterations of one sweep.
bool IsNextIteration(const DataSet& first, const DataSet& second) {
    namespace names = run_description;
    const auto get_number = [](const DataSet& data_set) {
        const PageJson sweep = ParseObject(data_set.GetText(names::kSweep));
        return std::pair(GetMember(sweep, "iteration"), GetMember(sweep, "repetition"));
    };
    if (first.GetText(names::kSweep).empty() || second.GetText(names::kSweep).empty()) return false;
    return get_number(first) < get_number(second) &&
           first.GetText(names::kTestFileText) == second.GetText(names::kTestFileText);
}

/// The data sets of the run that has written the one at `chosen`: those that its outcome names, and the other
/// iterations of a sweep, each of which has an outcome of its own.
std::vector<DataSet> FindDataSetsOfRun(const std::vector<DataSet>& all, std::size_t chosen,
                                       const PageJson& outcome) {
    std::size_t first = chosen, last = chosen;
    while (first > 0 && IsNextIteration(all[first - 1], all[first])) --first;
    while (last + 1 < all.size() && IsNextIteration(all[last], all[last + 1])) ++last;
    const std::string details = all[chosen].GetText(run_description::kOutcomeDetails);
    std::vector<DataSet> found;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const bool is_of_outcome = all[i].GetText(run_description::kOutcomeDetails) == details &&
                                   !FindTest(outcome, all[i].id).is_null();
        if ((first <= i && i <= last) || is_of_outcome) found.push_back(all[i]);
    }
    return found;
}

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/// The beginning of a text, up to the end of a line.
std::string CutAtLine(const std::string& text, std::size_t bytes) {
    if (text.size() <= bytes) return text;
    const std::size_t end = text.rfind('\n', bytes);
    return text.substr(0, end == std::string::npos ? 0 : end + 1);
}

PageJson MakeSeriesOfPorts(const ReportedRun& run, const ReportedTest& test, PageLimits& limits) {
    PageJson series = PageJson::array();
    for (const ObjectTable& table : test.objects) {
        if (table.kind != "port" || table.handles.empty()) continue;
        const std::size_t share =
            std::min<std::size_t>(600, limits.port_points / run.tests.size() / table.handles.size());
        for (std::size_t i = 0; i < table.handles.size() && share > 0; ++i) {
            const auto intervals = ReadIntervals(run.database, test.data_set.id, table.handles[i]);
            if (intervals.empty()) continue;
            PageJson of_port = MakeSeries(intervals, share);
            of_port["kind"] = "port";
            of_port["name"] = table.names[i];
            series.push_back(std::move(of_port));
        }
    }
    return series;
}

PageJson MakeTestJson(const ReportedRun& run, const ReportedTest& test, PageLimits& limits) {
    const DataSet& data_set = test.data_set;
    PageJson json{{"data_set", data_set.id},
                  {"name", data_set.test},
                  {"verdict", TextOrNull(data_set.verdict)},
                  {"start", TextOrNull(data_set.GetStart())},
                  {"end", TextOrNull(data_set.GetEnd())},
                  {"sweep", ParseObject(data_set.GetText(run_description::kSweep))},
                  {"outcome", test.outcome},
                  {"kinds", PageJson::array()},
                  {"histograms", PageJson::object()},
                  {"left_out", PageJson::object()},
                  {"series", PageJson::array()}};
    const ObjectTable& whole = test.objects.front();
    const std::size_t share = limits.histograms / run.tests.size() / test.objects.size();
    for (const ObjectTable& table : test.objects) {
        const std::size_t rows = table.names.size();
        if (table.kind == "block" && rows > limits.rows) {
            json["left_out"]["rows"] = rows;
            continue;
        }
        if (table.kind == "block") limits.rows -= rows;
        json["kinds"].push_back(MakeTableJson(table));
        json["histograms"][table.kind] = ReadHistograms(run.database, table, whole, share);
    }
    if (!test.intervals.empty()) {
        PageJson of_test =
            MakeSeries(test.intervals, std::max<std::size_t>(60, limits.points / run.tests.size()));
        of_test["kind"] = "test";
        of_test["name"] = data_set.test;
        json["series"].push_back(std::move(of_test));
    }
    for (PageJson& of_port : MakeSeriesOfPorts(run, test, limits))
        json["series"].push_back(std::move(of_port));
    return json;
}

}  // namespace

ReportedRun::ReportedRun(const std::filesystem::path& path, std::optional<std::uint32_t> data_set)
    : database(FindDatabase(path)) {
    const std::vector<DataSet> all = ReadDataSets(database);
    // The latest one, even if its test was broken off: an older verdict would be taken for its own.
    const DataSet& chosen = data_set ? ChooseDataSet(database, all, data_set) : all.back();
    outcome = ParseObject(chosen.GetText(run_description::kOutcomeDetails));
    std::vector<DataSet> data_sets =
        FindDataSetsOfRun(all, static_cast<std::size_t>(&chosen - all.data()), outcome);
    const PageJson of_last = ParseObject(data_sets.back().GetText(run_description::kOutcomeDetails));
    if (outcome.is_null()) outcome = of_last;
    for (DataSet& found : data_sets) {
        ReportedTest& test = tests.emplace_back();
        test.outcome = ReadOutcomeOfTest(found, of_last);
        test.objects = ReadObjects(database, found);
        test.intervals = ReadIntervals(database, found.id, test.objects.front().handles.front());
        test.data_set = std::move(found);
    }
}

PageJson MakeRunJson(const ReportedRun& run, PageLimits& limits) {
    namespace names = run_description;
    const DataSet& last = run.tests.back().data_set;
    const std::string test_file = last.GetText(names::kTestFileText);
    PageJson json{{"file", run.database.GetPath().string()},
                  {"title", TextOrNull(last.GetText(names::kTitle))},
                  {"test_file", TextOrNull(last.GetText(names::kTestFile))},
                  {"test_file_bytes", test_file.size()},
                  {"test_file_text", TextOrNull(CutAtLine(test_file, limits.test_file))},
                  {"settings", SplitLines(last.GetText(names::kSettings))},
                  {"seed", TextOrNull(last.GetText(names::kSeed))},
                  {"version", TextOrNull(last.GetText(names::kVersion))},
                  {"end", TextOrNull(last.GetText(names::kOutcome))},
                  {"sweep_result", ParseObject(last.GetText(names::kSweepResult))},
                  {"outcome", run.outcome},
                  {"tests", PageJson::array()}};
    if (run.outcome.is_object()) json["outcome"].erase("tests");
    for (const ReportedTest& test : run.tests) json["tests"].push_back(MakeTestJson(run, test, limits));
    return json;
}

}  // namespace orv::app
