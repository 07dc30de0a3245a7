// Streams that several STBs of a port watch.
#include <gtest/gtest.h>

#include <cmath>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

/// Two STBs on one channel, the second `delay` ms later, for a view of two seconds each.
Scenario TwoOnOneChannel(std::uint32_t delay) {
    Scenario scenario;
    scenario.channels.channel_count = 1;
    scenario.blocks[0].settop_count = 2;
    scenario.blocks[0].start_delay_step = delay;
    scenario.profile.leave_to_join_delay = 1000;
    scenario.profile.leave_to_leave_delay = 3000;
    scenario.test.test_duration = 2900;
    return scenario;
}

TEST(Sharing, WhoJoinsAFlowingStreamGetsItAtOnce) {
    struct Case {
        const char* what;
        std::uint32_t delay;
        std::uint16_t vlan_step;
        IgmpVersion version;
        double second_join;  ///< first packet - join of the second STB
        double first_leave;  ///< last packet - leave of the first STB
        double second_leave;
        std::vector<std::uint16_t> sessions = {};
    };
    const Case cases[] = {
        {"while watched", 200, 0, IgmpVersion::IGMP_VERSION2, -2, 0, 112},
        {"before its first packet", 20, 0, IgmpVersion::IGMP_VERSION3, 17, 0, 112},
        {"at the same time", 0, 0, IgmpVersion::MLD_VERSION1, 37, 0, 112},
        {"after the leave, before the end", 2100, 0, IgmpVersion::MLD_VERSION2, -2, 112, 112},
        {"after the end", 2113, 0, IgmpVersion::IGMP_VERSION2, 37, 112, 112},
        {"nobody tells that he leaves", 2700, 0, IgmpVersion::IGMP_VERSION1, -2, 0, 0},
        {"in another VLAN", 200, 1, IgmpVersion::IGMP_VERSION2, 37, 112, 112},
        {"in another session", 200, 0, IgmpVersion::IGMP_VERSION2, 37, 112, 112, {11, 12}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Scenario scenario = TwoOnOneChannel(c.delay);
        scenario.blocks[0].vlan_tag = 5;
        scenario.blocks[0].vlan_step = c.vlan_step;
        scenario.blocks[0].igmp_version = c.version;
        scenario.blocks[0].ppp_index = c.sessions;
        const auto events = RunAll(scenario);
        ASSERT_EQ(2u, events.size());
        const auto &first = events[0], &second = events[1];
        EXPECT_EQ(1u, first.settop_index);
        EXPECT_EQ(2u, second.settop_index);
        EXPECT_EQ(5 + c.vlan_step, second.vlan_tag);
        EXPECT_EQ(c.sessions.empty() ? 0 : 12, second.ppp_index);
        EXPECT_EQ(37, Between(first.first_mcast_pkt_ts, first.mcast_join_ts));
        EXPECT_EQ(c.second_join, Between(second.first_mcast_pkt_ts, second.mcast_join_ts));
        EXPECT_EQ(c.first_leave, Between(first.last_mcast_pkt_ts, first.mcast_leave_ts));
        EXPECT_EQ(c.second_leave, Between(second.last_mcast_pkt_ts, second.mcast_leave_ts));
        const bool leaves = c.version != IgmpVersion::IGMP_VERSION1;
        for (const auto& event : events) {
            EXPECT_EQ(leaves, event.last_pkt_ts_valid);
            EXPECT_EQ(std::floor(Between(event.last_mcast_pkt_ts, event.first_mcast_pkt_ts) / 2),
                      event.total_mcast_packets);
        }
    }
}

// A join that is cancelled before its stream arrives, by an STB that zaps faster than the network. The other
// STB joins before the first one's leave has come through: there is nothing for it to share.
TEST(Sharing, ALeaveBeforeTheFirstPacketBringsNone) {
    Scenario scenario;
    scenario.profile.leave_to_leave_delay = 120;  // 20 ms views
    scenario.network.behaviour.leave_delay.a = 5;
    scenario.blocks[0].settop_count = 2;
    scenario.blocks[0].start_delay_step = 22;
    const auto events = RunAll(scenario);
    ASSERT_EQ(167u, events.size());  // the end of the test cuts one off whose packet may still come
    for (const auto& event : events) {
        EXPECT_EQ(0, event.first_mcast_pkt_ts);
        EXPECT_EQ(0, event.last_mcast_pkt_ts);
        EXPECT_EQ(0u, event.total_mcast_packets);
        EXPECT_FALSE(event.first_pkt_ts_valid);
    }
}

// Pairs of STBs, each pair on a VLAN of its own: there are far more streams possible than there ever flow.
TEST(Sharing, ManyStreamsComeAndGo) {
    Scenario scenario;
    scenario.channels.channel_count = 50'000;
    scenario.blocks[0].settop_count = 200;
    scenario.blocks[0].vlan_step = 1;
    scenario.blocks.push_back(scenario.blocks[0]);
    scenario.blocks[1].stblock_handle = kBlock + 1;
    scenario.start_delay_step = 1;  // ms: the second STB of a pair is 200 ms behind the first
    scenario.test.test_duration = 20'900;
    const auto events = RunAll(scenario);
    ASSERT_EQ(2 * 200 * 21u, events.size());
    int first = 0;
    for (const auto& event : events) {
        const double join = Between(event.first_mcast_pkt_ts, event.mcast_join_ts);
        EXPECT_EQ(join == 37 ? 0 : 112, Between(event.last_mcast_pkt_ts, event.mcast_leave_ts));
        EXPECT_TRUE(join == 37 || join == -2) << join;
        first += join == 37;
    }
    EXPECT_EQ(200 * 21, first);
}

}  // namespace
