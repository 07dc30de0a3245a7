// Starts and ends a port's tests, and reports while they run.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "connection.h"
#include "orv/il/recording.h"
#include "orv/il/timeline.h"
#include "result_report.h"
#include "test_run.h"

namespace orv::il {

/// Between two wake-ups nothing happens: what the STBs did meanwhile is worked off at once.
class TestControl {
  public:
    TestControl(std::string port, const Network& network, ITimeline& timeline, FaultInjector& faults,
                Connection& connection, std::optional<Recordings> recordings);
    /// Nothing of the timeline's calls it any more.
    ~TestControl();
    TestControl(const TestControl&) = delete;
    TestControl& operator=(const TestControl&) = delete;

    /// Throws PortFault when a test is running, or cannot be planned.
    void start(const PortConfiguration& configuration, std::uint32_t config_handle,
               const std::vector<std::uint32_t>& stb_blocks, std::uint32_t start_delay_step);
    /// Ends, reports and announces the end of a running test. Announces an end that was kept quiet on
    /// purpose.
    void stop();
    /// Calls `change`, which changes what is sent.
    void channels_change(const std::function<void()>& change);
    /// Ends a running test without a word, and all registrations.
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
    void cancel_wake();
    void on_wake(Time time);
    void end_test(Time time);
    void announce_end();
    void send_end_of_test();
    void send_results(const ResultReport::Blocks& blocks);

    std::string port_;
    const Network& network_;
    ITimeline& timeline_;
    FaultInjector& faults_;
    Connection& connection_;
    const std::optional<Recordings> recordings_;
    TickCounter counter_;
    ResultReport report_;
    std::optional<Registration> results_;
    std::optional<Registration> end_of_test_;
    std::unique_ptr<Run> run_;
    std::uint64_t runs_ = 0;   ///< started
    bool end_missed_ = false;  ///< the last test ended without a word
    Time next_report_ = kNever;
    std::uint64_t wake_ = 0;  ///< id of the timeline; 0: none
    std::vector<std::uint64_t> late_ends_;
};

}  // namespace orv::il
