// When STBs join and leave which channels, what they share, and the resulting records.

#include <algorithm>
#include <set>
#include <tuple>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::il::Distribution, orv::il::SourceFilter;

std::vector<int> NumbersOf(const std::vector<stbox_event_s>& events) {
    std::vector<int> numbers;
    for (const auto& event : events) numbers.push_back(event.viewed_channel);
    return numbers;
}

// Constant delays come back as exactly those figures, whatever the test and its environment.
TEST(Zapping, ConstantDelaysAreExact) {
    for (const TestType type :
         {TestType::ZAPPING, TestType::VERIFICATION, TestType::RELIABLE_RETRANSMISSION}) {
        for (const TestEnv environment : {TestEnv::TESTING, TestEnv::REAL_WORLD}) {
            Scenario scenario;
            scenario.test.test_type = type;
            scenario.test.test_env = environment;
            const auto events = RunAll(scenario);
            // 900 ms view, 37 ms later and 112 ms longer.
            EXPECT_EQ("10 x 0 37-1012 900, 487 packets", Told(events));
            for (std::size_t i = 0; i < events.size(); ++i) {
                const auto& event = events[i];
                EXPECT_EQ(i + 1, event.event_number);
                EXPECT_EQ(event.viewed_channel, int{event.viewed_ip.v4.address[3]});
                EXPECT_TRUE(event.last_pkt_ts_valid);
                const std::int64_t before = i > 0 ? events[i - 1].mcast_leave_ts : event.mcast_join_ts;
                EXPECT_EQ(i > 0 ? 100 : 0, Between(event.mcast_join_ts, before));
            }
        }
    }
}

// Whether something sends the channels matters in the test environment only.
TEST(Zapping, IntervalRunsFromItsReference) {
    const std::tuple<ZapIntervalType, TestEnv, bool, const char*> cases[] = {
        {ZapIntervalType::LTL, TestEnv::TESTING, false, "10 x 0 - 900, 0 packets, no first"},
        {ZapIntervalType::MTL, TestEnv::TESTING, true,
         "8 x 0 37-1149 1037, 556 packets / 0 37-1016 904, 489 packets"},
        {ZapIntervalType::MTL, TestEnv::TESTING, false,
         "9 x 0 - 1000, 0 packets, no first / 0 - 100, 0 packets, no first"},
        {ZapIntervalType::MTL, TestEnv::REAL_WORLD, false,
         "8 x 0 37-1149 1037, 556 packets / 0 37-1016 904, 489 packets"},
        {ZapIntervalType::UTL, TestEnv::TESTING, true,
         "9 x 0 37-1112 1000, 537 packets / 0 37-212 100, 87 packets"}};
    for (const auto& [type, environment, sent, told] : cases) {
        Scenario scenario;
        scenario.test.test_env = environment;
        scenario.profile.zap_interval_type = type;
        scenario.network.is_sent = [sent = sent](const auto&, const auto&) { return sent; };
        EXPECT_EQ(told, Told(RunAll(scenario))) << static_cast<int>(type);
    }
}

TEST(Zapping, ChannelsFollowTheDirection) {
    // channels: of the first views
    const std::tuple<TestType, ZapDirection, std::uint16_t, std::vector<int>> cases[] = {
        {TestType::ZAPPING, ZapDirection::DIR_UP, 3, {103, 201, 202, 101, 102, 103, 201}},
        {TestType::ZAPPING, ZapDirection::DIR_DOWN, 2, {102, 101, 202, 201, 103, 102, 101}},
        {TestType::VERIFICATION, ZapDirection::DIR_UP, 3, {103, 201, 202, 101, 102}},
        {TestType::VERIFICATION, ZapDirection::DIR_DOWN, 2, {102, 101, 202, 201, 103}},
        {TestType::VERIFICATION, ZapDirection::DIR_RANDOM, 2, {102, 103, 201, 202, 101}}};
    for (const auto& [test, direction, initial, channels] : cases) {
        Scenario scenario;
        scenario.test.test_type = test;
        scenario.test.test_duration = 7000;
        scenario.profile.zap_direction = direction;
        scenario.channels.channel_count = 3;
        scenario.channels.channel_number_start = 101;
        scenario.channels.channel_initial_start = static_cast<std::uint16_t>(100 + initial);
        scenario.blocks[0].channel_handle = {kChannels, 77};
        Peer peer(scenario);
        channelBlockConfig_s more = scenario.channels;
        more.channel_handle = 77;
        more.channel_count = 2;
        more.channel_number_start = 201;
        EXPECT_EQ("", peer.FaultOf(create_req_UpdateChannelBlock, std::vector{more}, true));
        peer.Start();
        peer.RunTo(7000);
        EXPECT_EQ(channels, NumbersOf(peer.events));
    }
}

TEST(Zapping, RandomChannelsDifferFromTheLastAndReachAll) {
    Scenario scenario;
    scenario.profile.zap_direction = ZapDirection::DIR_RANDOM;
    scenario.test.test_duration = 200'000;
    const auto numbers = NumbersOf(RunAll(scenario));
    EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
    EXPECT_EQ(10u, std::set<int>(numbers.begin(), numbers.end()).size());
}

TEST(Zapping, ViewsComeAfterTheZaps) {
    const std::pair<ZapBehavior, const char*> cases[] = {
        {ZapBehavior::ZAP_N_VIEW,
         "2 x 0 37-1012 900, 487 packets / 0 37-3012 2900, 1487 packets / 2 x 0 37-1012 900, 487 packets / 0 "
         "37-3012 2900, 1487 packets / 0 37-1012 900, 487 packets"},
        {ZapBehavior::VIEW_ONLY, "3 x 0 37-3012 2900, 1487 packets / 0 37-2112 2000, 1037 packets"}};
    for (const auto& [behavior, told] : cases) {
        Scenario scenario;
        scenario.profile.zap_behavior = behavior;
        scenario.test.test_duration = 11'000;
        EXPECT_EQ(told, Told(RunAll(scenario)));
    }
}

TEST(Zapping, StartsAreDelayedByBlockAndByPort) {
    Scenario scenario;
    scenario.test.test_duration = 1500;
    scenario.start_delay_step = 100;
    scenario.blocks.push_back(scenario.blocks[0]);
    scenario.blocks[0].settop_count = scenario.blocks[1].settop_count = 2;
    scenario.blocks[0].start_delay_step = 7;
    scenario.blocks[1].stblock_handle = kBlock + 1;
    scenario.channels.channel_initial_start = 9;  // so that the STBs begin on 9, 2 (both blocks)
    scenario.channels.channel_initial_step = 3;
    Peer peer(scenario, 1500);
    std::vector<std::pair<double, int>> starts;
    std::int64_t start = 0;
    for (const auto& event : peer.events) {
        if (event.event_number > 2 || event.viewed_channel % 7 != 2) continue;
        if (start == 0) start = event.mcast_join_ts;
        starts.emplace_back(Between(event.mcast_join_ts, start), event.viewed_channel);
    }
    const std::vector<std::pair<double, int>> expected{{0, 9}, {107, 2}, {200, 9}, {300, 2}};
    EXPECT_EQ(expected, starts);
}

// Fractions as such are what the program's own tests of the network look at.
TEST(Zapping, PacketsAreIndependentAndDelaysAreDrawn) {
    Scenario scenario;
    scenario.test.test_duration = 1'000'000;  // about 490,000 packets
    auto& network = scenario.network.behaviour;
    network.loss = 0.01;
    network.reordering = 0.02;
    network.duplication = 0.03;
    network.late = 0.04;
    network.payload_error = 0.05;
    network.join_delay = {Distribution::Kind::Uniform, 20, 60};
    network.leave_delay = {Distribution::Kind::Exponential, 50, 25};
    network.jitter = {Distribution::Kind::Normal, 10, 2};
    double sums[6] = {}, squares[6] = {}, join = 0, leave = 0, views = 0;
    for (const auto& event : RunAll(scenario)) {
        ++views;
        join += Between(event.first_mcast_pkt_ts, event.mcast_join_ts);
        leave += Between(event.last_mcast_pkt_ts, event.mcast_leave_ts);
        const double counts[] = {0,
                                 1. * event.lost_mcast_packets,
                                 1. * event.reordered_mcast_packets,
                                 1. * event.duplicate_mcast_packets,
                                 1. * event.late_mcast_packets,
                                 1. * event.mcast_prbs_errors};
        for (int i = 1; i < 6; ++i) {
            sums[i] += counts[i];
            squares[i] += counts[i] * counts[i];
        }
    }
    for (int i = 1; i < 6; ++i) {  // packets are independent of each other
        const double mean = sums[i] / views;
        EXPECT_NEAR(1 - i / 100.0, (squares[i] / views - mean * mean) / mean, 0.2) << i;
    }
    EXPECT_NEAR(50, join / views, 2);
    EXPECT_NEAR(85, leave / views, 4);
}

// MTL: the interval runs from the first packet that did arrive.
TEST(Zapping, LossesMayTakeTheFirstPacketsAndAllOfThem) {
    Scenario scenario;
    scenario.profile.zap_interval_type = ZapIntervalType::MTL;
    scenario.test.test_duration = 1'000'000;
    scenario.network.behaviour.loss = 0.9;  // nine packets (18 ms) on average until one arrives
    auto events = RunAll(scenario);
    ASSERT_GT(events.size(), 800u);
    events.pop_back();  // ended by the end of the test
    double join = 0, leave = 0;
    for (const auto& event : events) {
        ASSERT_NE(0, event.first_mcast_pkt_ts);
        EXPECT_EQ(1000, Between(event.mcast_leave_ts, event.first_mcast_pkt_ts));
        EXPECT_NEAR(Between(event.last_mcast_pkt_ts, event.first_mcast_pkt_ts) / 2,
                    event.total_mcast_packets + event.lost_mcast_packets, 1);
        join += Between(event.first_mcast_pkt_ts, event.mcast_join_ts);
        leave += Between(event.last_mcast_pkt_ts, event.mcast_leave_ts);
    }
    const auto views = static_cast<double>(events.size());
    EXPECT_NEAR(37 + 18, join / views, 3);
    EXPECT_NEAR(112 - 18, leave / views, 3);

    scenario.network.behaviour.loss = 1;
    scenario.test.test_duration = 10'000;
    EXPECT_EQ("9 x 0 - 1000, 0 packets, no first / 0 - 100, 0 packets, no first", Told(RunAll(scenario)));
}

// The narrowest behaviour counts: a group range on a port before it elsewhere, then the port before
// everything else.
TEST(Zapping, BehaviourIsThatOfTheGroupThenOfThePort) {
    for (const bool v6 : {false, true}) {
        Scenario scenario;
        scenario.network.ports["Port 1"] = scenario.network.behaviour;
        scenario.network.ports["Port 1"].join_delay.a = 50;
        scenario.network.groups.resize(1);
        auto& range = scenario.network.groups[0];
        range.first.v4 = {{225, 0, 0, 3}};
        range.last.v4 = {{225, 0, 0, 4}};
        range.behaviour.join_delay.a = 70;
        std::map<std::string, orv::il::NetworkBehaviour> ports{{"Port 1", range.behaviour}};
        ports["Port 1"].join_delay.a = 80;
        range.ports = std::make_shared<std::map<std::string, orv::il::NetworkBehaviour>>(ports);
        if (v6) {  // a range that a group address is carried into
            scenario.blocks[0].igmp_version = IgmpVersion::MLD_VERSION2;
            for (auto* address : {&range.first, &range.last, &scenario.channels.channel_ip_start,
                                  &scenario.channels.channel_ip_step})
                *address = {.type = ipAddress_t::kV6, .v6 = {{0xff, 0x35}}};
            scenario.channels.channel_ip_start.v6.address[15] = 0xfe;  // channel 3 is ff35::100
            scenario.channels.channel_ip_step.v6 = {{}};
            scenario.channels.channel_ip_step.v6.address[15] = 1;
            range.first.v6.address[14] = range.last.v6.address[14] = 1;
            range.last.v6.address[15] = 1;
        }
        const auto events = RunAll(scenario);
        EXPECT_EQ(
            "2 x 0 50-1012 900, 481 packets / 2 x 0 80-960 900, 440 packets / 6 x 0 50-1012 900, 481 packets",
            Told(events));
        for (const auto& event : events) {
            const auto& bytes = event.viewed_ip.v6.address;
            EXPECT_EQ(v6 ? 0xfd + event.viewed_channel : 0, bytes[14] * 256 + bytes[15]);
            EXPECT_EQ(v6 ? 0xff : 225, bytes[0]);
        }
        scenario.port_name = "Port 2";
        EXPECT_EQ(
            "2 x 0 37-1012 900, 487 packets / 2 x 0 70-960 900, 445 packets / 6 x 0 37-1012 900, 487 packets",
            Told(RunAll(scenario)));
    }
}

// A view whose first packet is in flight when the test ends has neither failed nor succeeded.
TEST(Zapping, TheEndOfTheTestFailsNoJoin) {
    const std::tuple<TestType, bool, std::uint32_t, std::size_t> cases[] = {
        {TestType::ZAPPING, true, 1020, 1},
        {TestType::ZAPPING, true, 1037, 2},
        {TestType::ZAPPING, false, 1020, 2},
        {TestType::FAST_CHANNEL_CHANGE, true, 1005, 1},  // unicast packet at 11 ms
        {TestType::FAST_CHANNEL_CHANGE, true, 1030, 2},
        {TestType::FAST_CHANNEL_CHANGE, true, 1070, 1},  // join at 50 ms
        {TestType::FAST_CHANNEL_CHANGE, true, 1087, 2}};
    for (const auto& [type, sent, duration, count] : cases) {
        Scenario scenario;
        scenario.test.test_type = type;
        scenario.test.test_duration = duration;
        scenario.test.mcast_join_trigger = MulticastJoinTriggerType::UNICAST_JOIN_AND_DELAY;
        scenario.profile.mcast_join_trigger_delay = 50;
        scenario.profile.unicast_leave_trigger_delay = 200;
        scenario.test.min_sbit_delay = scenario.test.max_sbit_delay = 150;  // later than the end
        scenario.network.is_sent = [sent = sent](const auto&, const auto&) { return sent; };
        const auto events = RunAll(scenario);
        EXPECT_EQ(count, events.size()) << duration;
        EXPECT_FALSE(events.back().sbit_failure);
    }
}

// Two STBs on one channel, the second `delay` ms later, for a view of two seconds each.
TEST(Sharing, WhoJoinsAFlowingStreamGetsItAtOnce) {
    using Version = IgmpVersion;
    const std::tuple<const char*, std::uint32_t, std::uint16_t, bool, Version, const char*> cases[] = {
        {"while watched", 200, 0, false, Version::IGMP_VERSION2,
         "0 37-2000 2000, 981 packets / 0 -2-2112 2000, 1057 packets"},
        {"before its first packet", 20, 0, false, Version::IGMP_VERSION3,
         "0 37-2000 2000, 981 packets / 0 17-2112 2000, 1047 packets"},
        {"at the same time", 0, 0, false, Version::MLD_VERSION1,
         "0 37-2000 2000, 981 packets / 0 37-2112 2000, 1037 packets"},
        {"after the leave, before the end", 2100, 0, false, Version::MLD_VERSION2,
         "0 37-2112 2000, 1037 packets / 0 -2-912 800, 457 packets"},
        {"after the end", 2113, 0, false, Version::IGMP_VERSION2,
         "0 37-2112 2000, 1037 packets / 0 37-899 787, 431 packets"},
        {"nobody tells that he leaves", 2700, 0, false, Version::IGMP_VERSION1,
         "0 37-2000 2000, 981 packets, no last / 0 -2-200 200, 101 packets, no last"},
        {"in another VLAN", 200, 1, false, Version::IGMP_VERSION2, "2 x 0 37-2112 2000, 1037 packets"},
        {"in another session", 200, 0, true, Version::IGMP_VERSION2, "2 x 0 37-2112 2000, 1037 packets"}};
    for (const auto& [what, delay, vlan_step, has_sessions, version, told] : cases) {
        SCOPED_TRACE(what);
        Scenario scenario;
        scenario.channels.channel_count = 1;
        scenario.profile.leave_to_join_delay = 1000;
        scenario.profile.leave_to_leave_delay = 3000;
        scenario.test.test_duration = 2900;
        auto& block = scenario.blocks[0];
        block.settop_count = 2;
        block.start_delay_step = delay;
        block.vlan_tag = 5;
        block.vlan_step = vlan_step;
        block.igmp_version = version;
        if (has_sessions) block.ppp_index = {11, 12};
        const auto events = RunAll(scenario);
        EXPECT_EQ(told, Told(events));
        ASSERT_EQ(2u, events.size());
        EXPECT_EQ(1u, events[0].settop_index);
        EXPECT_EQ(2u, events[1].settop_index);
        EXPECT_EQ(5 + vlan_step, events[1].vlan_tag);
        EXPECT_EQ(has_sessions ? 12 : 0, events[1].ppp_index);
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

// In each second the network takes so many joins of streams that it does not send yet.
TEST(Sharing, FurtherJoinsOfASecondFail) {
    const std::tuple<double, int, int, int> cases[] = {
        // capacity, step of VLANs, delay of starts, failed views
        {4, 1, 0, 10},   {5, 1, 0, 0}, {4.5, 1, 0, 10},
        {0.5, 1, 0, 50}, {1, 0, 0, 0}, {4, 1, 250, 9}};  // in the first second only four have begun
    for (const auto& [capacity, vlan_step, delay, failed] : cases) {
        Scenario scenario;
        scenario.blocks[0].settop_count = 5;
        scenario.blocks[0].vlan_step = static_cast<std::int16_t>(vlan_step);
        scenario.start_delay_step = static_cast<std::uint32_t>(delay);
        scenario.network.behaviour.join_capacity = capacity;
        const auto events = RunAll(scenario);
        EXPECT_EQ(failed, std::ranges::count(events, 0, &stbox_event_s::first_mcast_pkt_ts)) << capacity;
    }
}

// A view from 0 to 900 ms (LTL), or 1000 ms from its first packet on (MTL).
TEST(Channels, RunningViewsFollowTheirChannel) {
    constexpr auto kLtl = ZapIntervalType::LTL, kMtl = ZapIntervalType::MTL;
    // Whether the channel is sent at the start, and when (ms) that changes.
    const std::tuple<ZapIntervalType, bool, std::vector<int>, const char*> cases[] = {
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
    for (const auto& [type, sent_first, changes, told] : cases) {
        SCOPED_TRACE(testing::PrintToString(changes));
        Scenario scenario;
        scenario.profile.zap_interval_type = type;
        bool sent = sent_first;
        int asked = 0;
        scenario.network.is_sent = [&](const auto&, const auto&) { return ++asked, sent; };
        Peer peer(scenario, 0);
        for (const int change : changes) {
            peer.RunTo(change);
            peer.Change(sent);
        }
        peer.RunTo(3000);
        ASSERT_GT(peer.events.size(), 1u);
        // Ten channels; answers of the network are kept from one change to the next.
        EXPECT_EQ(10 * (1 + changes.size()), asked);
        EXPECT_EQ(told, Told({peer.events[0]}));
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
    constexpr auto kInclude = FilterModeType::INCLUDE, kExclude = FilterModeType::EXCLUDE;
    constexpr auto kTesting = TestEnv::TESTING, kRealWorld = TestEnv::REAL_WORLD;
    constexpr auto kIgmp2 = IgmpVersion::IGMP_VERSION2, kIgmp3 = IgmpVersion::IGMP_VERSION3,
                   kMld1 = IgmpVersion::MLD_VERSION1, kMld2 = IgmpVersion::MLD_VERSION2;
    // with a source or without; the network is asked, to include, and lets the stream arrive
    const std::tuple<IgmpVersion, FilterModeType, bool, TestEnv, bool, bool, bool> cases[] = {
        {kIgmp3, kInclude, true, kTesting, true, true, true},
        {kIgmp3, kExclude, true, kTesting, true, false, false},
        {kIgmp3, kExclude, false, kTesting, true, false, true},
        {kIgmp3, kInclude, false, kTesting, false, true, false},
        {kMld2, kInclude, false, kRealWorld, false, true, false},
        {kMld2, kExclude, true, kRealWorld, false, false, true},
        {kIgmp2, kInclude, false, kTesting, true, false, true},
        {kMld1, kInclude, true, kTesting, true, false, true}};
    for (const auto& [version, mode, with_source, environment, asks, include, arrives] : cases) {
        SCOPED_TRACE(testing::PrintToString(std::tuple(int(version), int(mode), with_source)));
        const std::size_t sources = (version == kIgmp3 || version == kMld2) && with_source;
        ipAddress_t source;
        source.v4 = {{10, 0, 0, 7}};
        Scenario scenario;
        scenario.test.test_env = environment;
        scenario.blocks[0].igmp_version = version;
        scenario.channels.filterMode = mode;
        if (with_source) scenario.channels.source_list = {source};
        int asked = 0;
        scenario.network.is_sent = [&, include = include](const ipAddress_t& group,
                                                          const SourceFilter& filter) {
            ++asked;
            EXPECT_EQ(225, group.v4.address[0]);
            EXPECT_EQ(include, filter.include);
            EXPECT_EQ(sources, filter.sources.size());
            return (!filter.sources.empty() && filter.sources[0] == source) == filter.include;
        };
        EXPECT_EQ(arrives ? "10 x 0 37-1012 900, 487 packets" : "10 x 0 - 900, 0 packets, no first",
                  Told(RunAll(scenario)));
        EXPECT_EQ(asks ? 10 : 0, asked);
    }
}

}  // namespace
