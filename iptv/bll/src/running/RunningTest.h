// The running test, as far as the configuration has to know it.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "running/TestKind.h"

namespace orv::iptv {

/// Handles of STB blocks, in order, by the handle of their port.
using StbPortMap = std::map<std::uint32_t, std::vector<std::uint32_t>>;

/// What the kind of a test demands of the configuration.
struct TestRules {
    /// STBs receive unicast as well: the apply sends the servers and UDP ports of STB blocks, and their
    /// validator checks the ports.
    bool fcc_check = false;
    /// Unicast is left after a delay, which the validator of viewing profiles does not allow to be 0.
    bool trigger_delay_check = false;

    /// `unicast_leave_trigger`: one of ids::UnicastLeaveTrigger.
    static TestRules Of(const TestKind& kind, std::uint8_t unicast_leave_trigger);
};

/// Whether a test runs, who takes part in it, and the rules that hold for its configuration. The only place
/// that changes them; CIptvStbBlockConfig and CIptvViewingProfileConfig show participants and rules to
/// those who read them. Used under the task lock.
class RunningTest {
  public:
    static bool IsRunning() { return is_running_; }
    static void SetRunning(bool running) { is_running_ = running; }

    /// The STB blocks that a test was started with last. They stay known when it has ended.
    static constexpr const StbPortMap& GetParticipants() { return participants_; }
    static void SetParticipants(StbPortMap participants);

    /// Those of the test that was validated last, whether it was started or not. Every apply and validation
    /// goes by them until the next start command is validated.
    static constexpr const TestRules& GetRules() { return rules_; }
    static void SetRules(const TestRules& rules) { rules_ = rules; }

  private:
    static bool is_running_;
    static StbPortMap participants_;
    static TestRules rules_;
};

}  // namespace orv::iptv
