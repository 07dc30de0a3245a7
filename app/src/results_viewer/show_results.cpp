#include "results_viewer/show_results.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <vector>

#include "output/foreign_json.h"
#include "output/text_table.h"
#include "results_viewer/guarded.h"
#include "results_viewer/results_database.h"
#include "results_viewer/spooled_output.h"
#include "results_viewer/view_printer.h"
#include "results_viewer/view_tree.h"
#include "run/description_names.h"
#include "test_file/names.h"

namespace orv::app {

namespace fs = std::filesystem;

namespace {

constexpr int kFailure = 3;

/// Files are often moved together: a missing one is searched beside the file that names it.
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

/// Null for no JSON.
nlohmann::ordered_json ParseText(const std::string& text) {
    auto json = ParseForeignJson<nlohmann::ordered_json>(text);
    return json.is_discarded() ? nullptr : json;
}

/// "3: Homes/DeviceCount=400"; empty for the results of a run without a sweep.
std::string DescribeIteration(const DataSet& data_set) {
    const auto sweep = ParseText(data_set.GetText(run_description::kSweep));
    if (!sweep.is_object() || !sweep.contains("iteration") || !sweep.contains("values")) return {};
    std::string text = sweep["iteration"].dump() + ":";
    for (const auto& [name, value] : sweep["values"].items())
        text += fmt::format("{} {}={}", text.ends_with(':') ? "" : ",", name,
                            value.is_string() ? value.get<std::string>() : value.dump());
    return text;
}

/// The data sets as rows of a table.
class DataSetRows : public RowSource {
  public:
    explicit DataSetRows(const std::vector<DataSet>& data_sets) : data_sets_(data_sets) {
        for (const DataSet& data_set : data_sets)
            has_expectations_ = has_expectations_ || !data_set.DescribeExpectations().empty();
        if (has_expectations_) titles_.insert(titles_.begin() + 3, "Expectations");
        for (const DataSet& data_set : data_sets) has_sweeps_ |= !DescribeIteration(data_set).empty();
        if (has_sweeps_) titles_.emplace_back("Iteration");
    }
    const std::vector<std::string>& GetTitles() const override { return titles_; }
    const std::vector<std::string>& GetNames() const override { return titles_; }
    bool Next(std::vector<ResultValue>& row) override {
        if (next_ == data_sets_.size()) return false;
        const DataSet& data_set = data_sets_[next_++];
        row = {std::int64_t{data_set.id}, data_set.test, data_set.verdict};
        if (has_expectations_) row.emplace_back(data_set.DescribeExpectations());
        row.emplace_back(ToSeconds(data_set.GetStart()));
        row.emplace_back(ToSeconds(data_set.GetEnd()));
        for (const char* name : {run_description::kTitle, run_description::kTestFile, run_description::kSeed,
                                 run_description::kVersion})
            row.emplace_back(data_set.GetText(name));
        if (has_sweeps_) row.emplace_back(DescribeIteration(data_set));
        return true;
    }

  private:
    static std::string ToSeconds(const std::string& time) { return time.substr(0, time.find('.')); }

    const std::vector<DataSet>& data_sets_;
    std::size_t next_ = 0;
    bool has_expectations_ = false;
    bool has_sweeps_ = false;
    std::vector<std::string> titles_{"Data set", "Test",      "Verdict", "Started (UTC)", "Ended (UTC)",
                                     "Title",    "Test file", "Seed",    "Version"};
};

/// One run of the command.
class Show {
  public:
    Show(const ResultsRequest& request, std::ostream& err)
        : request_(request),
          err_(err),
          database_(std::make_shared<ResultsDatabase>(FindDatabase(request.database))),
          data_sets_(ReadDataSets(*database_)),
          data_set_(ChooseDataSet(*database_, data_sets_, request.data_set)),
          tree_(*database_, data_set_) {}

    void Print(std::ostream& out) {
        if (request_.list) {
            for (const std::string& name : tree_.ListNames()) out << MakePrintable(name) << '\n';
        } else if (request_.test_file) {
            PrintTestFile(out);
        } else if (request_.view.empty()) {
            if (!request_.selection.IsAll())
                throw ResultsError("--columns, --where and --limit choose from a view: name one");
            Warn();
            PrintTree(out);
        } else {
            PrintViews(out);
        }
        CheckOutput(out);
    }

  private:
    std::string File() const { return database_->GetPath().string(); }

    void Warn() const {
        if (database_->GetPath() != request_.database && fs::exists(request_.database)) {
            err_ << fmt::format("Note: {} is shown, to which a run writes that is given {}\n",
                                MakePrintable(File()), MakePrintable(request_.database.string()));
        }
        if (data_set_.end_time.empty()) {
            err_ << fmt::format("Note: data set {} {}\n", data_set_.id,
                                MakePrintable(DescribeTimes(data_set_)));
        }
        const DataSet& last = data_sets_.back();
        if (!request_.data_set && last.id != data_set_.id) {
            err_ << fmt::format(
                "Note: data set {} is shown; data set {} has no views yet: {}; its rows so far: "
                "--data-set {}\n",
                data_set_.id, last.id, MakePrintable(DescribeTimes(last)), last.id);
        }
    }

    void PrintTestFile(std::ostream& out) const {
        const auto text = data_set_.description.find(run_description::kTestFileText);
        if (text == data_set_.description.end()) {
            throw ResultsError(fmt::format("{} holds no test file for data set {}: what wrote it stores none",
                                           File(), data_set_.id));
        }
        if (const std::string seed = data_set_.GetText(run_description::kSeed); !seed.empty())
            err_ << "Note: it was run with --seed " << MakePrintable(seed) << '\n';
        if (const std::string sweep = data_set_.GetText(run_description::kSweep); !sweep.empty())
            err_ << "Note: it was run for several values, and this is one of the iterations: "
                 << MakePrintable(sweep) << '\n';
        std::istringstream settings(data_set_.GetText(run_description::kSettings));
        for (std::string setting; std::getline(settings, setting);)
            err_ << "Note: it was run with " << MakePrintable(setting) << '\n';
        out << text->second;
    }

    void PrintTree(std::ostream& out) const {
        const auto csv = [this](const std::string& text) {
            return QuoteCsv(request_.is_terminal ? MakePrintable(text) : text);
        };
        switch (request_.format) {
            case ResultsFormat::Json:
                return PrintTreeAsJson(out);
            case ResultsFormat::Csv:
                out << "Path,Kind,Description,Failed\r\n";
                for (const ViewNode& node : tree_.GetNodes()) {
                    out << fmt::format("{},{},{},{:d}\r\n", csv(node.path), node.GetKindName(),
                                       csv(node.description), node.failed);
                }
                return;
            case ResultsFormat::Table:
                break;
        }
        DataSetRows rows(data_sets_);
        PrintTable(rows, request_.line_width, out);
        out << fmt::format("\nData set {}{}:\n\n", data_set_.id,
                           data_set_.HasViews()
                               ? ""
                               : " has no views, which are stored when the test ends. What it "
                                 "holds so far");
        if (tree_.GetNodes().empty()) {
            out << "(no rows)\n";
            return;
        }
        TextTable table({{"View"}, {"What it shows"}});
        for (const ViewNode& node : tree_.GetNodes()) {
            table.AddRow({std::string(2 * node.depth, ' ') + MakePrintable(node.name), DescribeNode(node)});
        }
        if (table.GetWidth() <= request_.line_width) {
            out << table.ToString();
            return;
        }
        for (const ViewNode& node : tree_.GetNodes()) {
            const std::string indent(2 * node.depth, ' ');
            out << indent << MakePrintable(node.name) << '\n'
                << indent << "  (" << DescribeNode(node) << ")\n";
        }
    }

    void PrintTreeAsJson(std::ostream& out) const {
        using nlohmann::ordered_json;
        const auto text_or_null = [](const std::string& text) {
            return text.empty() ? ordered_json() : ordered_json(text);
        };
        ordered_json data_sets = ordered_json::array();
        for (const DataSet& data_set : data_sets_) {
            ordered_json entry{{"data_set", data_set.id},
                               {"category", data_set.category},
                               {"start", data_set.start_time},
                               {"end", text_or_null(data_set.end_time)},
                               {"has_views", data_set.HasViews()},
                               {"test", text_or_null(data_set.test)},
                               {"verdict", text_or_null(data_set.verdict)},
                               {"wall_clock_start", text_or_null(data_set.GetText("StartTime"))},
                               {"wall_clock_end", text_or_null(data_set.GetText("EndTime"))}};
            namespace names = run_description;
            for (const auto& [key, name] : {std::pair("title", names::kTitle),
                                            {"test_file", names::kTestFile},
                                            {"settings", names::kSettings},
                                            {"version", names::kVersion},
                                            {"outcome", names::kOutcome}})
                entry[key] = text_or_null(data_set.GetText(name));
            entry["expectations"] = data_set.GetExpectations();
            // Older databases and runs without a sweep have none.
            for (const auto& [key, name] :
                 {std::pair("sweep", names::kSweep), {"sweep_result", names::kSweepResult}}) {
                entry[key] = ParseText(data_set.GetText(name));
            }
            std::uint64_t seed = 0;
            const std::string digits = data_set.GetText(names::kSeed);
            std::from_chars(digits.data(), digits.data() + digits.size(), seed);
            entry["seed"] = digits.empty() ? ordered_json() : ordered_json(seed);
            data_sets.push_back(std::move(entry));
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
        out << MakePrintableJson(tree.dump(1, ' ', false, nlohmann::json::error_handler_t::replace)) << '\n';
    }

    /// At least one table, and exactly one for machine-readable formats.
    std::vector<const ViewNode*> FindViews() const {
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
            for (const ViewNode* view : views) paths += "\n  " + MakePrintable(view->path);
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
        if (!data_set_.HasViews())
            text +=
                fmt::format("; views are stored when the test ends, but it has {}", DescribeTimes(data_set_));
        text += data_set_.HasViews() ? "\nIts views are:" : "\nThere are rows in:";
        for (const std::string& name : names) text += "\n  " + MakePrintable(name);
        throw ResultsError(text);
    }

    void PrintViews(std::ostream& out) const {
        const std::vector<const ViewNode*> views = FindViews();
        // Read errors are found before anything is printed.
        std::vector<ViewRows> rows;
        rows.reserve(views.size());
        for (const ViewNode* view : views) rows.push_back(OpenView(*view));
        Warn();
        for (std::size_t i = 0; i < views.size(); ++i) {
            if (views.size() > 1) out << (i == 0 ? "" : "\n") << MakePrintable(views[i]->path) << "\n\n";
            switch (request_.format) {
                case ResultsFormat::Table:
                    PrintTable(rows[i], request_.line_width, out);
                    break;
                case ResultsFormat::Csv:
                    PrintCsv(rows[i], request_.is_terminal, out);
                    break;
                case ResultsFormat::Json:
                    PrintJson(rows[i], views[i]->name, data_set_.id, out);
            }
        }
    }

    ViewRows OpenView(const ViewNode& view) const {
        try {
            auto database = database_;
            if (!view.other_file.empty()) {
                database =
                    std::make_shared<ResultsDatabase>(FindOtherFile(view.other_file, database_->GetPath()));
            }
            return {database, view, data_set_.id, request_.selection};
        } catch (const ResultsError& error) {
            throw ResultsError(fmt::format("the view \"{}\" cannot be read: {}", view.name, error.what()));
        }
    }

    const ResultsRequest& request_;
    std::ostream& err_;
    std::shared_ptr<const ResultsDatabase> database_;
    std::vector<DataSet> data_sets_;
    const DataSet& data_set_;
    ViewTree tree_;
};

}  // namespace

int ShowResults(const ResultsRequest& request, std::ostream& out, std::ostream& err) {
    return RunGuarded(err, [&] {
        errno = 0;
        Show(request, err).Print(out);
    });
}

int ShowResults(ResultsRequest request, int out_descriptor, std::ostream& err) {
    winsize size{};
    if (ioctl(out_descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) request.line_width = size.ws_col;
    request.is_terminal = isatty(out_descriptor) == 1;
    SpooledOutput output(out_descriptor);
    std::ostream out(&output);
    int status = ShowResults(request, out, err);
    if (out && !output.Finish())
        status = PrintResultsError(err, fmt::format("the output cannot be written: {}", std::strerror(errno)),
                                   kFailure);
    return status;
}

}  // namespace orv::app
