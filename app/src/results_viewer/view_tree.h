// The views of a data set.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "results_viewer/data_sets.h"

namespace orv::app {

struct ViewNode {
    /// A table can be printed, a report needs another program, a heading only has nodes below it.
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
    std::filesystem::path other_file;  ///< the database with the results, if it is another one

    std::string_view GetKindName() const;
};

/// The tree of views of one data set. Views are stored when the test ends. Until then there is one view for
/// each table that holds rows of the data set: the name of the object that a row belongs to, then the columns
/// of the table. Views of latencies follow (MakeLatencyViews).
class ViewTree {
  public:
    /// Throws ResultsError when the tree cannot be read.
    ViewTree(const ResultsDatabase& database, const DataSet& data_set);

    /// Parents come before their children.
    const std::vector<ViewNode>& GetNodes() const { return nodes_; }

    /// Nodes with that name, or whose path ends with it, case-insensitive.
    std::vector<const ViewNode*> Find(std::string_view name) const;

    /// Unique names of the tables: for each, an end of its path that no other node has.
    std::vector<std::string> ListNames() const;

  private:
    void AddStored(const ResultsDatabase& database, const DataSet& data_set);
    void AddTables(const ResultsDatabase& database, const DataSet& data_set);
    std::string GetShortestName(const ViewNode& node) const;

    std::vector<ViewNode> nodes_;
};

}  // namespace orv::app
