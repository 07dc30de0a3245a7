#include "results_viewer/view_tree.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <map>
#include <set>

#include "orv/common/text.h"
#include "results_viewer/latency_views.h"
#include "test_file/names.h"

namespace orv::app {

namespace {

/// Status of a node that shows a failure.
constexpr std::int64_t kFailed = 2;

constexpr const char* kNodes =
    "SELECT n.Handle, n.ParentHnd, n.Name, n.Description, n.Status, n.ParameterNames, n.ParameterValues, "
    "d.ResultViewType, d.SqlCommand, d.ExternalReportCommandLine, "
    "(SELECT Path FROM IterationDatabases i WHERE i.NodeHnd = n.Handle) "
    "FROM EotResultNode n LEFT JOIN EotResultViewDefinition d ON d.Handle = n.ViewDefinition "
    "WHERE n.DataSetId = @DataSetId ORDER BY n.Handle";

std::vector<std::string> SplitAtBlanks(const std::string& list) {
    std::vector<std::string> elements;
    boost::algorithm::split(elements, list, boost::algorithm::is_any_of(" "),
                            boost::algorithm::token_compress_on);
    return elements;
}

ViewNode ReadNode(const ResultsQuery& row) {
    ViewNode node;
    node.name = row.GetText(2);
    node.description = row.GetText(3);
    node.failed = row.GetInteger(4) == kFailed;
    const auto names = SplitAtBlanks(row.GetText(5));
    const auto values = SplitAtBlanks(row.GetText(6));
    for (std::size_t i = 0; i < std::min(names.size(), values.size()); ++i) {
        node.parameters.emplace_back(names[i], values[i]);
    }
    node.sql = row.GetText(8);
    node.report = row.GetText(9);
    if (row.GetText(7) == "EXTERNAL_REPORT") {
        node.kind = ViewNode::Kind::Report;
    } else if (!node.sql.empty()) {
        node.kind = ViewNode::Kind::Table;
    }
    node.other_file = row.GetText(10);
    return node;
}

using Children = std::map<std::int64_t, std::vector<std::pair<std::int64_t, ViewNode>>>;

void AppendBelow(std::vector<ViewNode>& nodes, Children& children, std::int64_t parent,
                 const std::string& path, std::size_t depth) {
    // Removed, so that a damaged tree with a cycle ends.
    const auto below = children.extract(parent);
    if (!below) return;
    std::set<std::string> paths;
    for (auto& [handle, node] : below.mapped()) {
        node.path = path + "/" + node.name;
        node.depth = depth;
        for (int n = 2; !paths.insert(node.path).second; ++n) {
            node.path = fmt::format("{}/{} #{}", path, node.name, n);
        }
        const std::string own_path = node.path;
        nodes.push_back(std::move(node));
        AppendBelow(nodes, children, handle, own_path, depth + 1);
    }
}

/// Those with rows of the data set that are more than the tree itself.
std::map<std::string, std::int64_t> CountRows(const ResultsDatabase& database, const DataSet& data_set) {
    ResultsQuery tables(database,
                        "SELECT t.name FROM sqlite_master t JOIN pragma_table_info(t.name) c "
                        "WHERE t.type = 'table' AND c.name = 'ParentHnd' AND t.name NOT IN ('AllDevice', "
                        "'EotResultNode', 'EotResultViewDefinition')");
    std::map<std::string, std::int64_t> counts;
    while (tables.Next()) {
        const std::string table = tables.GetText(0);
        ResultsQuery count(database,
                           "SELECT count(*) FROM " + QuoteName(table) + " WHERE DataSetId = @DataSetId");
        count.Bind("@DataSetId", std::int64_t{data_set.id});
        if (count.Next() && count.GetInteger(0) > 0) counts[table] = count.GetInteger(0);
    }
    return counts;
}

/// All rows of a table, behind the name of the object above each. Those objects are mostly in one table: the
/// one that has that of the first row.
std::string SelectRows(const ResultsDatabase& database, const DataSet& data_set, const std::string& table,
                       const std::map<std::string, std::int64_t>& tables) {
    const std::string rows = QuoteName(table) + " t WHERE t.DataSetId = @DataSetId";
    for (const auto& [parent, count] : tables) {
        ResultsQuery first(database, "SELECT 1 FROM " + QuoteName(parent) +
                                         " WHERE Handle = (SELECT ParentHnd FROM " + rows + " LIMIT 1)");
        first.Bind("@DataSetId", std::int64_t{data_set.id});
        if (!first.Next()) continue;
        return "SELECT parent.Name AS 'Belongs to', t.* FROM " + QuoteName(table) + " t LEFT JOIN " +
               QuoteName(parent) +
               " parent ON parent.Handle = t.ParentHnd WHERE t.DataSetId = @DataSetId ORDER BY t.Handle";
    }
    return "SELECT * FROM " + rows + " ORDER BY Handle";
}

bool EndsInName(std::string_view path, std::string_view name) {
    if (name.size() >= path.size()) return common::EqualIgnoringCase(path, name);
    const std::size_t before = path.size() - name.size() - 1;
    return path[before] == '/' && common::EqualIgnoringCase(path.substr(before + 1), name);
}

}  // namespace

std::string_view ViewNode::GetKindName() const {
    switch (kind) {
        case Kind::Table:
            return "table";
        case Kind::Report:
            return "report";
        case Kind::Heading:
            break;
    }
    return "heading";
}

ViewTree::ViewTree(const ResultsDatabase& database, const DataSet& data_set) {
    AddStored(database, data_set);
    for (ViewNode& view : MakeLatencyViews(database, data_set)) nodes_.push_back(std::move(view));
}

void ViewTree::AddStored(const ResultsDatabase& database, const DataSet& data_set) {
    Children children;
    ResultsQuery query(database, kNodes);
    query.Bind("@DataSetId", std::int64_t{data_set.id});
    while (query.Next()) {
        const std::int64_t handle = query.GetInteger(0);
        ViewNode node = ReadNode(query);
        if (handle != data_set.root_node) {
            children[query.GetInteger(1)].emplace_back(handle, std::move(node));
            continue;
        }
        node.path = node.name;
        nodes_.push_back(std::move(node));
    }
    if (nodes_.empty()) {
        if (!data_set.HasViews()) {
            AddTables(database, data_set);
            return;
        }
        throw ResultsError(fmt::format("{} is damaged: the root of the views of data set {} is missing",
                                       database.GetPath().string(), data_set.id));
    }
    const std::string root_path = nodes_.front().path;
    AppendBelow(nodes_, children, data_set.root_node, root_path, 1);
}

void ViewTree::AddTables(const ResultsDatabase& database, const DataSet& data_set) {
    const auto counts = CountRows(database, data_set);
    for (const auto& [table, count] : counts) {
        ViewNode node;
        node.name = node.path = table;
        node.description = fmt::format("{} row{}", count, count == 1 ? "" : "s");
        node.kind = ViewNode::Kind::Table;
        node.sql = SelectRows(database, data_set, table, counts);
        nodes_.push_back(std::move(node));
    }
}

std::vector<const ViewNode*> ViewTree::Find(std::string_view name) const {
    std::vector<const ViewNode*> found;
    for (const ViewNode& node : nodes_) {
        if (common::EqualIgnoringCase(node.name, name) || EndsInName(node.path, name)) found.push_back(&node);
    }
    return found;
}

std::string ViewTree::GetShortestName(const ViewNode& node) const {
    std::size_t begin = node.path.size();
    while (begin > 0) {
        const std::size_t slash = begin < 2 ? std::string::npos : node.path.rfind('/', begin - 2);
        begin = slash == std::string::npos ? 0 : slash + 1;
        if (Find(std::string_view(node.path).substr(begin)).size() == 1) break;
    }
    return node.path.substr(begin);
}

std::vector<std::string> ViewTree::ListNames() const {
    std::vector<std::string> names;
    for (const ViewNode& node : nodes_) {
        if (node.kind == ViewNode::Kind::Table) names.push_back(GetShortestName(node));
    }
    return names;
}

}  // namespace orv::app
