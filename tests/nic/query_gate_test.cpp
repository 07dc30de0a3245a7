#include "query_gate.h"

#include <gtest/gtest.h>

namespace {

using orv::live::MembershipVersion;

TEST(QueryGate, LetsPassWhatSaysMoreThanTheOneBefore) {
    const struct {
        int time_ms;
        MembershipVersion version;
        int response_ms;
        bool passes;
    } steps[] = {
        {0, MembershipVersion::Igmp3, 1000, true},
        {1, MembershipVersion::Igmp3, 1000, false},
        {2, MembershipVersion::Igmp3, 9000, false},
        {3, MembershipVersion::Igmp3, 900, true},
        {52, MembershipVersion::Igmp3, 1000, false},
        {53, MembershipVersion::Igmp3, 1000, true},
        {54, MembershipVersion::Igmp2, 1000, true},
        // As often as 20 times a second in the long run, and five times at once.
        {2000, MembershipVersion::Igmp3, 90, true},
        {2000, MembershipVersion::Igmp3, 80, true},
        {2000, MembershipVersion::Igmp3, 70, true},
        {2000, MembershipVersion::Igmp3, 60, true},
        {2000, MembershipVersion::Igmp3, 50, true},
        {2000, MembershipVersion::Igmp3, 40, false},
        {2049, MembershipVersion::Igmp3, 30, false},
        {2050, MembershipVersion::Igmp3, 20, true},
    };
    orv::nic::QueryGate gate;
    for (const auto& step : steps) {
        orv::live::MembershipQuery query;
        query.version = step.version;
        query.max_response_time = std::chrono::milliseconds(step.response_ms);
        EXPECT_EQ(step.passes, gate.lets_pass(query, step.time_ms * orv::il::kMillisecond))
            << step.time_ms << " ms, response time " << step.response_ms << " ms";
    }
}

}  // namespace
