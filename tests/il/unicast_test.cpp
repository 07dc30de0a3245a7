// Channel changes with a unicast burst before the multicast stream; retransmission of lost packets.

#include <cmath>
#include <tuple>

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
    // only, stay: of the profile
    const std::tuple<const char*, JoinTrigger, LeaveTrigger, bool, bool, bool, const char*> cases[] = {
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
         "10 x 0 - - 900; 250 - 900, 0 packets, no first"}};
    for (const auto& [what, join, leave, only, stay, sent, told] : cases) {
        Scenario scenario = FastChange(join, leave);
        scenario.profile.unicast_only = only;
        scenario.profile.unicast_stay = stay;
        scenario.network.is_sent = [sent = sent](const auto&, const auto&) { return sent; };
        const auto events = RunAll(scenario);
        EXPECT_EQ(told, Told(events)) << what;
        const auto& event = events.at(0);
        if (event.last_unicast_nosb_pkt_ts == 0) continue;
        EXPECT_NEAR(0.65 * Between(event.last_unicast_nosb_pkt_ts, event.first_unicast_nosb_pkt_ts),
                    event.total_unicast_nosb_packets, 1);
    }
}

TEST(FastChannelChange, IntervalRunsFromItsReference) {
    // from_join: of the leave
    const std::tuple<ZapIntervalType, bool, double> cases[] = {{ZapIntervalType::LTL, false, 900},
                                                               {ZapIntervalType::UTL, false, 1011},
                                                               {ZapIntervalType::MTL, false, 1087},
                                                               {ZapIntervalType::MTL, true, 1000}};
    for (const auto& [type, only, from_join] : cases) {
        Scenario scenario = FastChange();
        scenario.profile.zap_interval_type = type;
        scenario.profile.unicast_only = only;
        const auto events = RunAll(scenario);
        const auto leave_of = [&events, only = only](std::size_t i) {
            return only ? events.at(i).unicast_leave_ts : events.at(i).mcast_leave_ts;
        };
        EXPECT_EQ(from_join, Between(leave_of(3), events[3].unicast_join_ts));
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
    // level, most: ms; leave by the unicast join: at 80 ms, the last packet at 103 ms; S-bit and multicast
    // join after the unicast join
    const std::tuple<std::uint32_t, std::uint32_t, double, JoinTrigger, LeaveTrigger, double, double, bool>
        cases[] = {{60, 0, 1.3, kAfterSbit, kByPacket, 211, 261, false},
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
    for (const auto& [level, most, burst_rate, join_trigger, leave, wanted_sbit, wanted_join, fails] :
         cases) {
        SCOPED_TRACE(testing::Message() << level << ' ' << most << ' ' << burst_rate << ' ' << wanted_join);
        Scenario scenario = FastChange(join_trigger, leave);
        scenario.test.min_sbit_delay = 0;
        scenario.test.max_sbit_delay = most;
        scenario.blocks[0].min_buffer_level = level;
        scenario.network.behaviour.burst_rate = burst_rate;
        const auto events = RunAll(scenario);
        ASSERT_EQ(10u, events.size());
        EXPECT_EQ(most == 300, Told(events).find(" / ") != std::string::npos);
        for (const auto& event : events) {
            const double sbit = Between(event.first_unicast_sbit_pkt_ts, event.unicast_join_ts);
            const double join = Between(event.mcast_join_ts, event.unicast_join_ts);
            EXPECT_EQ(fails, event.sbit_failure);
            EXPECT_EQ(std::isnan(wanted_sbit), std::isnan(sbit));
            if (most == 300) {  // drawn: 0 to 300 ms, and not before the buffer is full
                EXPECT_TRUE(sbit >= 211 && sbit <= 311) << sbit;
                EXPECT_NEAR(sbit + 50, join, 1e-4);
            } else {
                EXPECT_NEAR(wanted_join, join, 1e-4);
                EXPECT_FALSE(std::abs(wanted_sbit - sbit) > 1e-4) << sbit;
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
        for (const auto& event : events)
            EXPECT_EQ(4 * over, event.mcast_join_latency_flag + event.mcast_leave_latency_flag +
                                    event.unicast_join_latency_flag + event.unicast_leave_latency_flag);
    }
}

// A burst ends with its channel and does not come back; a failed request is answered when it is sent again.
TEST(FastChannelChange, BurstsFollowTheirChannel) {
    // UTL: the leave comes 1000 ms after the first packet, or after the join. Changes are in ms after the
    // unicast join; sent from then on, and not before.
    const std::tuple<int, bool, const char*> cases[] = {
        {5, true, "0 16-214.46 216-406 383; 266 303-1128 1016, 412 packets, overlap 51"},
        {5, false, "0 - - 1000; 250 - 1000, 0 packets, no first"},
        {100, false, "0 11-100 - 1011; 261 - 1011, 0 packets, no S-bit"},
        {280, false, "0 11-209.46 211-280 1011; 261 - 1011, 0 packets"}};
    for (const auto& [change, sent_later, told] : cases) {
        Scenario scenario = FastChange(kAfterSbit, kByPacket);
        scenario.profile.zap_interval_type = ZapIntervalType::UTL;
        bool sent = !sent_later;
        scenario.network.is_sent = [&sent](const auto&, const auto&) { return sent; };
        Peer peer(scenario, change);
        peer.Change(sent);
        peer.RunTo(2000);
        EXPECT_EQ(told, Told({peer.events.at(0)})) << change;
    }
}

Scenario Lossy(double loss) {
    Scenario scenario;
    scenario.test.test_type = TestType::RELIABLE_RETRANSMISSION;
    scenario.test.rrr_test_config = {{.testRetransThres = 25}};
    scenario.channels.rrr_cbConfig = {{.cbNackEnable = true}};
    auto& nack = scenario.blocks[0].rrr_stbConfig.emplace_back();
    nack.stbNackEnable = true;
    nack.nackDelay = 30;
    scenario.network.behaviour.loss = loss;
    scenario.network.behaviour.retransmission_delay.a = 20;
    return scenario;
}

struct Outcome {
    std::vector<stbox_event_rrr_s> nacks;
    std::uint64_t lost = 0;
    std::int64_t first_join = 0;
};

Outcome OutcomeOf(const Scenario& scenario) {
    Peer peer(scenario, static_cast<int>(scenario.test.test_duration));
    Outcome outcome{peer.rrr_events, 0, peer.events.at(0).mcast_join_ts};
    for (const auto& event : peer.events) outcome.lost += event.lost_mcast_packets;
    return outcome;
}

TEST(Retransmission, LossesAreAskedForAndCome) {
    const Scenario scenario = Lossy(0.01);
    const Outcome outcome = OutcomeOf(scenario);
    // 4,900 packets; a few NACKs would have come after their view, and two losses may be one packet.
    EXPECT_NEAR(49, outcome.lost, 10);
    EXPECT_GT(outcome.nacks.size(), outcome.lost * 8 / 10);
    EXPECT_LE(outcome.nacks.size(), outcome.lost);
    std::uint64_t number = 0;
    for (const auto& nack : outcome.nacks) {
        EXPECT_EQ(++number, nack.event_number);
        EXPECT_EQ(20, Between(nack.last_retrans_rtp_pkt_rx_ts, nack.nack_pkt_tx_ts));
        EXPECT_FALSE(nack.flagged_retrans || nack.retrans_fail);
        EXPECT_EQ(nack.viewed_channel, nack.viewed_ip.v4.address[3]);
        // Noticed one packet (2 ms) after the lost one, requested 30 ms later; packets count from time 0.
        const double sent = Between(nack.nack_pkt_tx_ts, outcome.first_join);
        EXPECT_EQ(nack.nack_rtp_seq_number, static_cast<int>((sent - 32 + 0.01) / 2));
    }
}

TEST(Retransmission, BothBlocksAndTheTestMustWantIt) {
    for (const int without : {0, 1, 2, 3}) {
        Scenario scenario = Lossy(0.1);
        if (without == 0) scenario.test.test_type = TestType::ZAPPING;
        if (without == 1) scenario.channels.rrr_cbConfig.clear();
        if (without == 2) scenario.blocks[0].rrr_stbConfig.clear();
        if (without == 3) scenario.blocks[0].rrr_stbConfig[0].stbNackEnable = false;
        EXPECT_TRUE(OutcomeOf(scenario).nacks.empty()) << without;
    }
}

TEST(Retransmission, SlowOnesAreFlaggedAndLostOnesFail) {
    for (const std::uint32_t threshold : {19u, 0u}) {  // ms; 0 is none
        Scenario scenario = Lossy(0.05);
        scenario.test.rrr_test_config[0].testRetransThres = threshold;
        scenario.network.behaviour.retransmission_loss = 0.3;
        const auto nacks = OutcomeOf(scenario).nacks;
        ASSERT_GT(nacks.size(), 100u);
        double failed = 0;
        for (const auto& nack : nacks) {  // one packet each
            failed += nack.retrans_fail;
            EXPECT_EQ(nack.retrans_fail ? 0 : 20,
                      Between(nack.last_retrans_rtp_pkt_rx_ts, nack.nack_pkt_tx_ts));
            EXPECT_EQ(threshold > 0 && !nack.retrans_fail, nack.flagged_retrans);
        }
        EXPECT_NEAR(0.3, failed / static_cast<double>(nacks.size()), 0.1);
    }
}

TEST(Retransmission, MaskAndIntervalBoundTheNumberOfRequests) {
    // 30 % lost: a NACK that covers 17 packets covers 1 + 16 * 0.3 lost ones. Mask, delay and interval, the
    // least and the greatest share of NACKs in losses, and how far apart they are in ms and in packets.
    const std::tuple<std::uint16_t, std::uint32_t, std::uint32_t, double, double, double, double> cases[] = {
        {0, 40, 0, 0.75, 0.95, 2, 1},
        {0xffff, 40, 0, 0.13, 0.18, 34, 17},
        {0xffff, 0, 0, 0.75, 0.95, 2, 1},  // the next losses are not known yet
        {0x00ff, 40, 0, 0.22, 0.30, 18, 9},
        {0, 40, 500, 0.005, 0.02, 500, 1}};  // longer than from one view to the next
    for (const auto& [mask, delay, interval, least_share, most_share, apart_ms, apart_packets] : cases) {
        SCOPED_TRACE(testing::Message() << mask << ' ' << delay << ' ' << interval);
        Scenario scenario = Lossy(0.3);
        scenario.test.test_duration = 60'000;
        scenario.profile.leave_to_leave_delay = 2000;
        auto& nack = scenario.blocks[0].rrr_stbConfig[0];
        nack.nackSeqBits = mask;
        nack.nackDelay = delay;
        nack.nackInterval = interval;
        const Outcome outcome = OutcomeOf(scenario);
        const double share = static_cast<double>(outcome.nacks.size()) / static_cast<double>(outcome.lost);
        EXPECT_TRUE(share > least_share && share < most_share) << share;
        for (std::size_t i = 1; i < outcome.nacks.size(); ++i) {
            const auto &one = outcome.nacks[i - 1], &next = outcome.nacks[i];
            EXPECT_GE(Between(next.nack_pkt_tx_ts, one.nack_pkt_tx_ts), apart_ms - 0.001);
            EXPECT_GE(next.nack_rtp_seq_number - one.nack_rtp_seq_number, apart_packets);
        }
    }
}

// One NACK per packet and interval until it comes or the view ends.
TEST(Retransmission, WhatIsLostAgainIsAskedForAgain) {
    // least, most: NACKs per packet
    const std::tuple<double, std::uint32_t, double, double> cases[] = {
        {0, 10, 1, 1}, {1, 0, 1, 1}, {0.5, 10, 1.5, 2.1}, {1, 10, 30, 50}};
    for (const auto& [lost_again, interval, least, most] : cases) {
        Scenario scenario = Lossy(0.002);
        scenario.test.test_duration = 100'000;
        scenario.network.behaviour.retransmission_loss = lost_again;
        scenario.blocks[0].rrr_stbConfig[0].nackInterval = interval;
        const Outcome outcome = OutcomeOf(scenario);
        ASSERT_GT(outcome.nacks.size(), 50u);
        std::map<std::uint16_t, std::int64_t> last_asked;
        for (const auto& nack : outcome.nacks) {
            std::int64_t& last = last_asked[nack.nack_rtp_seq_number];
            EXPECT_TRUE(last == 0 || Between(nack.nack_pkt_tx_ts, last) >= 10);
            last = nack.nack_pkt_tx_ts;
        }
        const double each =
            static_cast<double>(outcome.nacks.size()) / static_cast<double>(last_asked.size());
        EXPECT_TRUE(each >= least && each <= most) << each << " with " << lost_again << ", " << interval;
    }
}

}  // namespace
