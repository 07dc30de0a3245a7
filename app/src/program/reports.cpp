#include "reports.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <utility>

#include "output/outcome_json.h"
#include "output/printable.h"
#include "output/summary.h"
#include "report/report_command.h"
#include "terminal.h"

namespace orv::app {

void AddError(RunOutcome& outcome, const std::string& text) {
    PrintError(text);
    outcome.errors.push_back(text);
    if (outcome.end == RunEnd::Passed || outcome.end == RunEnd::Failed) outcome.end = RunEnd::Failure;
}

namespace {

/// A mistake may be found in a later iteration only.
bool HasIterations(const RunOutcome& outcome) {
    return outcome.sweep && !outcome.sweep->iterations.empty();
}

}  // namespace

void PrintError(const std::string& text) {
    std::cerr << "iptvtest: " << MakePrintable(text) << '\n';
}

Reports::Reports(const Arguments& arguments) : json_(arguments.json), quiet_(arguments.quiet) {}

void Reports::SetFiles(std::filesystem::path junit, std::filesystem::path page) {
    const std::lock_guard guard(mutex_);
    junit_ = std::move(junit);
    page_ = std::move(page);
}

int Reports::Write(RunOutcome outcome, const Store& store) {
    const std::lock_guard guard(mutex_);
    if (status_) return *status_;
    const auto store_outcome = [&] {
        if (store) store(outcome);
    };
    if (!store && !page_.empty()) WriteNoticeOfBreakOff(page_);
    store_outcome();
    if (!junit_.empty() && !WriteJUnit(outcome)) store_outcome();
    // Last, because it reports errors of the others, and they report its errors.
    if (!WriteStandardOutput(outcome)) {
        if (!junit_.empty()) WriteJUnit(outcome);
        store_outcome();
    }
    status_ = static_cast<int>(outcome.end);
    return *status_;
}

bool Reports::WriteJUnit(RunOutcome& outcome) const {
    errno = 0;
    std::ofstream file(junit_);
    file << MakeJUnitXml(outcome);
    file.close();
    if (file) return true;
    AddError(outcome,
             fmt::format("--junit: {} cannot be written: {}", junit_.string(), std::strerror(errno)));
    return false;
}

bool Reports::WriteStandardOutput(RunOutcome& outcome) const {
    errno = 0;
    if (json_) {
        std::cout << MakeOutcomeJson(outcome);
    } else if (!quiet_ && (outcome.end != RunEnd::BadInput || HasIterations(outcome))) {
        constexpr std::size_t kAny = std::numeric_limits<std::size_t>::max();
        std::cout << MakeSummary(outcome, GetTerminalWidth(STDOUT_FILENO).value_or(kAny));
    }
    std::cout.flush();
    if (std::cout) return true;
    AddError(outcome, fmt::format("the output cannot be written: {}", std::strerror(errno)));
    return false;
}

int PrintJson(const RunOutcome& outcome) {
    std::cout << MakeOutcomeJson(outcome);
    return static_cast<int>(outcome.end);
}

}  // namespace orv::app
