// Channel changes with a unicast burst before the multicast stream.
#include <gtest/gtest.h>

#include <cmath>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using JoinTrigger = MulticastJoinTriggerType;
using LeaveTrigger = UnicastLeaveTriggerType;

/// Burst from 11 ms after the unicast join on, S-bit from 211 ms on.
Scenario FastChange() {
    Scenario scenario;
    scenario.test.test_type = TestType::FAST_CHANNEL_CHANGE;
    scenario.test.min_sbit_delay = scenario.test.max_sbit_delay = 200;
    scenario.profile.mcast_join_trigger_delay = 50;
    scenario.profile.unicast_leave_trigger_delay = 80;
    return scenario;
}

/// Equal, or both not there.
void ExpectTime(const char* what, double expected, double found) {
    if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(found)) << what << " at " << found;
    } else {
        EXPECT_EQ(expected, found) << what;
    }
}

constexpr double kNo = NAN;

// Every time is ms after the unicast join; views last 900 ms.
TEST(FastChannelChange, TriggersDecideWhatHappensWhen) {
    struct Case {
        const char* what;
        JoinTrigger join;
        LeaveTrigger leave;
        bool only, stay, sent;
        double nosb_first, nosb_last, sbit_first, sbit_last, unicast_leave;
        double multicast_join, multicast_first, multicast_leave;
        std::uint64_t overlap, gap;
    };
    const Case cases[] = {
        {"both after the join", JoinTrigger::UNICAST_JOIN_AND_DELAY, LeaveTrigger::UNICAST_JOIN_AND_DELAY,
         false, false, true, 11, 103, kNo, kNo, 80, 50, 87, 900, 8, 0},
        {"S-bit, multicast packet", JoinTrigger::SBIT_AND_DELAY, LeaveTrigger::MULTICAST_PKT_AND_DELAY, false,
         false, true, 11, 211 - 1000.0 / 650, 211, 401, 378, 261, 298, 900, 51, 0},
        {"join, multicast packet", JoinTrigger::UNICAST_JOIN_AND_DELAY, LeaveTrigger::MULTICAST_PKT_AND_DELAY,
         false, false, true, 11, 190, kNo, kNo, 167, 50, 87, 900, 51, 0},
        {"left before the S-bit", JoinTrigger::SBIT_AND_DELAY, LeaveTrigger::UNICAST_JOIN_AND_DELAY, false,
         false, true, 11, 103, kNo, kNo, 80, 261, 298, 900, 0, 97},
        {"unicast only", JoinTrigger::SBIT_AND_DELAY, LeaveTrigger::UNICAST_JOIN_AND_DELAY, true, false, true,
         11, 211 - 1000.0 / 650, 211, 923, 900, kNo, kNo, kNo, 0, 0},
        {"unicast stay", JoinTrigger::UNICAST_JOIN_AND_DELAY, LeaveTrigger::UNICAST_JOIN_AND_DELAY, false,
         true, true, 11, 211 - 1000.0 / 650, 211, 923, 900, 50, 87, 900, 418, 0},
        {"nothing sent", JoinTrigger::SBIT_AND_DELAY, LeaveTrigger::MULTICAST_PKT_AND_DELAY, false, false,
         false, kNo, kNo, kNo, kNo, 900, 250, kNo, 900, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Scenario scenario = FastChange();
        scenario.test.mcast_join_trigger = c.join;
        scenario.test.unicast_leave_trigger = c.leave;
        scenario.profile.unicast_only = c.only;
        scenario.profile.unicast_stay = c.stay;
        scenario.network.is_sent = [&c](const auto&, const auto&) { return c.sent; };
        const auto events = RunAll(scenario);
        ASSERT_EQ(10u, events.size());
        for (const auto& event : events) {
            const auto after = [&event](std::int64_t ts) { return Between(ts, event.unicast_join_ts); };
            ExpectTime("burst", c.nosb_first, after(event.first_unicast_nosb_pkt_ts));
            if (std::isnan(c.nosb_last)) {
                EXPECT_EQ(0, event.last_unicast_nosb_pkt_ts);
            } else {
                EXPECT_NEAR(c.nosb_last, after(event.last_unicast_nosb_pkt_ts), 1e-4);
                EXPECT_NEAR(0.65 * (c.nosb_last - 11), event.total_unicast_nosb_packets, 1);
            }
            ExpectTime("S-bit", c.sbit_first, after(event.first_unicast_sbit_pkt_ts));
            ExpectTime("last with S-bit", c.sbit_last, after(event.last_unicast_sbit_pkt_ts));
            ExpectTime("unicast leave", c.unicast_leave, after(event.unicast_leave_ts));
            ExpectTime("join", c.multicast_join, after(event.mcast_join_ts));
            ExpectTime("multicast", c.multicast_first, after(event.first_mcast_pkt_ts));
            ExpectTime("leave", c.multicast_leave, after(event.mcast_leave_ts));
            EXPECT_EQ(c.sent, event.first_pkt_ts_valid);
            EXPECT_EQ(c.overlap, event.uni_multi_overlap_count);
            EXPECT_EQ(c.gap, event.uni_multi_gap_count);
            EXPECT_EQ(c.sent && std::isnan(c.sbit_first), event.sbit_failure);
        }
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
        const auto& event = events.at(3);
        const std::int64_t leave = c.only ? event.unicast_leave_ts : event.mcast_leave_ts;
        EXPECT_EQ(c.from_join, Between(leave, event.unicast_join_ts));
        EXPECT_EQ(100, Between(event.unicast_join_ts,
                               c.only ? events[2].unicast_leave_ts : events[2].mcast_leave_ts));
    }
}

// A channel that is left before its multicast join was due is never joined by multicast.
TEST(FastChannelChange, AJoinThatComesTooLateDoesNotCome) {
    Scenario scenario = FastChange();
    scenario.profile.mcast_join_trigger_delay = 950;
    const auto events = RunAll(scenario);
    ASSERT_EQ(10u, events.size());
    for (const auto& event : events) {
        EXPECT_EQ(0, event.mcast_join_ts);
        EXPECT_EQ(0, event.mcast_leave_ts);
        EXPECT_EQ(80, Between(event.unicast_leave_ts, event.unicast_join_ts));
    }
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
    constexpr auto kAfterSbit = JoinTrigger::SBIT_AND_DELAY, kAfterJoin = JoinTrigger::UNICAST_JOIN_AND_DELAY;
    constexpr auto kByPacket = LeaveTrigger::MULTICAST_PKT_AND_DELAY,
                   kByJoin = LeaveTrigger::UNICAST_JOIN_AND_DELAY;
    const Case cases[] = {{60, 0, 1.3, kAfterSbit, kByPacket, 211, 261, false},
                          {60, 300, 1.3, kAfterSbit, kByPacket, 211, 261, false},
                          {60, 100, 1.3, kAfterSbit, kByPacket, 211, 261, true},
                          {0, 0, 1.3, kAfterSbit, kByPacket, 11, 61, false},
                          // Never; waited for as long as it may take, or not at all.
                          {60, 100, 1.0, kAfterSbit, kByPacket, kNo, 161, true},
                          {60, 0, 1.0, kAfterSbit, kByPacket, kNo, 61, true},
                          {60, 100, 1.0, kAfterJoin, kByPacket, kNo, 50, true},
                          {60, 0, 1.0, kAfterJoin, kByPacket, kNo, 50, false},
                          // In time for the last packet, and too late.
                          {27, 0, 1.3, kAfterSbit, kByJoin, 101, 151, false},
                          {60, 0, 1.3, kAfterSbit, kByJoin, kNo, 61, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Scenario scenario = FastChange();
        scenario.test.min_sbit_delay = 0;
        scenario.test.max_sbit_delay = c.most;
        scenario.test.mcast_join_trigger = c.join;
        scenario.test.unicast_leave_trigger = c.leave;
        scenario.blocks[0].min_buffer_level = c.level;
        scenario.network.behaviour.burst_rate = c.burst_rate;
        const auto events = RunAll(scenario);
        ASSERT_EQ(10u, events.size());
        for (const auto& event : events) {
            const double sbit = Between(event.first_unicast_sbit_pkt_ts, event.unicast_join_ts);
            const double join = Between(event.mcast_join_ts, event.unicast_join_ts);
            if (c.most == 300) {  // drawn: 0 to 300 ms, and not before the buffer is full
                EXPECT_TRUE(sbit >= 211 && sbit <= 311) << sbit;
                EXPECT_NEAR(sbit + 50, join, 1e-4);
            } else {
                EXPECT_NEAR(c.multicast_join, join, 1e-4);
                EXPECT_EQ(std::isnan(c.sbit), std::isnan(sbit));
                if (!std::isnan(c.sbit)) {
                    EXPECT_NEAR(c.sbit, sbit, 1e-4);
                }
            }
            EXPECT_EQ(c.fails, event.sbit_failure);
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
            EXPECT_EQ(over == 1, event.mcast_join_latency_flag);
            EXPECT_EQ(over == 1, event.mcast_leave_latency_flag);
            EXPECT_EQ(over == 1, event.unicast_join_latency_flag);
            EXPECT_EQ(over == 1, event.unicast_leave_latency_flag);
        }
    }
}

// A burst ends with its channel and does not come back; a failed request is answered when it is sent again.
TEST(FastChannelChange, BurstsFollowTheirChannel) {
    struct Case {
        int change;  ///< ms after the unicast join
        bool sent;   ///< from then on, and not before
        double first, last, sbit, multicast_join, multicast_first, leave;
        bool fails;
    };
    // UTL: the leave comes 1000 ms after the first packet, or after the join.
    const Case cases[] = {{5, true, 16, 216 - 1000.0 / 650, 216, 266, 303, 1016, false},
                          {5, false, kNo, kNo, kNo, 250, kNo, 1000, false},
                          {100, false, 11, 100, kNo, 261, kNo, 1011, true},
                          {280, false, 11, 211 - 1000.0 / 650, 211, 261, kNo, 1011, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Scenario scenario = FastChange();
        scenario.test.mcast_join_trigger = JoinTrigger::SBIT_AND_DELAY;
        scenario.test.unicast_leave_trigger = LeaveTrigger::MULTICAST_PKT_AND_DELAY;
        scenario.profile.zap_interval_type = ZapIntervalType::UTL;
        bool sent = !c.sent;
        scenario.network.is_sent = [&sent](const auto&, const auto&) { return sent; };
        Peer peer(scenario);
        peer.Start();
        peer.RunTo(milliseconds(c.change));
        peer.port->ChannelsChange([&sent, &c] { sent = c.sent; });
        peer.RunTo(milliseconds(2000));
        ASSERT_FALSE(peer.events.empty());
        const auto& event = peer.events[0];
        const auto after = [&event](std::int64_t ts) { return Between(ts, event.unicast_join_ts); };
        ExpectTime("first", c.first, after(event.first_unicast_nosb_pkt_ts));
        if (!std::isnan(c.last)) {
            EXPECT_NEAR(c.last, after(event.last_unicast_nosb_pkt_ts), 1e-4);
        }
        ExpectTime("S-bit", c.sbit, after(event.first_unicast_sbit_pkt_ts));
        ExpectTime("multicast join", c.multicast_join, after(event.mcast_join_ts));
        ExpectTime("multicast", c.multicast_first, after(event.first_mcast_pkt_ts));
        ExpectTime("leave", c.leave, after(event.mcast_leave_ts));
        if (c.change == 280) {
            ExpectTime("last", 280, after(event.last_unicast_sbit_pkt_ts));
        }
        EXPECT_EQ(c.fails, event.sbit_failure);
    }
}

}  // namespace
