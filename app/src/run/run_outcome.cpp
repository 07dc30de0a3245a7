#include "run_outcome.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::app {

namespace {

bool HasViewers(const nic::LiveFigures& figures) {
    return figures.joins_and_leaves + figures.unseen > 0;
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

const char* GetVerdict(const RunOutcome& outcome, const TestReport& test) {
    const bool is_good_run = outcome.end != RunEnd::Failure && outcome.end != RunEnd::Interrupted;
    if (!is_good_run && (test.passed || test.IsCutShort())) return "not finished";
    return test.passed ? "passed" : "failed";
}

}  // namespace orv::app
