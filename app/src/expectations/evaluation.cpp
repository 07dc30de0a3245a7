#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>

#include "expectation.h"
#include "run/report_of_test.h"

namespace orv::app {

namespace {

/// The rows whose counts are added: those of all STB blocks for the test, as its verdict counts.
std::vector<const ResultRow*> FindRows(const Expectation& expectation, const TestReport& report) {
    std::vector<const ResultRow*> rows;
    const Subject& subject = *expectation.subject;
    for (const ResultRow& row : subject.IsTest() ? report.stb_blocks : report.*subject.rows) {
        if (subject.IsTest() || row.name == expectation.name) rows.push_back(&row);
    }
    return rows;
}

/// Nothing if the results have no such figure.
std::optional<double> Sum(const std::vector<const ResultRow*>& rows, const Count& count) {
    std::optional<double> sum;
    for (const ResultRow* row : rows) {
        for (const char* property : count.properties) {
            const auto number = property ? row->FindNumber(property) : std::nullopt;
            if (number) sum = sum.value_or(0) + *number;
        }
    }
    return sum;
}

/// What was sent, as far as it is known: packets that were received or lost.
double CountPackets(const std::vector<const ResultRow*>& rows) {
    double packets = 0;
    for (const Count& one : GetCounts()) {
        if (one.name == std::string_view("packets") || one.name == std::string_view("lost"))
            packets += Sum(rows, one).value_or(0);
    }
    return packets;
}

std::optional<double> MeasureShare(const std::vector<const ResultRow*>& rows, const Count& count) {
    if (count.share == Count::Share::OfJoins) {
        JoinCounts joins;
        for (const ResultRow* row : rows) joins += row->GetJoins();
        return joins.GetFailedPercent();
    }
    const double packets = CountPackets(rows);
    const auto counted = Sum(rows, count);
    return counted && packets > 0 ? std::optional(*counted * 100 / packets) : std::nullopt;
}

std::optional<double> MeasureLatency(const Expectation& expectation, const TestReport& report,
                                     const std::vector<const ResultRow*>& rows) {
    const std::vector<Distribution>* distributions = nullptr;
    if (expectation.subject->IsTest())
        distributions = &report.distributions;
    else if (!rows.empty())
        distributions = &rows.front()->distributions;
    if (!distributions) return std::nullopt;
    const auto found = std::ranges::find(*distributions, expectation.latency, &Distribution::figure);
    if (found == distributions->end() || found->count == 0) return std::nullopt;
    return expectation.unit->Convert((*found).*expectation.statistic->value);
}

}  // namespace

ExpectationResult Evaluate(const Expectation& expectation, const TestReport& report) {
    ExpectationResult result;
    result.text = expectation.text;
    const std::vector<const ResultRow*> rows = FindRows(expectation, report);
    if (!expectation.count) {
        result.unit = expectation.unit->name;
        result.measured = MeasureLatency(expectation, report, rows);
    } else if (expectation.is_percentage) {
        result.unit = "%";
        result.measured = MeasureShare(rows, *expectation.count);
    } else if (expectation.count->share != Count::Share::OfPackets || CountPackets(rows) > 0) {
        // Of no packets none can be lost: a dead network must not pass.
        result.measured = Sum(rows, *expectation.count);
    }
    result.met = result.measured && expectation.comparison->holds(*result.measured, expectation.bound);
    return result;
}

std::string ExpectationResult::DescribeMeasured() const {
    if (!measured) return "not measured";
    const bool is_whole = *measured == std::floor(*measured);
    return fmt::format(fmt::runtime(is_whole ? "{:.0f}{}{}" : "{:.6g}{}{}"), *measured,
                       unit.empty() ? "" : " ", unit);
}

}  // namespace orv::app
