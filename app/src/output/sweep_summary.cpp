#include "sweep_summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "text_table.h"

namespace orv::app {

namespace {

const Distribution* FindJoinLatency(const TestReport& test) {
    const auto found = std::ranges::find(test.distributions, "join latency", &Distribution::figure);
    return found == test.distributions.end() ? nullptr : &*found;
}

double SumOfBlocks(const TestReport& test, const char* figure) {
    double sum = 0;
    for (const ResultRow& block : test.stb_blocks) sum += block.GetNumber(figure);
    return sum;
}

/// Milliseconds; nothing when nobody has seen a packet.
std::optional<double> FindMeanJoin(const TestReport& test) {
    if (const Distribution* joins = FindJoinLatency(test)) return joins->mean;
    double latencies = 0, joins = 0;
    for (const ResultRow& block : test.stb_blocks) {
        const double mean = block.GetNumber("AvgJoinLatency");
        const double count = block.GetNumber("NumOfChannelChanges") - block.GetNumber("JoinFails");
        if (mean <= 0 || count <= 0) continue;
        latencies += mean * count;
        joins += count;
    }
    return joins > 0 ? std::optional(latencies / joins) : std::nullopt;
}

class SweepTable {
  public:
    explicit SweepTable(const SweepOutcome& sweep) : sweep_(sweep) {
        for (const SweepIteration& iteration : sweep.iterations) {
            has_several_tests_ |= iteration.run.tests.size() > 1;
            has_expectations_ |= std::ranges::any_of(
                iteration.run.tests, [](const TestReport& test) { return !test.expectations.empty(); });
            has_percentiles_ |= std::ranges::any_of(iteration.run.tests, FindJoinLatency);
        }
        has_repetitions_ = sweep.search && sweep.search->repetitions > 1;
    }

    std::string ToString(std::size_t line_width) const {
        constexpr auto kRight = TextTable::Align::Right;
        std::vector<TextTable::Column> columns{{"Iteration", kRight}};
        for (const std::string& property : sweep_.properties)
            columns.push_back({MakePrintable(property), kRight});
        if (has_repetitions_) columns.push_back({"Run", kRight});
        if (has_several_tests_) columns.push_back({"Test", TextTable::Align::Left});
        columns.push_back({"Verdict", TextTable::Align::Left});
        if (has_expectations_) columns.push_back({"Expectations", TextTable::Align::Left});
        for (const char* header : {"Views", "Failed joins", "Mean join ms"})
            columns.push_back({header, kRight});
        if (has_percentiles_) {
            columns.push_back({"p50", kRight});
            columns.push_back({"p99", kRight});
        }
        columns.push_back({"Lost", kRight});
        TextTable table(std::move(columns));
        for (const SweepIteration& iteration : sweep_.iterations) {
            const RunOutcome& run = iteration.run;
            for (const TestReport& test : run.tests) table.AddRow(MakeRow(iteration, test));
            // It ended in its first test, or before.
            if (run.tests.empty()) {
                std::vector<std::string> cells = MakeFirstCells(iteration);
                if (has_several_tests_) cells.emplace_back();
                cells.emplace_back(GetRunEndName(run.end));
                table.AddRow(std::move(cells));
            }
        }
        return table.ToString(line_width);
    }

  private:
    std::vector<std::string> MakeFirstCells(const SweepIteration& iteration) const {
        std::vector<std::string> cells{std::to_string(iteration.number)};
        for (const std::string& value : iteration.values) cells.push_back(MakePrintable(value));
        if (has_repetitions_) cells.push_back(std::to_string(iteration.repetition));
        return cells;
    }

    std::vector<std::string> MakeRow(const SweepIteration& iteration, const TestReport& test) const {
        std::vector<std::string> cells = MakeFirstCells(iteration);
        if (has_several_tests_) cells.push_back(MakePrintable(test.name));
        cells.emplace_back(GetVerdict(iteration.run, test));
        if (has_expectations_) cells.push_back(DescribeExpectations(iteration.run, test));
        cells.push_back(fmt::format("{:.0f}", test.GetChannelChanges()));
        cells.push_back(test.GetNetChannelChanges() > 0 ? fmt::format("{:.2f} %", test.GetFailedPercent())
                                                        : "-");
        const auto mean = FindMeanJoin(test);
        cells.push_back(mean ? fmt::format("{:.1f}", *mean) : "-");
        if (has_percentiles_) {
            const Distribution* joins = FindJoinLatency(test);
            cells.push_back(joins ? fmt::format("{:.1f}", joins->p50) : "-");
            cells.push_back(joins ? fmt::format("{:.1f}", joins->p99) : "-");
        }
        cells.push_back(fmt::format("{:.0f}", SumOfBlocks(test, "DroppedFrameCount")));
        return cells;
    }

    const SweepOutcome& sweep_;
    bool has_several_tests_ = false;
    bool has_expectations_ = false;
    bool has_percentiles_ = false;
    bool has_repetitions_ = false;
};

}  // namespace

std::string DescribeSearch(const SweepOutcome& sweep) {
    if (!sweep.search || !sweep.search->is_decided) return {};
    const SweepOutcome::Search& search = *sweep.search;
    const std::size_t tried = search.tried.size();
    std::string text =
        search.highest.empty()
            ? fmt::format("No {} passes", sweep.properties.front())
            : fmt::format("Highest {} that passes: {}{}", sweep.properties.front(), search.highest,
                          search.highest == search.to ? ", the end of the range" : "");
    text +=
        fmt::format(" (of {} to {}, {} value{} tried", search.from, search.to, tried, tried == 1 ? "" : "s");
    if (search.repetitions > 1) text += fmt::format(", {} runs each", search.repetitions);
    return text + ")";
}

std::string MakeSweepSummary(const RunOutcome& outcome, std::size_t line_width) {
    if (!outcome.sweep) return {};
    const SweepOutcome& sweep = *outcome.sweep;
    std::string text;
    if (!sweep.iterations.empty()) text = SweepTable(sweep).ToString(line_width) + "\n";
    if (sweep.search) {
        const std::string found = DescribeSearch(sweep);
        if (!found.empty()) text += MakePrintable(found) + "\n";
    } else {
        const auto passed = std::ranges::count_if(
            sweep.iterations, [](const SweepIteration& one) { return one.run.end == RunEnd::Passed; });
        text += fmt::format("{} of {} iterations passed.\n", passed, sweep.values.size());
    }
    if (outcome.end == RunEnd::Passed || outcome.end == RunEnd::Failed)
        return text + (outcome.end == RunEnd::Passed ? "Verdict: PASSED\n" : "Verdict: FAILED\n");
    text += fmt::format("Verdict: NOT FINISHED, {}", GetRunEndName(outcome.end));
    if (!sweep.iterations.empty()) {
        const SweepIteration& last = sweep.iterations.back();
        text += fmt::format(" {} iteration {}", last.run.end == outcome.end ? "in" : "after", last.number);
    }
    return text + "\n";
}

}  // namespace orv::app
