#include "run_outcome.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::app {

namespace {

bool HasViewers(const nic::LiveFigures& figures) {
    return figures.joins_and_leaves + figures.unseen > 0;
}

/// A run with errors passes nothing, and a part of a test decides nothing.
const char* DecideVerdict(const RunOutcome& outcome, const TestReport& test, bool passed) {
    const bool is_good_run = outcome.end != RunEnd::Failure && outcome.end != RunEnd::Interrupted;
    if (!is_good_run && (passed || test.IsCutShort())) return "not finished";
    return passed ? "passed" : "failed";
}

}  // namespace

const char* GetRunEndName(RunEnd end) {
    switch (end) {
        case RunEnd::Passed:
            return "passed";
        case RunEnd::Failed:
            return "failed";
        case RunEnd::BadInput:
            return "bad input";
        case RunEnd::Failure:
            return "run-time failure";
        case RunEnd::Interrupted:
            return "interrupted";
    }
    return "";
}

const char* GetPortKindName(PortKind kind) {
    switch (kind) {
        case PortKind::Simulated:
            return "simulated";
        case PortKind::Live:
            return "live";
        case PortKind::Recording:
            return "recording";
    }
    return "";
}

bool HasBurstFigures(const RunOutcome& outcome, const LivePortReport& port) {
    const nic::LiveFigures& figures = port.figures;
    if (figures.bursts_requested + figures.bursts_refused + figures.bursts_unanswered > 0) return true;
    return HasViewers(figures) && std::ranges::any_of(outcome.tests, &TestReport::UsesUnicast);
}

bool HasRetransmissionFigures(const RunOutcome& outcome, const LivePortReport& port) {
    const nic::LiveFigures& figures = port.figures;
    if (figures.nacks_sent + figures.packets_missed + figures.packets_repaired > 0) return true;
    return HasViewers(figures) && std::ranges::any_of(outcome.tests, &TestReport::Retransmits);
}

std::string GetUnfinishedReason(const RunOutcome& outcome) {
    if (outcome.end == RunEnd::Interrupted) return "the run was interrupted";
    if (outcome.end != RunEnd::Failure) return {};
    const std::size_t count = outcome.errors.size();
    return fmt::format("the run had {} error{}", count, count == 1 ? "" : "s");
}

std::string DescribeValues(const std::vector<std::string>& properties,
                           const std::vector<std::string>& values) {
    std::string text;
    for (std::size_t i = 0; i < properties.size(); ++i)
        text += fmt::format("{}{}={}", i == 0 ? "" : ", ", properties[i], values.at(i));
    return text;
}

const char* GetVerdict(const RunOutcome& outcome, const TestReport& test) {
    return DecideVerdict(outcome, test, test.passed);
}

const char* GetVerdict(const RunOutcome& outcome, const TestReport& test,
                       const ExpectationResult& expectation) {
    return DecideVerdict(outcome, test, expectation.met);
}

std::string DescribeExpectations(const RunOutcome& outcome, const TestReport& test) {
    if (test.expectations.empty()) return {};
    const auto has = [&](const std::string& verdict) {
        return std::ranges::any_of(test.expectations, [&](const ExpectationResult& one) {
            return GetVerdict(outcome, test, one) == verdict;
        });
    };
    const bool is_open = has("not finished");
    return fmt::format("{}, {} of {} met{}",
                       has("failed") ? "FAILED"
                       : is_open     ? "NOT FINISHED"
                                     : "PASSED",
                       std::ranges::count(test.expectations, true, &ExpectationResult::met),
                       test.expectations.size(), is_open ? " so far" : "");
}

}  // namespace orv::app
