#include "run_outcome.h"

#include <fmt/format.h>

namespace orv::app {

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
