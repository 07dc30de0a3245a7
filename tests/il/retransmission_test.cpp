// Retransmission of lost packets.
#include <gtest/gtest.h>

#include <map>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

Scenario Lossy(double loss) {
    Scenario scenario;
    scenario.test.test_type = TestType::RELIABLE_RETRANSMISSION;
    scenario.test.rrr_test_config = {{.testRetransThres = 25}};
    scenario.channels.rrr_cbConfig = {{.cbNackEnable = true}};
    rrr_stbConfig_s nack;
    nack.stbNackEnable = true;
    nack.nackDelay = 30;
    scenario.blocks[0].rrr_stbConfig = {nack};
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
    Peer peer(scenario);
    peer.Start();
    peer.RunTo(milliseconds(scenario.test.test_duration));
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
        const Outcome outcome = OutcomeOf(scenario);
        ASSERT_GT(outcome.nacks.size(), 100u);
        double failed = 0;
        for (const auto& nack : outcome.nacks) {  // one packet each
            failed += nack.retrans_fail;
            EXPECT_EQ(nack.retrans_fail ? 0 : 20,
                      Between(nack.last_retrans_rtp_pkt_rx_ts, nack.nack_pkt_tx_ts));
            EXPECT_EQ(threshold > 0 && !nack.retrans_fail, nack.flagged_retrans);
        }
        EXPECT_NEAR(0.3, failed / static_cast<double>(outcome.nacks.size()), 0.1);
    }
}

TEST(Retransmission, MaskAndIntervalBoundTheNumberOfRequests) {
    struct Case {
        std::uint16_t mask;
        std::uint32_t delay, interval;
        double least_share, most_share;  ///< of NACKs in losses
        double apart_ms, apart_packets;
    };
    // 30 % lost: a NACK that covers 17 packets covers 1 + 16 * 0.3 lost ones.
    const Case cases[] = {{0, 40, 0, 0.75, 0.95, 2, 1},
                          {0xffff, 40, 0, 0.13, 0.18, 34, 17},
                          {0xffff, 0, 0, 0.75, 0.95, 2, 1},  // the next losses are not known yet
                          {0x00ff, 40, 0, 0.22, 0.30, 18, 9},
                          {0, 40, 500, 0.005, 0.02, 500, 1}};  // longer than from one view to the next
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Scenario scenario = Lossy(0.3);
        scenario.test.test_duration = 60'000;
        scenario.profile.leave_to_leave_delay = 2000;
        scenario.blocks[0].rrr_stbConfig[0].nackSeqBits = c.mask;
        scenario.blocks[0].rrr_stbConfig[0].nackDelay = c.delay;
        scenario.blocks[0].rrr_stbConfig[0].nackInterval = c.interval;
        const Outcome outcome = OutcomeOf(scenario);
        const double share = static_cast<double>(outcome.nacks.size()) / static_cast<double>(outcome.lost);
        EXPECT_TRUE(share > c.least_share && share < c.most_share) << share;
        for (std::size_t i = 1; i < outcome.nacks.size(); ++i) {
            const auto &one = outcome.nacks[i - 1], &next = outcome.nacks[i];
            EXPECT_GE(Between(next.nack_pkt_tx_ts, one.nack_pkt_tx_ts), c.apart_ms - 0.001);
            EXPECT_GE(next.nack_rtp_seq_number - one.nack_rtp_seq_number, c.apart_packets);
        }
    }
}

// One NACK per packet and interval until it comes or the view ends.
TEST(Retransmission, WhatIsLostAgainIsAskedForAgain) {
    struct Case {
        double lost_again;
        std::uint32_t interval;
        double least, most;  ///< NACKs per packet
    };
    const Case cases[] = {{0, 10, 1, 1}, {1, 0, 1, 1}, {0.5, 10, 1.5, 2.1}, {1, 10, 30, 50}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Scenario scenario = Lossy(0.002);
        scenario.test.test_duration = 100'000;
        scenario.network.behaviour.retransmission_loss = c.lost_again;
        scenario.blocks[0].rrr_stbConfig[0].nackInterval = c.interval;
        const Outcome outcome = OutcomeOf(scenario);
        ASSERT_GT(outcome.nacks.size(), 50u);
        std::map<std::uint16_t, std::int64_t> last_asked;
        for (const auto& nack : outcome.nacks) {
            std::int64_t& last = last_asked[nack.nack_rtp_seq_number];
            if (last != 0) {
                EXPECT_GE(Between(nack.nack_pkt_tx_ts, last), 10);
            }
            last = nack.nack_pkt_tx_ts;
        }
        const double each =
            static_cast<double>(outcome.nacks.size()) / static_cast<double>(last_asked.size());
        EXPECT_TRUE(each >= c.least && each <= c.most) << each;
    }
}

}  // namespace
