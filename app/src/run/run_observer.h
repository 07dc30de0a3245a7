// Observer of a run.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "orv/framework/logger.h"
#include "report_of_test.h"

namespace orv::app {

struct RunProgress {
    std::string test;  ///< name of the test that runs; empty between tests
    std::chrono::nanoseconds elapsed{};
    std::chrono::nanoseconds duration{};
    LiveFigures figures;
};

/// Called under the task lock; must not take long.
class IRunObserver {
  public:
    virtual ~IRunObserver() = default;
    virtual void OnTestBegins(const std::string& test, std::chrono::nanoseconds duration) = 0;
    /// Its results are final.
    virtual void OnTestEnds() {}
    /// The tests that follow are those of this iteration of a sweep, from 1. Not under the task lock.
    virtual void OnIterationBegins(std::size_t) {}
    /// True while the observer shows figures; otherwise they are not looked up.
    virtual bool WantsProgress() = 0;
    virtual void OnProgress(const RunProgress& progress) = 0;
    /// A message for users: "the test ends in order".
    virtual void OnNote(const std::string& text) = 0;
    /// On any thread.
    virtual void OnLog(const framework::LogRecord& record) = 0;
    /// Number of the user's requests to stop.
    virtual int GetInterrupts() const = 0;
};

}  // namespace orv::app
