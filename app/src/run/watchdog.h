// Supervises the tests of a running sequence.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "known_outcome.h"
#include "laboratory.h"
#include "orv/framework/command.h"
#include "run_log.h"
#include "run_observer.h"
#include "test_file/expect_section.h"

namespace orv::app {

/// Detects when tests begin and end, and takes their reports. Ends tests that are long overdue or that a user
/// interrupts, and cuts ports that do not report the end of their test. Driven by a timer of the task
/// manager.
class Watchdog {
  public:
    /// All arguments must outlive it. Each test is to meet the expectations.
    Watchdog(Laboratory& laboratory, RunLog& log, IRunObserver& observer, KnownOutcome& known,
             const Expectations& expectations);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    bool IsTestUnderWay() const { return running_.has_value(); }
    bool IsInterrupted() const { return interrupted_; }
    std::vector<TestReport> TakeReports() { return std::move(reports_); }

  private:
    using Nanoseconds = std::chrono::nanoseconds;
    /// Escalation for a test that does not end.
    enum class Effort { None, Stopped, MutePortsCut };
    struct Running {
        std::uint32_t command = 0;  ///< handle
        std::uint32_t block =
            0;  ///< handle of the first STB block: its start is disabled while the test runs
        std::string name;
        Nanoseconds started{};
        Nanoseconds duration{};
        Effort effort = Effort::None;
        Nanoseconds next_effort_at{};
        std::optional<Nanoseconds> stopped{};  ///< when it was told to stop
        bool has_report = false;
    };

    void OnCommandState(framework::CScriptable* command, framework::PropId);
    void OnVerdict(framework::CScriptable* results, framework::PropId);
    void OnTick();
    void LookForEnd();
    void LookForInterrupt();
    void LookForRefusal();
    void LookForOverdue();
    void Stop();
    void CutMutePorts();
    void ShowProgress();
    double GetSecondsRun() const;

    Laboratory& laboratory_;
    RunLog& log_;
    IRunObserver& observer_;
    KnownOutcome& known_;
    const Expectations& expectations_;
    std::vector<std::uint32_t> start_commands_;  ///< handles
    std::uint32_t results_ = 0;                  ///< handle of the test results that are listened to
    std::optional<Running> running_;
    bool interrupted_ = false;
    std::vector<TestReport> reports_;
    std::uint64_t timer_ = 0;
};

}  // namespace orv::app
