// The texts that host and plug-in log during a run.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "orv/framework/logger.h"

namespace orv::app {

/// Collects log texts as long as it exists. Errors are kept, because a run with errors has failed, whatever
/// its verdict. Each error or warning is kept, and passed on to the listener, once: loggers write the same
/// text for developers and users, and objects that pass an error on add their names in front. Thread-safe.
class RunLog {
  public:
    using Listener = std::function<void(const framework::LogRecord&)>;

    explicit RunLog(Listener listener);
    ~RunLog();
    RunLog(const RunLog&) = delete;
    RunLog& operator=(const RunLog&) = delete;

    /// Whether a record is kept.
    static bool IsError(const framework::LogRecord& record);
    /// An error of the program itself.
    void AddError(const std::string& text);
    /// An error with the prefixes of the objects that passed it on: "Loop: Start: no port".
    void AddPassedOn(const std::string& text);
    std::vector<std::string> GetErrors() const;

  private:
    /// The texts of one level.
    struct Texts {
        std::unordered_set<std::string> whole;
        std::unordered_set<std::string> ends;  ///< of all in `whole`, without prefixes
    };
    enum class Origin { Any, PassedOn };

    void Take(framework::LogRecord record, Origin origin = Origin::Any);
    /// An apply's list of faults, each of which was reported when the port responded.
    bool IsRepeatedApply(const std::string& text) const;
    /// False if it is already known.
    static bool Keep(Texts& texts, const std::string& text, Origin origin);

    mutable std::mutex mutex_;
    std::vector<std::string> errors_;
    Texts known_errors_, known_warnings_;
    Listener listener_;
    int id_;
};

}  // namespace orv::app
