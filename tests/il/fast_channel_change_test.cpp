// Channel changes with a unicast burst before the multicast stream.
#include <gtest/gtest.h>

#include <cmath>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using JoinTrigger = MulticastJoinTriggerType;
using LeaveTrigger = UnicastLeaveTriggerType;
constexpr auto kAfterSbit = JoinTrigger::SBIT_AND_DELAY, kAfterJoin = JoinTrigger::UNICAST_JOIN_AND_DELAY;
constexpr auto kByPacket = LeaveTrigger::MULTICAST_PKT_AND_DELAY,
               kByJoin = LeaveTrigger::UNICAST_JOIN_AND_DELAY;

/// Burst from 11 ms after the unicast join on, S-bit from 211 ms on.
Scenario FastChange(JoinTrigger join = kAfterJoin, LeaveTrigger leave = kByJoin) {
    Scenario scenario;
    scenario.test.test_type = TestType::FAST_CHANNEL_CHANGE;
    scenario.test.min_sbit_delay = scenario.test.max_sbit_delay = 200;
    scenario.test.mcast_join_trigger = join;
    scenario.test.unicast_leave_trigger = leave;
    scenario.profile.mcast_join_trigger_delay = 50;
    scenario.profile.unicast_leave_trigger_delay = 80;
    return scenario;
}

TEST(FastChannelChange, TriggersDecideWhatHappensWhen) {
    struct Case {
        const char* what;
        JoinTrigger join;
        LeaveTrigger leave;
        bool only, stay, sent;
        const char* told;
    };
    const Case cases[] = {
        {"both after the join", kAfterJoin, kByJoin, false, false, true,
         "10 x 0 11-103 - 80; 50 87-1012 900, 462 packets, overlap 8, no S-bit"},
        {"S-bit, multicast packet", kAfterSbit, kByPacket, false, false, true,
         "10 x 0 11-209.46 211-401 378; 261 298-1012 900, 357 packets, overlap 51"},
        {"join, multicast packet", kAfterJoin, kByPacket, false, false, true,
         "10 x 0 11-190 - 167; 50 87-1012 900, 462 packets, overlap 51, no S-bit"},
        {"left before the S-bit", kAfterSbit, kByJoin, false, false, true,
         "10 x 0 11-103 - 80; 261 298-1012 900, 357 packets, gap 97, no S-bit"},
        {"unicast only", kAfterSbit, kByJoin, true, false, true,
         "10 x 0 11-209.46 211-923 900;  - , 0 packets"},
        {"unicast stay", kAfterJoin, kByJoin, false, true, true,
         "10 x 0 11-209.46 211-923 900; 50 87-1012 900, 462 packets, overlap 418"},
        {"nothing sent", kAfterSbit, kByPacket, false, false, false,
         "10 x 0 - - 900; 250 - 900, 0 packets, no first"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Scenario scenario = FastChange(c.join, c.leave);
        scenario.profile.unicast_only = c.only;
        scenario.profile.unicast_stay = c.stay;
        scenario.network.is_sent = [&c](const auto&, const auto&) { return c.sent; };
        const auto events = RunAll(scenario);
        EXPECT_EQ(c.told, Told(events));
        const auto& event = events.at(0);
        if (event.last_unicast_nosb_pkt_ts == 0) continue;
        EXPECT_NEAR(0.65 * Between(event.last_unicast_nosb_pkt_ts, event.first_unicast_nosb_pkt_ts),
                    event.total_unicast_nosb_packets, 1);
    }
}

TEST(FastChannelChange, IntervalRunsFromItsReference) {
    struct Case {
        ZapIntervalType type;
        bool only;
        double from_join;  ///< of the leave
    };
    const Case cases[] = {{ZapIntervalType::LTL, false, 900},
                          {ZapIntervalType::UTL, false, 1011},
                          {ZapIntervalType::MTL, false, 1087},
                          {ZapIntervalType::MTL, true, 1000}};
    for (const Case& c : cases) {
        Scenario scenario = FastChange();
        scenario.profile.zap_interval_type = c.type;
        scenario.profile.unicast_only = c.only;
        const auto events = RunAll(scenario);
        const auto leave_of = [&](std::size_t i) {
            return c.only ? events.at(i).unicast_leave_ts : events.at(i).mcast_leave_ts;
        };
        EXPECT_EQ(c.from_join, Between(leave_of(3), events[3].unicast_join_ts));
        EXPECT_EQ(100, Between(events[3].unicast_join_ts, leave_of(2)));
    }
}

// A channel that is left before its multicast join was due is never joined by multicast.
TEST(FastChannelChange, AJoinThatComesTooLateDoesNotCome) {
    Scenario scenario = FastChange();
    scenario.profile.mcast_join_trigger_delay = 950;
    EXPECT_EQ("10 x 0 11-103 - 80;  - , 0 packets, no S-bit", Told(RunAll(scenario)));
}

TEST(FastChannelChange, TheSbitWaitsForTheBuffer) {
    struct Case {
        std::uint32_t level, most;  ///< ms
        double burst_rate;
        JoinTrigger join;
        LeaveTrigger leave;  ///< by the unicast join: at 80 ms, the last packet at 103 ms
        double sbit;         ///< after the unicast join
        double multicast_join;
        bool fails;
    };
    const Case cases[] = {{60, 0, 1.3, kAfterSbit, kByPacket, 211, 261, false},
                          {60, 300, 1.3, kAfterSbit, kByPacket, 211, 261, false},
                          {60, 100, 1.3, kAfterSbit, kByPacket, 211, 261, true},
                          {0, 0, 1.3, kAfterSbit, kByPacket, 11, 61, false},
                          // Never; waited for as long as it may take, or not at all.
                          {60, 100, 1.0, kAfterSbit, kByPacket, NAN, 161, true},
                          {60, 0, 1.0, kAfterSbit, kByPacket, NAN, 61, true},
                          {60, 100, 1.0, kAfterJoin, kByPacket, NAN, 50, true},
                          {60, 0, 1.0, kAfterJoin, kByPacket, NAN, 50, false},
                          // In time for the last packet, and too late.
                          {27, 0, 1.3, kAfterSbit, kByJoin, 101, 151, false},
                          {60, 0, 1.3, kAfterSbit, kByJoin, NAN, 61, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Scenario scenario = FastChange(c.join, c.leave);
        scenario.test.min_sbit_delay = 0;
        scenario.test.max_sbit_delay = c.most;
        scenario.blocks[0].min_buffer_level = c.level;
        scenario.network.behaviour.burst_rate = c.burst_rate;
        const auto events = RunAll(scenario);
        ASSERT_EQ(10u, events.size());
        for (const auto& event : events) {
            const double sbit = Between(event.first_unicast_sbit_pkt_ts, event.unicast_join_ts);
            const double join = Between(event.mcast_join_ts, event.unicast_join_ts);
            EXPECT_EQ(c.fails, event.sbit_failure);
            EXPECT_EQ(std::isnan(c.sbit), std::isnan(sbit));
            if (c.most == 300) {  // drawn: 0 to 300 ms, and not before the buffer is full
                EXPECT_TRUE(sbit >= 211 && sbit <= 311) << sbit;
                EXPECT_NEAR(sbit + 50, join, 1e-4);
            } else {
                EXPECT_NEAR(c.multicast_join, join, 1e-4);
                EXPECT_FALSE(std::abs(c.sbit - sbit) > 1e-4) << sbit;
            }
        }
    }
}

TEST(FastChannelChange, FlagsSayWhatIsSlowerThanTheThresholds) {
    for (const int over : {0, 1}) {
        Scenario scenario = FastChange();
        scenario.profile.join_latency_threshold = 37 - over;
        scenario.profile.leave_latency_threshold = 112 - over;
        scenario.profile.unicast_join_threshold = 11 - over;
        scenario.profile.unicast_leave_threshold = 23 - over;
        const auto events = RunAll(scenario);
        ASSERT_EQ(10u, events.size());
        for (const auto& event : events) {
            EXPECT_EQ(4 * over, event.mcast_join_latency_flag + event.mcast_leave_latency_flag +
                                    event.unicast_join_latency_flag + event.unicast_leave_latency_flag);
        }
    }
}

// A burst ends with its channel and does not come back; a failed request is answered when it is sent again.
TEST(FastChannelChange, BurstsFollowTheirChannel) {
    struct Case {
        int change;  ///< ms after the unicast join
        bool sent;   ///< from then on, and not before
        const char* told;
    };
    // UTL: the leave comes 1000 ms after the first packet, or after the join.
    const Case cases[] = {{5, true, "0 16-214.46 216-406 383; 266 303-1128 1016, 412 packets, overlap 51"},
                          {5, false, "0 - - 1000; 250 - 1000, 0 packets, no first"},
                          {100, false, "0 11-100 - 1011; 261 - 1011, 0 packets, no S-bit"},
                          {280, false, "0 11-209.46 211-280 1011; 261 - 1011, 0 packets"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Scenario scenario = FastChange(kAfterSbit, kByPacket);
        scenario.profile.zap_interval_type = ZapIntervalType::UTL;
        bool sent = !c.sent;
        scenario.network.is_sent = [&sent](const auto&, const auto&) { return sent; };
        Peer peer(scenario);
        peer.Start();
        peer.RunTo(c.change);
        peer.Change(sent);
        peer.RunTo(2000);
        EXPECT_EQ(c.told, Told({peer.events.at(0)}));
    }
}

}  // namespace
