// Channels that are sent, not sent, and sent again; and what source filters let pass.
#include <gtest/gtest.h>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::il::SourceFilter;

// A view from 0 to 900 ms (LTL), or 1000 ms from its first packet on (MTL).
TEST(Channels, RunningViewsFollowTheirChannel) {
    struct Case {
        ZapIntervalType type;
        bool sent;                 ///< at the start
        std::vector<int> changes;  ///< ms
        const char* told;
    };
    constexpr auto kLtl = ZapIntervalType::LTL, kMtl = ZapIntervalType::MTL;
    const Case cases[] = {
        {kLtl, true, {}, "0 37-1012 900, 487 packets"},
        {kLtl, true, {500}, "0 37-500 900, 231 packets"},
        {kLtl, false, {300}, "0 337-1012 900, 337 packets"},
        {kLtl, true, {500, 600}, "0 37-1012 900, 419 packets"},  // again from 637 ms on
        {kLtl, true, {500, 880}, "0 37-500 900, 231 packets"},   // again, but after the leave
        {kLtl, true, {20}, "0 - 900, 0 packets, no first"},
        {kLtl, true, {20, 30}, "0 67-1012 900, 472 packets"},
        {kLtl, true, {500, 600, 620}, "0 37-500 900, 231 packets"},
        {kLtl, true, {500, 600, 700}, "0 37-700 900, 263 packets"},
        {kLtl, true, {500, 500}, "0 37-1012 900, 469 packets"},
        {kMtl, false, {300}, "0 337-1449 1337, 556 packets"},
        {kMtl, true, {20}, "0 - 1000, 0 packets, no first"},
        {kMtl, true, {500}, "0 37-500 1037, 231 packets"}};
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
            peer.RunTo(change);
            peer.Change(sent);
        }
        peer.RunTo(3000);
        ASSERT_GT(peer.events.size(), 1u);
        // Ten channels; answers of the network are kept from one change to the next.
        EXPECT_EQ(10 * (1 + c.changes.size()), asked);
        EXPECT_EQ(c.told, Told({peer.events[0]}));
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
        int changes = 0;
        peer.port->ChannelsChange([&changes] { ++changes; });  // without a test it has no other effect
        EXPECT_EQ(1, changes);
        peer.Start();
        for (const int change : {950, 960}) {
            peer.RunTo(change);
            if (stops) peer.Change(sent);
        }
        peer.RunTo(3000);
        ASSERT_GT(peer.events.size(), 1u);
        EXPECT_EQ(stops ? 37 : -2, Between(peer.events[1].first_mcast_pkt_ts, peer.events[1].mcast_join_ts));
    }
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
    constexpr auto kIgmp2 = IgmpVersion::IGMP_VERSION2, kIgmp3 = IgmpVersion::IGMP_VERSION3,
                   kMld1 = IgmpVersion::MLD_VERSION1, kMld2 = IgmpVersion::MLD_VERSION2;
    const Case cases[] = {{kIgmp3, kInclude, true, kTesting, true, true, true},
                          {kIgmp3, kExclude, true, kTesting, true, false, false},
                          {kIgmp3, kExclude, false, kTesting, true, false, true},
                          {kIgmp3, kInclude, false, kTesting, false, true, false},
                          {kMld2, kInclude, false, kRealWorld, false, true, false},
                          {kMld2, kExclude, true, kRealWorld, false, false, true},
                          {kIgmp2, kInclude, false, kTesting, true, false, true},
                          {kMld1, kInclude, true, kTesting, true, false, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        const bool has_filters = c.version == kIgmp3 || c.version == kMld2;
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
            return (!filter.sources.empty() && filter.sources[0] == source) == filter.include;
        };
        EXPECT_EQ(c.arrives ? "10 x 0 37-1012 900, 487 packets" : "10 x 0 - 900, 0 packets, no first",
                  Told(RunAll(scenario)));
        EXPECT_EQ(c.asks ? 10 : 0, asked);
    }
}

}  // namespace
