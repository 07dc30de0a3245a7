// The texts that host and plug-in log during a run.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "orv/framework/logger.h"

namespace orv::app {

/// Listens for its life. Errors are kept: a run with errors has failed, whatever its verdict. A text is kept
/// once: loggers tell the same to developers and users, and whoever passes an error on puts his name before
/// it. Thread-safe.
class RunLog {
  public:
    using Listener = std::function<void(const framework::LogRecord&)>;

    explicit RunLog(Listener listener);
    ~RunLog();
    RunLog(const RunLog&) = delete;
    RunLog& operator=(const RunLog&) = delete;

    /// An error of the program's own.
    void AddError(const std::string& text);
    std::vector<std::string> GetErrors() const;

  private:
    void Keep(const std::string& text);

    mutable std::mutex mutex_;
    std::vector<std::string> errors_;
    Listener listener_;
    int id_;
};

}  // namespace orv::app
