#include "summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string_view>
#include <vector>

#include "sweep_summary.h"
#include "text_table.h"

namespace orv::app {

namespace {

constexpr std::string_view kLegendGap = "   ";

/// Which tests a column is for.
enum class Shown { Always, Unicast, Retransmission };

/// A column that shows one figure, or the least, mean and greatest of one ("Min" and so on before the name).
struct Column {
    const char* header;
    const char* figure;
    bool is_range = false;
    Shown shown = Shown::Always;
    const char* unicast_figure = nullptr;  ///< is added
};

constexpr Column kJoinColumns[] = {
    {"Views", "NumOfChannelChanges"},
    {"Failed joins", "JoinFails"},
    {"Join ms", "JoinLatency", true},
    {"Leave ms", "LeaveLatency", true},
    {"Unicast fails", "UnicastJoinFails", false, Shown::Unicast},
    {"Unicast join ms", "UnicastJoinLatency", true, Shown::Unicast},
    {"Retransmission ms", "RetransmissionLatency", true, Shown::Retransmission},
    {"Retransmissions failed", "FailedRetransmissionCount", false, Shown::Retransmission},
    {"Packets", "TotalPkts"},
    {"Lost", "DroppedFrameCount", false, Shown::Always, "DroppedUnicastFrameCount"},
};
constexpr Column kChangeColumns[] = {
    {"Change ms", "ChangeLatency", true},
    {"Gap ms", "GapLatency", true},
    {"Overlap ms", "OverlapLatency", true},
};
constexpr Column kPortColumns[] = {
    {"Packets", "TotalPkts"},
    {"Lost", "DroppedFrameCount"},
    {"Reordered", "ReorderedFrameCount"},
    {"Duplicate", "DuplicateFrameCount"},
    {"Late", "LateFrameCount"},
    {"Payload errors", "PrbsErrorCount"},
};

/// Whole numbers as such, others with one decimal.
std::string FormatNumber(double number) {
    return number == std::floor(number) ? fmt::format("{:.0f}", number) : fmt::format("{:.1f}", number);
}

std::string FormatCell(const ResultRow& row, const Column& column) {
    if (!column.is_range) {
        const double unicast = column.unicast_figure ? row.GetNumber(column.unicast_figure) : 0;
        return FormatNumber(row.GetNumber(column.figure) + unicast);
    }
    const std::string name = column.figure;
    const double max = row.GetNumber("Max" + name);
    if (max == 0) return "-";
    return fmt::format("{} / {} / {}", FormatNumber(row.GetNumber("Min" + name)),
                       FormatNumber(row.GetNumber("Avg" + name)), FormatNumber(max));
}

/// Percentiles are accurate to 1 %: three digits, but no less than a microsecond.
std::string FormatLatency(double ms) {
    if (ms == std::floor(ms) || ms >= 100) return fmt::format("{:.0f}", ms);
    return fmt::format("{:.{}f}", ms, ms >= 10 ? 1 : ms >= 1 ? 2 : 3);
}

bool IsShown(const TestReport& test, Shown shown) {
    switch (shown) {
        case Shown::Always:
            return true;
        case Shown::Unicast:
            return test.UsesUnicast();
        case Shown::Retransmission:
            return test.Retransmits();
    }
    return true;
}

template <class... Columns>
std::string MakeTable(const TestReport& test, std::size_t line_width, const std::string& title,
                      const std::vector<ResultRow>& rows, const Columns&... columns) {
    std::vector<Column> shown;
    const auto choose = [&](const auto& group) {
        std::copy_if(std::begin(group), std::end(group), std::back_inserter(shown),
                     [&test](const Column& column) { return IsShown(test, column.shown); });
    };
    (choose(columns), ...);
    std::vector<TextTable::Column> headers{{title, TextTable::Align::Left}};
    for (const Column& column : shown) headers.push_back({column.header, TextTable::Align::Right});
    TextTable table(std::move(headers));
    for (const ResultRow& row : rows) {
        std::vector<std::string> cells{MakePrintable(row.name)};
        for (const Column& column : shown) cells.push_back(FormatCell(row, column));
        table.AddRow(std::move(cells));
    }
    return table.ToString(line_width) + "\n";
}

std::string MakePercentileTable(const TestReport& test, std::size_t line_width) {
    if (test.distributions.empty()) return {};
    constexpr double Distribution::*kShownValues[] = {
        &Distribution::p50, &Distribution::p90, &Distribution::p95, &Distribution::p99, &Distribution::p999};
    std::vector<TextTable::Column> headers{{"Whole test, ms", TextTable::Align::Left}};
    for (const char* header : {"Values", "p50", "p90", "p95", "p99", "p99.9"})
        headers.push_back({header, TextTable::Align::Right});
    TextTable table(std::move(headers));
    for (const Distribution& distribution : test.distributions) {
        std::vector<std::string> cells{distribution.figure, std::to_string(distribution.count)};
        for (const auto value : kShownValues) cells.push_back(FormatLatency(distribution.*value));
        table.AddRow(std::move(cells));
    }
    return table.ToString(line_width) + "\n";
}

std::string MakeVerdictLine(const RunOutcome& outcome, const TestReport& test) {
    const std::string verdict = GetVerdict(outcome, test);
    if (verdict != "not finished") return verdict == "passed" ? "Verdict: PASSED\n" : "Verdict: FAILED\n";
    return fmt::format("Verdict: NOT FINISHED, {}{}\n", GetUnfinishedReason(outcome),
                       test.IsCutShort() ? fmt::format("; {} of {} s ran", FormatNumber(test.duration),
                                                       FormatNumber(test.configured_duration))
                                         : "");
}

std::string MakeExpectationTable(const RunOutcome& outcome, const TestReport& test, std::size_t line_width) {
    if (test.expectations.empty()) return {};
    TextTable table({{"Expectation", TextTable::Align::Left},
                     {"Measured", TextTable::Align::Right},
                     {"Result", TextTable::Align::Left}});
    for (const ExpectationResult& one : test.expectations) {
        const std::string verdict = GetVerdict(outcome, test, one);
        table.AddRow(
            {MakePrintable(one.text), one.DescribeMeasured(), verdict == "failed" ? "FAILED" : verdict});
    }
    return table.ToString(line_width) + "\n";
}

std::string MakeTestSummary(const RunOutcome& outcome, const TestReport& test, std::size_t line_width) {
    std::string text = fmt::format("Test \"{}\": {}, {}, {} s", MakePrintable(test.name), test.type,
                                   test.environment, FormatNumber(test.duration));
    constexpr std::string_view kLegend = "(latencies: least / mean / greatest)";
    const bool fits = CountCodePoints(text) + kLegendGap.size() + kLegend.size() <= line_width;
    text += fmt::format("{}{}\n\n", fits ? kLegendGap : "\n", kLegend);
    text += MakeTable(test, line_width, "Channel range", test.channel_ranges, kJoinColumns);
    text += MakeTable(test, line_width, "STB block", test.stb_blocks, kJoinColumns, kChangeColumns);
    text += MakeTable(test, line_width, "Viewing profile", test.profiles, kJoinColumns, kChangeColumns);
    text += MakeTable(test, line_width, "Port", test.ports, kPortColumns);
    text += MakePercentileTable(test, line_width);
    text += MakeExpectationTable(outcome, test, line_width);
    if (test.GetChannelChanges() == 0) {
        text += "No channel was viewed.\n";
    } else {
        text += fmt::format("{} failed joins in {} channel changes that joined, {:.2f} %; {} % may fail.\n",
                            FormatNumber(test.GetFailedJoins()), FormatNumber(test.GetNetChannelChanges()),
                            test.GetFailedPercent(), FormatNumber(test.join_fail_threshold));
    }
    text += MakeVerdictLine(outcome, test);
    const std::string expectations = DescribeExpectations(outcome, test);
    return expectations.empty() ? text : text + "Expectations: " + expectations + "\n";
}

/// What viewers did not get is what matters.
std::string DescribeRepairs(const nic::LiveFigures& figures) {
    const std::uint64_t repaired = std::min(figures.packets_repaired, figures.packets_missed);
    return fmt::format("lost {}, repaired {}, lost to viewers {}, with {} requests", figures.packets_missed,
                       repaired, figures.packets_missed - repaired, figures.nacks_sent);
}

std::string MakeLivePortLine(const RunOutcome& outcome, const LivePortReport& port) {
    const nic::LiveFigures& figures = port.figures;
    std::vector<std::string> parts;
    if (figures.joins_and_leaves > 0 || figures.unseen > 0) {
        parts.push_back(
            figures.unseen == 0
                ? fmt::format("{} joins and leaves, all seen leaving the interface", figures.joins_and_leaves)
                : fmt::format("{} joins and leaves seen leaving the interface, {} not seen: not "
                              "in the results",
                              figures.joins_and_leaves, figures.unseen));
        parts.push_back(fmt::format("latest {:.1f} ms after its time",
                                    std::chrono::duration<double, std::milli>(figures.latest_join).count()));
    }
    const auto add = [&parts](std::uint64_t count, const char* what) {
        if (count > 0) parts.push_back(fmt::format("{} {}", count, what));
    };
    add(figures.late_joins, "more than 1 ms late");
    if (HasBurstFigures(outcome, port)) {
        parts.push_back(fmt::format("{} bursts requested, {} refused, {} not answered",
                                    figures.bursts_requested, figures.bursts_refused,
                                    figures.bursts_unanswered));
    }
    if (HasRetransmissionFigures(outcome, port)) parts.push_back(DescribeRepairs(figures));
    add(figures.stream_packets_sent, "stream packets sent");
    add(figures.stream_packets_unsent, "stream packets not sent");
    add(figures.frames_unsent, "frames of hosts not sent");
    add(figures.frames_dropped, "received frames dropped");
    if (parts.empty()) parts.push_back("no joins and leaves");
    return fmt::format("Port {} on {}: {}\n", MakePrintable(port.name), port.interface,
                       fmt::join(parts, "; "));
}

/// "Device Homes, DHCPv4: 998 of 1000 hosts bound in 5.100 s, each in 0.012 to 1.508 s, mean 0.213 s, 99 %
/// within 1.200 s; 1000 leases renewed; 2 hosts without an address: no offer (host 3)"
std::string MakeAddressLine(const AddressReport& report) {
    std::string text = fmt::format("Device {}, {}: {} of {} hosts bound", MakePrintable(report.device),
                                   report.protocol, report.CountBound(), report.host_count);
    if (const auto times = report.GetTimesToBind())
        text += fmt::format(" in {:.3f} s, each in {:.3f} to {:.3f} s, mean {:.3f} s, 99 % within {:.3f} s",
                            static_cast<double>(report.counts.all_bind_nsec) / 1e9, times->min, times->max,
                            times->mean, times->p99);
    for (const auto& [count, what] : {std::pair(report.counts.repeated, "messages repeated"),
                                      {report.counts.refused, "refused"},
                                      {report.counts.conflicts, "addresses in use by others"},
                                      {report.counts.renewed, "leases renewed"},
                                      {report.counts.rebound, "leases rebound"},
                                      {report.counts.changed, "addresses changed"},
                                      {report.counts.lost, "addresses lost"}})
        if (count > 0) text += fmt::format("; {} {}", count, what);
    for (const AddressReport::Failure& failure : report.GetFailures())
        text += fmt::format("; {} without an address: {} (host {})", failure.hosts,
                            MakePrintable(failure.why), failure.first);
    return text + "\n";
}

/// "Agent lounge (0.1.0): starts aligned, exact to 0.051 ms; began up to 0.300 ms late"
std::string MakeAgentLine(const RunOutcome& outcome, const AgentReport& agent) {
    const auto ms = [](std::chrono::nanoseconds time) {
        return std::chrono::duration<double, std::milli>(time).count();
    };
    std::string text = fmt::format("Agent {} ({})", agent.name, MakePrintable(agent.version));
    if (!outcome.is_virtual_clock)
        text += fmt::format(": starts aligned, exact to {:.3f} ms", ms(agent.clock_uncertainty));
    if (agent.latest_start.count() > 0)
        text += fmt::format("; began up to {:.3f} ms late", ms(agent.latest_start));
    return text + "\n";
}

}  // namespace

std::string MakeSummary(const RunOutcome& outcome, std::size_t line_width) {
    std::string text;
    if (!outcome.title.empty()) text += MakePrintable(outcome.title) + "\n\n";
    for (const TestReport& test : outcome.tests) text += MakeTestSummary(outcome, test, line_width) + "\n";
    if (const auto& test = outcome.unfinished_test) {
        text += fmt::format("Test \"{}\"\nVerdict: NOT FINISHED, {}; {} of {} s ran\n\n",
                            MakePrintable(test->name), GetUnfinishedReason(outcome),
                            FormatNumber(test->elapsed), FormatNumber(test->configured_duration));
    }
    text += MakeSweepSummary(outcome, line_width);
    for (const AddressReport& report : outcome.addressing) text += MakeAddressLine(report);
    for (const LivePortReport& port : outcome.live_ports) text += MakeLivePortLine(outcome, port);
    for (const AgentReport& agent : outcome.agents) text += MakeAgentLine(outcome, agent);
    if (!outcome.database.empty()) text += fmt::format("Results: {}\n", MakePrintable(outcome.database));
    if (outcome.end == RunEnd::Failure || outcome.end == RunEnd::Interrupted) {
        const std::size_t count = outcome.errors.size();
        text += fmt::format("The run ended with: {}{}\n", GetRunEndName(outcome.end),
                            count == 0 ? "" : fmt::format(" ({} error{})", count, count == 1 ? "" : "s"));
    }
    return text;
}

}  // namespace orv::app
