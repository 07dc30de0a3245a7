// What a user sees of a run while it is in progress.
#pragma once

#include <chrono>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>

#include "run/run_observer.h"

namespace orv::app {

/// Shows progress as a bar that is redrawn in place, or as occasional lines if there is no terminal, and log
/// texts above it. Everything goes to one stream.
class Console : public IRunObserver {
  public:
    enum class Progress { None, Lines, Bar };
    struct Options {
        Progress progress = Progress::Lines;
        int width = 80;                                ///< of the terminal, characters
        std::optional<framework::LogLevelType> level;  ///< lowest level shown; none: nothing is shown
        bool notes = true;
        int (*get_interrupts)() = nullptr;
    };

    Console(std::ostream& out, const Options& options) : out_(out), options_(options) {}
    /// Removes the bar.
    ~Console() override;

    void OnTestBegins(const std::string& test, std::chrono::nanoseconds duration) override;
    bool WantsProgress() override;
    void OnProgress(const RunProgress& progress) override;
    void OnNote(const std::string& text) override;
    void OnLog(const framework::LogRecord& record) override;
    int GetInterrupts() const override { return options_.get_interrupts ? options_.get_interrupts() : 0; }

  private:
    using Clock = std::chrono::steady_clock;

    void Print(const std::string& line);
    void EraseBar();
    void DrawBar(const RunProgress& progress);

    std::mutex mutex_;
    std::ostream& out_;
    const Options options_;
    Clock::time_point shown_{};

    bool has_bar_ = false;
};

/// Order of severity, from 0 (debug) on.
int GetSeverity(framework::LogLevelType level);

}  // namespace orv::app
