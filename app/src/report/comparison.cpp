#include "comparison.h"

#include <nlohmann/json.hpp>
#include <numeric>
#include <set>

#include "mann_whitney.h"
#include "output/foreign_json.h"
#include "run/description_names.h"

namespace orv::app {

namespace {

/// The values of a figure in the intervals that are compared.
std::vector<double> GetValues(const ReportedTest& test, std::size_t figure) {
    std::vector<double> values;
    for (std::size_t i = 1; i + 1 < test.intervals.size(); ++i) {
        const Interval& interval = test.intervals[i];
        const Number& value = interval.values[figure];
        if (!value) continue;
        const bool is_rate =
            kIntervalFigures[figure].kind == IntervalFigure::Kind::Count && interval.duration > 0;
        values.push_back(is_rate ? *value / interval.duration : *value);
    }
    return values;
}

PageJson MakeMean(const std::vector<double>& values) {
    if (values.empty()) return {};
    return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
}

/// A figure of two tests. Appends its p value, if there is one.
PageJson CompareFigure(const ReportedTest& first, const ReportedTest& second, std::size_t figure,
                       std::vector<double>& p) {
    const std::vector<double> a = GetValues(first, figure), b = GetValues(second, figure);
    const bool is_rate = kIntervalFigures[figure].kind == IntervalFigure::Kind::Count;
    PageJson json{{"figure", std::string(kIntervalFigures[figure].title) + (is_rate ? " per second" : "")},
                  {"unit", is_rate ? "1/s" : "ms"},
                  {"n", {a.size(), b.size()}},
                  {"values", {MakeMean(a), MakeMean(b)}}};
    if (a.empty() && b.empty()) {
        json["result"] = "not measured";
    } else if (std::min(a.size(), b.size()) < kLeastIntervals) {
        json["result"] = "too few intervals";
    } else {
        json["test"] = p.size();
        p.push_back(TestMannWhitney(a, b).p);
    }
    return json;
}

/// The position of the test that is compared with one of the first run, among those not yet compared.
std::optional<std::size_t> FindPartner(const ReportedTest& test, const ReportedRun& run,
                                       std::set<std::size_t>& used) {
    const auto get_values = [](const ReportedTest& of) {
        const PageJson sweep = ParseForeignJson<PageJson>(of.data_set.GetText(run_description::kSweep));
        return sweep.is_object() && sweep.contains("values") ? sweep["values"] : PageJson();
    };
    // A test that was renamed is compared if it is the only one.
    const bool is_only_one = run.tests.size() == 1;
    for (std::size_t i = 0; i < run.tests.size(); ++i) {
        const ReportedTest& other = run.tests[i];
        const bool fits = other.data_set.test == test.data_set.test && get_values(other) == get_values(test);
        if ((fits || is_only_one) && used.insert(i).second) return i;
    }
    return std::nullopt;
}

}  // namespace

PageJson CompareRuns(const std::vector<ReportedRun>& runs) {
    PageJson comparison{
        {"alpha", kAlpha}, {"least_intervals", kLeastIntervals}, {"pairs", PageJson::array()}};
    std::vector<double> p;
    for (std::size_t run = 1; run < runs.size(); ++run) {
        std::set<std::size_t> used;
        for (std::size_t i = 0; i < runs.front().tests.size(); ++i) {
            const ReportedTest& first = runs.front().tests[i];
            const auto partner = FindPartner(first, runs[run], used);
            if (!partner) continue;
            PageJson figures = PageJson::array();
            for (std::size_t figure = 0; figure < kIntervalFigures.size(); ++figure)
                figures.push_back(CompareFigure(first, runs[run].tests[*partner], figure, p));
            comparison["pairs"].push_back({{"a", {0, i}}, {"b", {run, *partner}}, {"figures", figures}});
        }
    }
    comparison["hypotheses"] = p.size();
    const std::vector<double> adjusted = AdjustByHolm(p);
    for (PageJson& pair : comparison["pairs"]) {
        for (PageJson& figure : pair["figures"]) {
            if (!figure.contains("test")) continue;
            const double value = adjusted[figure["test"].get<std::size_t>()];
            figure.erase("test");
            figure["p"] = value;
            figure["result"] = value < kAlpha ? "different" : "no difference";
        }
    }
    return comparison;
}

}  // namespace orv::app
