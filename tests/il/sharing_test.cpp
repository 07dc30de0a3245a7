// Streams that several STBs of a port watch.
#include <gtest/gtest.h>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

// Two STBs on one channel, the second `delay` ms later, for a view of two seconds each.
TEST(Sharing, WhoJoinsAFlowingStreamGetsItAtOnce) {
    struct Case {
        const char* what;
        std::uint32_t delay;
        std::uint16_t vlan_step;
        IgmpVersion version;
        const char* told;
        std::vector<std::uint16_t> sessions = {};
    };
    const Case cases[] = {
        {"while watched", 200, 0, IgmpVersion::IGMP_VERSION2,
         "0 37-2000 2000, 981 packets / 0 -2-2112 2000, 1057 packets"},
        {"before its first packet", 20, 0, IgmpVersion::IGMP_VERSION3,
         "0 37-2000 2000, 981 packets / 0 17-2112 2000, 1047 packets"},
        {"at the same time", 0, 0, IgmpVersion::MLD_VERSION1,
         "0 37-2000 2000, 981 packets / 0 37-2112 2000, 1037 packets"},
        {"after the leave, before the end", 2100, 0, IgmpVersion::MLD_VERSION2,
         "0 37-2112 2000, 1037 packets / 0 -2-912 800, 457 packets"},
        {"after the end", 2113, 0, IgmpVersion::IGMP_VERSION2,
         "0 37-2112 2000, 1037 packets / 0 37-899 787, 431 packets"},
        {"nobody tells that he leaves", 2700, 0, IgmpVersion::IGMP_VERSION1,
         "0 37-2000 2000, 981 packets, no last / 0 -2-200 200, 101 packets, no last"},
        {"in another VLAN", 200, 1, IgmpVersion::IGMP_VERSION2, "2 x 0 37-2112 2000, 1037 packets"},
        {"in another session",
         200,
         0,
         IgmpVersion::IGMP_VERSION2,
         "2 x 0 37-2112 2000, 1037 packets",
         {11, 12}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Scenario scenario;
        scenario.channels.channel_count = 1;
        scenario.profile.leave_to_join_delay = 1000;
        scenario.profile.leave_to_leave_delay = 3000;
        scenario.test.test_duration = 2900;
        auto& block = scenario.blocks[0];
        block.settop_count = 2;
        block.start_delay_step = c.delay;
        block.vlan_tag = 5;
        block.vlan_step = c.vlan_step;
        block.igmp_version = c.version;
        block.ppp_index = c.sessions;
        const auto events = RunAll(scenario);
        EXPECT_EQ(c.told, Told(events));
        ASSERT_EQ(2u, events.size());
        EXPECT_EQ(1u, events[0].settop_index);
        EXPECT_EQ(2u, events[1].settop_index);
        EXPECT_EQ(5 + c.vlan_step, events[1].vlan_tag);
        EXPECT_EQ(c.sessions.empty() ? 0 : 12, events[1].ppp_index);
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
    // The end of the test cuts one off whose packet may still come.
    EXPECT_EQ("167 x 0 - 20, 0 packets, no first", Told(RunAll(scenario)));
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
