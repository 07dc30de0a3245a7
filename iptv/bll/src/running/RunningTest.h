// The part of a running test's state that the configuration needs.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "running/TestKind.h"

namespace orv::iptv {

/// Handles of STB blocks, in order, by port handle.
using StbPortMap = std::map<std::uint32_t, std::vector<std::uint32_t>>;

/// Rules for the configuration that depend on the kind of test.
struct TestRules {
    /// STBs receive unicast as well: the apply sends the servers and UDP ports of STB blocks, and their
    /// validator checks the ports.
    bool fcc_check = false;
    /// Unicast is left after a delay; the validator of viewing profiles rejects a delay of 0.
    bool trigger_delay_check = false;

    /// `unicast_leave_trigger`: one of ids::UnicastLeaveTrigger.
    static TestRules Of(const TestKind& kind, std::uint8_t unicast_leave_trigger);
};

/// Whether a test runs, its participants, and the rules for its configuration. They are changed only here;
/// CIptvStbBlockConfig and CIptvViewingProfileConfig give read access to participants and rules. Used under
/// the task lock.
class RunningTest {
  public:
    static bool IsRunning() { return is_running_; }
    static void SetRunning(bool running) { is_running_ = running; }

    /// The STB blocks of the test started last; kept after its end.
    static constexpr const StbPortMap& GetParticipants() { return participants_; }
    static void SetParticipants(StbPortMap participants);

    /// The rules of the test validated last, whether it was started or not. They apply until the next start
    /// command is validated.
    static constexpr const TestRules& GetRules() { return rules_; }
    static void SetRules(const TestRules& rules) { rules_ = rules; }

  private:
    static bool is_running_;
    static StbPortMap participants_;
    static TestRules rules_;
};

}  // namespace orv::iptv
