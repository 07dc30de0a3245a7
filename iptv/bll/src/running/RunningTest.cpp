#include "running/RunningTest.h"

#include <utility>

#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

bool RunningTest::is_running_ = false;
StbPortMap RunningTest::participants_;
TestRules RunningTest::rules_;

TestRules TestRules::Of(const TestKind& kind, std::uint8_t unicast_leave_trigger) {
    return {.fcc_check = kind.HasUnicast(),
            .trigger_delay_check = kind.HasUnicast() &&
                                   unicast_leave_trigger == ids::UnicastLeaveTrigger::UNICAST_JOIN_AND_DELAY};
}

void RunningTest::SetParticipants(StbPortMap participants) {
    participants_ = std::move(participants);
}

}  // namespace orv::iptv
