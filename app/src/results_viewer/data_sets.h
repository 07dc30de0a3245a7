// The data sets of a results database.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "results_viewer/results_database.h"

namespace orv::app {

/// The results of one test.
struct DataSet {
    std::uint32_t id = 0;
    std::string category;
    std::string start_time;  ///< by the clock of the test
    std::string end_time;    ///< empty: it is being written, or its test was aborted
    std::int64_t root_node = 0;
    std::string test;     ///< its name
    std::string verdict;  ///< "PASSED", "FAILED", or why there is none; empty without a test
    std::map<std::string, std::string> description;  ///< texts by name; none in older databases

    bool HasViews() const { return root_node != 0; }
    /// Empty when there is none.
    std::string GetText(const std::string& name) const;
    /// By the wall clock, if known.
    std::string GetStart() const;
    std::string GetEnd() const;
    /// As in run_description::kOutcomeDetails; null for none.
    nlohmann::ordered_json GetExpectations() const;
    /// "FAILED, 2 of 3 met", "not finished"; empty for none.
    std::string DescribeExpectations() const;
};

/// In order. Throws ResultsError when there is none.
std::vector<DataSet> ReadDataSets(const ResultsDatabase& database);

/// The one with the number; without a number the latest one with views, or the latest one where none has any.
/// Throws ResultsError when there is no such data set.
const DataSet& ChooseDataSet(const ResultsDatabase& database, const std::vector<DataSet>& data_sets,
                             std::optional<std::uint32_t> id);

/// "started ..., no end yet: it is being written, or its test was aborted"
std::string DescribeTimes(const DataSet& data_set);

}  // namespace orv::app
