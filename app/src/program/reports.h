// What a run reports to its caller.
#pragma once

#include <filesystem>
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

    /// Where to write the JUnit report; before that, or for an empty path, none is written.
    void SetJUnit(std::filesystem::path junit);

    /// Returns the exit status. Called again, also by another thread, it waits for the first call to end,
    /// writes nothing and returns the status already reported.
    int Write(RunOutcome outcome);

  private:
    /// False, with an error in the outcome, when the file cannot be written.
    bool WriteJUnit(RunOutcome& outcome) const;
    bool WriteStandardOutput(RunOutcome& outcome) const;

    const bool json_;
    const bool quiet_;
    std::filesystem::path junit_;
    std::mutex mutex_;
    std::optional<int> status_;
};

/// Prints an outcome as JSON; when that fails, says so. Returns the exit status.
int PrintJson(const RunOutcome& outcome);

/// On standard error, with control characters made visible.
void PrintError(const std::string& text);

}  // namespace orv::app
