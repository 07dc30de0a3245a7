// Starts and ends a port's tests, and reports while they run.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "connection.h"
#include "late_messages.h"
#include "orv/il/result_report.h"
#include "orv/il/run_pool.h"
#include "orv/il/timeline.h"
#include "orv/il/world.h"

namespace orv::il {

/// Polls the run at each wake-up: for the next notification, at the end, and after the end as long as
/// the run has something left to record. Only then the end is announced.
class RunControl : private RunPool::Member {
  public:
    /// All arguments must outlive the object. `pool` may be null.
    RunControl(World& world, ITimeline& timeline, FaultInjector& faults, Connection& connection,
               RunPool* pool);
    /// Cancels its timers.
    ~RunControl() override;
    RunControl(const RunControl&) = delete;
    RunControl& operator=(const RunControl&) = delete;

    /// Throws PortFault when a test is running or ending, or cannot be planned.
    void start(const PortConfiguration& configuration, const TestStart& test);
    /// Ends a running test, reports, and announces the end. A test that is ending continues to end. Announces
    /// an end that a fault suppressed.
    void stop();
    /// Calls `change`, which changes the channels that are sent.
    void channels_change(const std::function<void()>& change);
    /// Ends a running test without notification, and all registrations.
    void abandon();

    struct Registration {
        std::uint32_t interval_ms = 0;
        bool discard_eligible = false;  ///< notifications like their registration
    };
    void register_results(Registration registration, std::set<std::uint32_t> stb_blocks);
    void deregister_results();
    void register_end_of_test(Registration registration) { end_of_test_ = registration; }
    void deregister_end_of_test() { end_of_test_.reset(); }

  private:
    Time now() const { return timeline_.GetNow().count(); }
    void wake_next();
    void wake_at(Time time, void (RunControl::*work)(Time));
    void cancel_wake();
    void on_wake(Time time);
    Time due() const override { return due_; }
    void process() noexcept override;
    std::size_t expected_views() const override { return last_views_; }
    void send_processed();
    void end_test(Time time);
    void on_wake_ending(Time time);
    void finish(Time time);
    void announce_end();
    void send_end_of_test();
    void send_results(const ResultReport::Blocks& blocks);

    World& world_;
    ITimeline& timeline_;
    FaultInjector& faults_;
    Connection& connection_;
    RunPool* const pool_;
    ResultReport report_;
    std::optional<Registration> results_;
    std::optional<Registration> end_of_test_;
    std::unique_ptr<Run> run_;
    bool is_ending_ = false;   ///< the run has ended, but records are pending
    bool end_missed_ = false;  ///< the last test ended without notification
    Time next_report_ = kNever;
    std::uint64_t wake_ = 0;  ///< id of the timeline; 0: none
    Time due_ = kNever;       ///< when the run is to be processed
    bool is_processing_ = false;
    std::vector<std::vector<std::byte>> processed_;  ///< notifications that process() made
    std::exception_ptr failure_;                     ///< of process()
    std::size_t last_views_ = 0;                     ///< that the last process() ended
    LateMessages late_ends_;
};

}  // namespace orv::il
