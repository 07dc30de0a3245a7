// What a run reports to its caller.
#pragma once

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>

#include "arguments.h"
#include "run/run_outcome.h"

namespace orv::app {

/// Writes the JUnit report, and then the JSON object or the summary to standard output, once: when the run
/// has ended, or when it is aborted. A report that cannot be written is an error of the outcome, so that
/// all of them and the exit status say the same.
class Reports {
  public:
    explicit Reports(const Arguments& arguments);

    /// Where to write the JUnit report and the page; before that, or for an empty path, none is written.
    void SetFiles(std::filesystem::path junit, std::filesystem::path page);

    /// What stores an outcome elsewhere; it may add errors to it.
    using Store = std::function<void(RunOutcome&)>;

    /// `store` is called before the others, and again when one of them cannot be written. Without it the run
    /// is ended at once, which is all that the page says then. Returns the exit
    /// status. Called again, also by another thread, it waits for the first call to end,
    /// writes nothing and returns the status already reported.
    int Write(RunOutcome outcome, const Store& store = {});

  private:
    /// False, with an error in the outcome, when the file cannot be written.
    bool WriteJUnit(RunOutcome& outcome) const;
    bool WriteStandardOutput(RunOutcome& outcome) const;

    const bool json_;
    const bool quiet_;
    std::filesystem::path junit_;
    std::filesystem::path page_;
    std::mutex mutex_;
    std::optional<int> status_;
};

/// Prints an outcome as JSON; when that fails, says so. Returns the exit status.
int PrintJson(const RunOutcome& outcome);

/// An error of a report: the run did not finish normally, unless that is known already. Printed, too.
void AddError(RunOutcome& outcome, const std::string& text);

/// On standard error, with control characters made visible.
void PrintError(const std::string& text);

}  // namespace orv::app
