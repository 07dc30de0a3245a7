// The data sets of a results database, and the views of one.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "results_viewer/results_database.h"

namespace orv::app {

/// The results of one test.
struct DataSet {
    std::uint32_t id = 0;
    std::string category;
    std::string start_time;
    std::string end_time;  ///< empty: it is being written, or its test was broken off
    std::int64_t root_node = 0;
    bool HasViews() const { return root_node != 0; }
};

/// In order. Throws ResultsError when there is none.
std::vector<DataSet> ReadDataSets(const ResultsDatabase& database);

/// The one with the number; without a number the latest one with views, or the latest one where none has any.
/// Throws ResultsError when there is no such data set.
const DataSet& ChooseDataSet(const ResultsDatabase& database, const std::vector<DataSet>& data_sets,
                             std::optional<std::uint32_t> id);

/// "started ..., no end yet: it is being written, or its test was broken off"
std::string DescribeTimes(const DataSet& data_set);

struct ViewNode {
    /// A table can be printed, a report is made by another program, a heading only has others below it.
    enum class Kind { Table, Report, Heading };

    std::string name;
    std::string path;  ///< names from the root on, joined with "/"
    std::size_t depth = 0;
    std::string description;
    bool failed = false;
    Kind kind = Kind::Heading;
    std::string sql;
    std::string report;  ///< the report's template
    std::vector<std::pair<std::string, std::string>> parameters;
    std::filesystem::path other_file;  ///< the database in which the results are, when it is another one

    std::string_view GetKindName() const;
};

/// The tree of views of one data set.
class ViewTree {
  public:
    /// Throws ResultsError when the tree cannot be read.
    ViewTree(const ResultsDatabase& database, const DataSet& data_set);

    /// Every node before those below it.
    const std::vector<ViewNode>& GetNodes() const { return nodes_; }

    /// Nodes of that name, or whose path ends in it, without regard to case.
    std::vector<const ViewNode*> Find(std::string_view name) const;

    /// The names by which the tables can be asked for: the end of each path that no other node has.
    std::vector<std::string> ListNames() const;

  private:
    std::string GetShortestName(const ViewNode& node) const;

    std::vector<ViewNode> nodes_;
};

}  // namespace orv::app
