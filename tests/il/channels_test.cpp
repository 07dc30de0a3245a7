// Channels that are sent, not sent, and sent again; and what source filters let pass.
#include <gtest/gtest.h>

#include <cmath>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::il::SourceFilter;

constexpr double kNo = NAN;

// A view from 0 to 900 ms (LTL), or 1000 ms from its first packet on (MTL).
TEST(Channels, RunningViewsFollowTheirChannel) {
    struct Case {
        ZapIntervalType type;
        bool sent;                 ///< at the start
        std::vector<int> changes;  ///< ms
        double first, last;        ///< packet, ms
        std::uint64_t packets;
        double leave = 900;
    };
    constexpr auto kLtl = ZapIntervalType::LTL, kMtl = ZapIntervalType::MTL;
    const Case cases[] = {{kLtl, true, {}, 37, 1012, 487},
                          {kLtl, true, {500}, 37, 500, 231},
                          {kLtl, false, {300}, 337, 1012, 337},
                          {kLtl, true, {500, 600}, 37, 1012, 419},  // again from 637 ms on
                          {kLtl, true, {500, 880}, 37, 500, 231},   // again, but after the leave
                          {kLtl, true, {20}, kNo, kNo, 0},          // before its first packet
                          {kLtl, true, {20, 30}, 67, 1012, 472},
                          {kLtl, true, {500, 600, 620}, 37, 500, 231},
                          {kLtl, true, {500, 600, 700}, 37, 700, 263},
                          {kLtl, true, {500, 500}, 37, 1012, 469},
                          {kMtl, false, {300}, 337, 1449, 556, 1337},
                          {kMtl, true, {20}, kNo, kNo, 0, 1000},
                          {kMtl, true, {500}, 37, 500, 231, 1037}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Scenario scenario;
        scenario.profile.zap_interval_type = c.type;
        bool sent = c.sent;
        int asked = 0;
        scenario.network.is_sent = [&](const auto&, const auto&) { return ++asked, sent; };
        Peer peer(scenario);
        peer.Start();
        for (const int change : c.changes) {
            peer.RunTo(milliseconds(change));
            peer.port->ChannelsChange([&sent] { sent = !sent; });
        }
        peer.RunTo(milliseconds(3000));
        ASSERT_GT(peer.events.size(), 1u);
        // Ten channels; answers of the network are kept from one change to the next.
        EXPECT_EQ(10 * (1 + c.changes.size()), asked);
        const auto& event = peer.events[0];
        const auto after = [&event](std::int64_t ts) { return Between(ts, event.mcast_join_ts); };
        EXPECT_EQ(std::isnan(c.first), event.first_mcast_pkt_ts == 0);
        if (!std::isnan(c.first)) {
            EXPECT_EQ(c.first, after(event.first_mcast_pkt_ts));
            EXPECT_EQ(c.last, after(event.last_mcast_pkt_ts));
        }
        EXPECT_EQ(c.packets, event.total_mcast_packets);
        EXPECT_EQ(c.leave, after(event.mcast_leave_ts));
        EXPECT_EQ(sent, peer.events[1].first_mcast_pkt_ts != 0);  // of the view after it
    }
}

// Between two views of IGMP version 1 the stream flows on, unless its source stops.
TEST(Channels, AStreamThatNobodyWatchesEndsWithItsSource) {
    for (const bool stops : {false, true}) {
        Scenario scenario;
        scenario.channels.channel_count = 1;
        scenario.blocks[0].igmp_version = IgmpVersion::IGMP_VERSION1;
        bool sent = true;
        scenario.network.is_sent = [&sent](const auto&, const auto&) { return sent; };
        Peer peer(scenario);
        peer.Start();
        for (const int change : {950, 960}) {
            peer.RunTo(milliseconds(change));
            if (stops) peer.port->ChannelsChange([&sent] { sent = !sent; });
        }
        peer.RunTo(milliseconds(3000));
        ASSERT_GT(peer.events.size(), 1u);
        EXPECT_EQ(stops ? 37 : -2, Between(peer.events[1].first_mcast_pkt_ts, peer.events[1].mcast_join_ts));
    }
}

// Without a test, and after a failed start, a change has no other effect.
TEST(Channels, AChangeIsMadeInAnyCase) {
    Peer peer{Scenario()};
    int changes = 0;
    const auto change = [&changes] { ++changes; };
    peer.port->ChannelsChange(change);
    peer.Start();
    peer.RunTo(milliseconds(450));
    peer.port->ChannelsChange(change);
    peer.RunTo(milliseconds(10'000));
    peer.port->ChannelsChange(change);
    EXPECT_EQ(3, changes);
    ASSERT_EQ(10u, peer.events.size());
    EXPECT_EQ(487u, peer.events[0].total_mcast_packets);
}

TEST(Channels, FiltersLetSourcesPass) {
    struct Case {
        IgmpVersion version;
        FilterModeType mode;
        bool with_source;
        TestEnv environment;
        bool asks, asks_include, arrives;  ///< the network knows the source
    };
    constexpr auto kInclude = FilterModeType::INCLUDE, kExclude = FilterModeType::EXCLUDE;
    constexpr auto kTesting = TestEnv::TESTING, kRealWorld = TestEnv::REAL_WORLD;
    const Case cases[] = {
        {IgmpVersion::IGMP_VERSION3, kInclude, true, kTesting, true, true, true},
        {IgmpVersion::IGMP_VERSION3, kExclude, true, kTesting, true, false, false},
        {IgmpVersion::IGMP_VERSION3, kExclude, false, kTesting, true, false, true},
        {IgmpVersion::IGMP_VERSION3, kInclude, false, kTesting, false, true, false},
        {IgmpVersion::MLD_VERSION2, kInclude, false, kRealWorld, false, true, false},
        {IgmpVersion::MLD_VERSION2, kExclude, true, kRealWorld, false, false, true},
        {IgmpVersion::IGMP_VERSION2, kInclude, false, kTesting, true, false, true},
        {IgmpVersion::IGMP_VERSION1, kExclude, true, kTesting, true, false, true},
        {IgmpVersion::MLD_VERSION1, kInclude, true, kTesting, true, false, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        const bool has_filters =
            c.version == IgmpVersion::IGMP_VERSION3 || c.version == IgmpVersion::MLD_VERSION2;
        ipAddress_t source;
        source.v4 = {{10, 0, 0, 7}};
        Scenario scenario;
        scenario.test.test_env = c.environment;
        scenario.blocks[0].igmp_version = c.version;
        scenario.channels.filterMode = c.mode;
        if (c.with_source) scenario.channels.source_list = {source};
        int asked = 0;
        scenario.network.is_sent = [&](const ipAddress_t& group, const SourceFilter& filter) {
            ++asked;
            EXPECT_EQ(225, group.v4.address[0]);
            EXPECT_EQ(c.asks_include, filter.include);
            EXPECT_EQ(has_filters && c.with_source ? 1u : 0u, filter.sources.size());
            const bool listed = !filter.sources.empty() && filter.sources[0] == source;
            return listed == filter.include;
        };
        const auto events = RunAll(scenario);
        ASSERT_EQ(10u, events.size());
        EXPECT_EQ(c.asks ? 10 : 0, asked);
        for (const auto& event : events) EXPECT_EQ(c.arrives, event.first_mcast_pkt_ts != 0);
    }
}

}  // namespace
