#include "results_viewer/show_results.h"

#include <fmt/format.h>

#include <charconv>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <vector>

#include "output/text_table.h"
#include "results_viewer/results_database.h"
#include "results_viewer/view_printer.h"
#include "results_viewer/view_tree.h"
#include "test_file/names.h"

namespace orv::app {

namespace fs = std::filesystem;

namespace {

constexpr int kBadInput = 2;

/// What a node's parameter is worth: numbers are compared with numbers.
ResultValue ToParameter(const std::string& text) {
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && rest == end) return number;
    return text;
}

/// Files are moved together: one that is not where it was is looked for beside the one that names it.
fs::path FindOtherFile(const fs::path& named, const fs::path& database) {
    std::error_code error;
    return fs::exists(named, error) ? named : database.parent_path() / named.filename();
}

std::string DescribeNode(const ViewNode& node) {
    std::string text = node.description;
    if (node.kind == ViewNode::Kind::Report) text += fmt::format(" (report by {})", node.report);
    if (!node.other_file.empty()) text += fmt::format(" (results in {})", node.other_file.string());
    if (node.failed) text += " (failed)";
    return MakePrintable(text);
}

/// One run of the command.
class Show {
  public:
    Show(const ResultsRequest& request, std::ostream& err)
        : request_(request),
          err_(err),
          database_(request.database),
          data_sets_(ReadDataSets(database_)),
          data_set_(ChooseDataSet(database_, data_sets_, request.data_set)),
          tree_(database_, data_set_) {}

    void Print(std::ostream& out) {
        if (request_.list) {
            for (const std::string& name : tree_.ListNames()) out << name << '\n';
            return;
        }
        Warn();
        if (request_.view.empty()) return PrintTree(out);
        const std::vector<const ViewNode*> views = FindViews();
        if (request_.format != ResultsFormat::Table) return PrintView(*views.front(), out);
        for (const ViewNode* view : views) {
            if (views.size() > 1) out << (view == views.front() ? "" : "\n") << view->path << "\n\n";
            PrintView(*view, out);
        }
    }

  private:
    std::string File() const { return request_.database.string(); }

    void Warn() const {
        if (data_set_.end_time.empty()) {
            err_ << fmt::format("Note: data set {} {}\n", data_set_.id, DescribeTimes(data_set_));
        }
        const DataSet& last = data_sets_.back();
        if (!request_.data_set && last.id != data_set_.id) {
            err_ << fmt::format("Note: data set {} is shown; data set {} has no views yet: {}\n",
                                data_set_.id, last.id, DescribeTimes(last));
        }
    }

    void PrintTree(std::ostream& out) const {
        switch (request_.format) {
            case ResultsFormat::Json:
                return PrintTreeAsJson(out);
            case ResultsFormat::Csv:
                out << "Path,Kind,Description,Failed\r\n";
                for (const ViewNode& node : tree_.GetNodes()) {
                    out << fmt::format("{},{},{},{:d}\r\n", QuoteCsv(node.path), node.GetKindName(),
                                       QuoteCsv(node.description), node.failed);
                }
                return;
            case ResultsFormat::Table:
                break;
        }
        out << fmt::format("Data set {} ({}), {}\n", data_set_.id, MakePrintable(data_set_.category),
                           DescribeTimes(data_set_));
        for (const DataSet& other : data_sets_) {
            if (other.id == data_set_.id) continue;
            out << fmt::format("There is also data set {} ({}), {}\n", other.id,
                               MakePrintable(other.category), DescribeTimes(other));
        }
        out << '\n';
        if (!data_set_.HasViews()) {
            out << "It has no views: they are stored when the test ends.\n";
            return;
        }
        TextTable table({{"View"}, {"What it shows"}});
        for (const ViewNode& node : tree_.GetNodes()) {
            table.AddRow({std::string(2 * node.depth, ' ') + MakePrintable(node.name), DescribeNode(node)});
        }
        out << table.ToString();
    }

    void PrintTreeAsJson(std::ostream& out) const {
        using nlohmann::ordered_json;
        ordered_json data_sets = ordered_json::array();
        for (const DataSet& data_set : data_sets_) {
            const bool open = data_set.end_time.empty();
            data_sets.push_back({{"data_set", data_set.id},
                                 {"category", data_set.category},
                                 {"start", data_set.start_time},
                                 {"end", open ? ordered_json() : ordered_json(data_set.end_time)},
                                 {"has_views", data_set.HasViews()}});
        }
        ordered_json views = ordered_json::array();
        for (const ViewNode& node : tree_.GetNodes()) {
            ordered_json view{{"name", node.name},
                              {"path", node.path},
                              {"kind", node.GetKindName()},
                              {"description", node.description},
                              {"failed", node.failed}};
            if (node.kind == ViewNode::Kind::Report) view["template"] = node.report;
            if (!node.other_file.empty()) view["results_in"] = node.other_file.string();
            views.push_back(std::move(view));
        }
        const ordered_json tree{{"data_set", data_set_.id}, {"data_sets", data_sets}, {"views", views}};
        out << tree.dump(1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
    }

    /// At least one that can be printed, and just one for the formats that programs read.
    std::vector<const ViewNode*> FindViews() const {
        if (!data_set_.HasViews()) {
            throw ResultsError(
                fmt::format("{}: data set {} has no views: they are stored when the test ends ({})", File(),
                            data_set_.id, DescribeTimes(data_set_)));
        }
        std::vector<const ViewNode*> views = tree_.Find(request_.view);
        if (views.empty()) ThrowUnknownView();
        const ViewNode first = *views.front();
        std::erase_if(views, [](const ViewNode* view) { return view->kind != ViewNode::Kind::Table; });
        if (views.empty() && first.kind == ViewNode::Kind::Report) {
            throw ResultsError(
                fmt::format("\"{}\" is no table, but a report that is made from the template {}", first.name,
                            first.report));
        }
        if (views.empty()) {
            throw ResultsError(fmt::format("\"{}\" is a heading and shows nothing itself", first.name));
        }
        if (views.size() > 1 && request_.format != ResultsFormat::Table) {
            std::string paths;
            for (const ViewNode* view : views) paths += "\n  " + view->path;
            throw ResultsError(fmt::format("{}: {} views are called \"{}\"; say which one by its path:{}",
                                           File(), views.size(), request_.view, paths));
        }
        return views;
    }

    [[noreturn]] void ThrowUnknownView() const {
        const std::vector<std::string> names = tree_.ListNames();
        std::string text =
            fmt::format("{} has no view \"{}\" in data set {}", File(), request_.view, data_set_.id);
        const std::string nearest = FindNearestName(request_.view, names);
        if (!nearest.empty()) text += fmt::format("; did you mean \"{}\"?", nearest);
        text += "\nIts views are:";
        for (const std::string& name : names) text += "\n  " + name;
        throw ResultsError(text);
    }

    void PrintView(const ViewNode& view, std::ostream& out) const {
        if (view.other_file.empty()) return PrintQuery(view, database_, out);
        PrintQuery(view, ResultsDatabase(FindOtherFile(view.other_file, request_.database)), out);
    }

    void PrintQuery(const ViewNode& view, const ResultsDatabase& database, std::ostream& out) const {
        try {
            ResultsQuery query(database, view.sql);
            if (query.GetColumnCount() == 0) throw ResultsError("its SQL selects nothing");
            query.Bind("@DataSetId", std::int64_t{data_set_.id});
            for (const auto& [name, value] : view.parameters) query.Bind(name, ToParameter(value));
            switch (request_.format) {
                case ResultsFormat::Table:
                    return PrintTable(query, request_.line_width, out);
                case ResultsFormat::Csv:
                    return PrintCsv(query, out);
                case ResultsFormat::Json:
                    return PrintJson(query, view.name, data_set_.id, out);
            }
        } catch (const ResultsError& error) {
            throw ResultsError(fmt::format("the view \"{}\" cannot be read: {}", view.name, error.what()));
        }
    }

    const ResultsRequest& request_;
    std::ostream& err_;
    ResultsDatabase database_;
    std::vector<DataSet> data_sets_;
    const DataSet& data_set_;
    ViewTree tree_;
};

}  // namespace

int ShowResults(const ResultsRequest& request, std::ostream& out, std::ostream& err) {
    std::ostringstream text;
    try {
        Show(request, err).Print(text);
    } catch (const ResultsError& error) {
        err << "Error: " << error.what() << '\n';
        return kBadInput;
    }
    out << text.view();
    return 0;
}

}  // namespace orv::app
