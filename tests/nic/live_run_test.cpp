// What a test on a real network records, from requests to records, on a network that the test knows.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cmath>
#include <tuple>

#include "emulated_network.h"
#include "live/sample_frames.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::live::HostAddress;

// Frames need 20 microseconds until they are seen leaving, and packets come every 2 ms.
const std::string kViews = "10 x 0 37.98-1011.98 900, 488 packets";

const auto is_mld = [](auto v) { return v == IgmpVersion::MLD_VERSION1 || v == IgmpVersion::MLD_VERSION2; };

TEST(LiveRun, RecordsViewsOfEveryVersionOnEveryLink) {
    const std::vector<std::uint16_t> links[] = {{}, {100}, {100, 7}};
    for (const IgmpVersion version : {IgmpVersion::IGMP_VERSION2, IgmpVersion::IGMP_VERSION3,
                                      IgmpVersion::MLD_VERSION1, IgmpVersion::MLD_VERSION2}) {
        for (const auto& vlans : links) {
            SCOPED_TRACE(fmt::format("version {}, {} VLANs", static_cast<int>(version), vlans.size()));
            LiveScenario live({host_of(0, vlans, is_mld(version))});
            live.Speak(version);
            live.peer.scenario.test.test_duration = 9'500;
            live.RunAll();
            EXPECT_EQ("9 x 0 37.98-1011.98 900, 488 packets / 0 37.98-611.98 500, 288 packets",
                      Told(live.peer.events));
            int channel = 0;
            for (const auto& event : live.peer.events) EXPECT_EQ(++channel, event.viewed_channel);
            EXPECT_FALSE(live.peer.events[0].mcast_join_latency_flag ||
                         live.peer.events[0].mcast_leave_latency_flag);
            // The last view ends with the test; it is over when its packets are through and its leave is
            // repeated.
            EXPECT_LT(9'500 + 112 + 300, live.peer.end_times.at(0));
            EXPECT_GT(11'000, live.peer.end_times[0]);
            EXPECT_GE(milliseconds(live.peer.end_times[0]), live.network->sent.back().time);
            EXPECT_EQ(std::set<std::string>(), live.network->GetMemberships());
            EXPECT_EQ(live.hosts[0].vlan.count, live.network->sent.back().vlan.count);
            const bool v2 = version == IgmpVersion::IGMP_VERSION2 || version == IgmpVersion::MLD_VERSION1;
            const std::string last_leave = is_mld(version) ? "TO_IN ff1e::a {}" : "TO_IN 225.0.0.10 {}";
            EXPECT_EQ(v2 ? 0u : 2u, live.network->CountSent(last_leave));
            EXPECT_EQ(20u, live.GetPort().figures.joins_and_leaves);
            EXPECT_EQ(0u, live.GetPort().figures.unseen + live.GetPort().figures.late_joins);
            EXPECT_EQ(EmulatedNetwork::kWay, live.GetPort().figures.latest_join);
            EXPECT_EQ(1, live.GetPort().runs_over);
        }
    }
}

// In the test environment only packets with a signature count.
TEST(LiveRun, CountsWhatTheNetworkDoes) {
    const char* const counted = "10 x 0 37.98-1011.98 900, 460 packets, 48 lost, 20 duplicate";
    const std::tuple<bool, TestEnv, const char*> cases[] = {
        {false, TestEnv::TESTING, counted},
        {true, TestEnv::REAL_WORLD, counted},
        {true, TestEnv::TESTING, "10 x 0 - 900, 0 packets, no first"}};
    for (const auto& [is_foreign, environment, told] : cases) {
        LiveScenario live({host_of(0)});
        live.network->is_foreign = is_foreign;
        live.network->copies = [](std::uint64_t number, const auto&) {
            return number % 10 == 7 ? 0 : number % 25 == 3 ? 2 : 1;
        };
        live.peer.scenario.test.test_env = environment;
        live.RunAll();
        EXPECT_EQ(told, Told(live.peer.events));
    }
}

TEST(LiveRun, StbsOfALinkShareItsStreams) {
    for (const bool is_shared : {true, false}) {
        LiveScenario live(
            {host_of(0, {100}), host_of(1, {static_cast<std::uint16_t>(is_shared ? 100 : 101)})});
        live.peer.scenario.blocks[0].start_delay_step = 200;
        live.peer.scenario.test.test_duration = 2'050;
        live.RunAll();
        // STB 1 is 200 ms ahead: the other one is there when it leaves.
        EXPECT_EQ(is_shared ? "0 37.98-899.98 900, 432 packets / 0 -0.02-1011.98 900, 507 packets / "
                              "0 37.98-899.98 900, 432 packets / 0 37.98-161.98 50, 63 packets / "
                              "0 -0.02-961.98 850, 482 packets"
                            : "3 x 0 37.98-1011.98 900, 488 packets / 0 37.98-161.98 50, 63 packets / "
                              "0 37.98-961.98 850, 463 packets",
                  Told(live.peer.events));
    }
}

TEST(LiveRun, OneGroupWithTwoChoicesOfSourcesIsOneGroupOfTheNetwork) {
    const std::pair<std::vector<HostAddress>, const char*> cases[] = {
        // Until it joins again, with the other choice; and where one of them is always there.
        {{host_of(0)},
         "0 37.98-999.98 900, 482 packets, no last / 7 x 0 -0.02-999.98 900, 501 packets, no last"},
        {{host_of(0), host_of(1)}, "0 37.98-899.98 900, 432 packets / 16 x 0 -0.02-899.98 900, 451 packets"}};
    for (const auto& [hosts, told] : cases) {
        LiveScenario live(hosts);
        live.Speak(IgmpVersion::IGMP_VERSION3);
        live.network->leave_delay = milliseconds(10'000);
        live.peer.scenario.blocks[0].start_delay_step = 200;
        live.peer.scenario.channels.channel_count = 1;
        channelBlockConfig_s others = live.peer.scenario.channels;
        others.channel_handle = kChannels + 1;
        others.source_list.emplace_back().v4 = {{10, 0, 9, 77}};
        live.peer.scenario.blocks[0].channel_handle.push_back(others.channel_handle);
        EXPECT_EQ("", live.peer.FaultOf(create_req_UpdateChannelBlock, std::vector{others}, true));
        live.Start();
        live.RunTo(9'000);
        EXPECT_EQ(told, Told(live.peer.events));
    }
}

// Two sources send. Of two packets that came at once before the join, the last one counts.
TEST(LiveRun, AChannelIsJoinedAgainWhileItsLastPacketsCome) {
    // ms: the leave delay, from leave to join, the view
    const std::tuple<const char*, int, std::uint32_t, std::uint32_t, const char*> cases[] = {
        {"in the drain", 112, 50, 950,
         "0 37.98-999.98 950, 964 packets, no last / 8 x 0 -0.02-999.98 950, 1001 packets, no last / 0 "
         "-0.02-1061.98 950, 1063 packets"},
        {"after it, not yet sure that it is over", 112, 200, 800, "10 x 0 37.98-911.98 800, 876 packets"},
        {"after many short views", 0, 101, 45, "69 x 0 37.98-43.98 45, 8 packets"},
        {"after short views and long silences", 0, 1001, 45, "10 x 0 37.98-43.98 45, 8 packets"}};
    for (const auto& [what, leave_delay, leave_to_join, view, told] : cases) {
        LiveScenario live({host_of(0)});
        live.peer.scenario.channels.channel_count = 1;
        live.network->sources.push_back("10.0.9.2");
        live.network->leave_delay = milliseconds(leave_delay);
        live.peer.scenario.profile.leave_to_join_delay = leave_to_join;
        live.peer.scenario.profile.leave_to_leave_delay = leave_to_join + view;
        live.RunAll();
        EXPECT_EQ(told, Told(live.peer.events)) << what;
    }
}

TEST(LiveRun, WhoHasGivenUpWaitingGetsNothing) {
    LiveScenario live({host_of(0), host_of(1)});
    live.peer.scenario.test.test_duration = 950;
    live.peer.scenario.blocks[0].start_delay_step = 600;
    live.peer.scenario.profile.leave_to_leave_delay = 500;
    live.network->copies = [](std::uint64_t number, const std::string& group) {
        return group == "225.0.0.1" && number > 275;
    };
    live.RunAll();
    // STB 1 on two channels, STB 2 on the first of them.
    EXPECT_EQ("2 x 0 - 400, 0 packets, no first / 0 37.98-461.98 350, 213 packets", Told(live.peer.events));
    EXPECT_EQ(2u, live.peer.events[2].settop_index);
}

TEST(LiveRun, ALeaveWithoutAMessageSaysNothingOfTheLastPacket) {
    LiveScenario live({host_of(0)});
    live.Speak(IgmpVersion::IGMP_VERSION1);
    live.peer.scenario.test.test_duration = 4'000;
    live.RunAll();
    EXPECT_EQ("4 x 0 37.98-897.98 899.98, 431 packets, no last", Told(live.peer.events));
    EXPECT_EQ(4u, live.GetPort().figures.joins_and_leaves);
}

TEST(LiveRun, OnlyTheWantedSourcesCount) {
    for (const IgmpVersion version : {IgmpVersion::IGMP_VERSION3, IgmpVersion::MLD_VERSION2})
        for (const FilterModeType mode : {FilterModeType::INCLUDE, FilterModeType::EXCLUDE}) {
            const bool is_v6 = is_mld(version);
            LiveScenario live({host_of(0, {}, is_v6)});
            live.Speak(version);
            live.network->sources.push_back(is_v6 ? "2001:db8::98" : "10.0.9.2");
            live.peer.scenario.channels.filterMode = mode;
            auto& source = live.peer.scenario.channels.source_list.emplace_back();
            source.type = is_v6;
            std::ranges::copy(ip(live.network->sources[0]).GetBytes(), source.v6.address);
            live.RunAll();
            EXPECT_EQ(kViews, Told(live.peer.events));
            EXPECT_EQ(20u, live.GetPort().figures.joins_and_leaves);
        }
}

TEST(LiveRun, WhatDidNotLeaveIsNoView) {
    for (const std::string lost : {"report 225.0.0.3", "leave 225.0.0.3"}) {
        LiveScenario live({host_of(0)});
        live.network->lost_text = lost;
        live.RunAll();
        EXPECT_EQ("9 x 0 37.98-1011.98 900, 488 packets", Told(live.peer.events));
        EXPECT_EQ(0, std::ranges::count(live.peer.events, 3, &stbox_event_s::viewed_channel));
        EXPECT_EQ(1u, live.GetPort().figures.unseen);
        EXPECT_EQ(18u, live.GetPort().figures.joins_and_leaves);
    }
}

TEST(LiveRun, EndsWhenAllIsKnown) {
    // ms: duration, delays of join and leave, the earliest and the latest end; one packet in five comes
    const std::tuple<const char*, int, int, int, int, int, const char*> cases[] = {
        {"joined 300 ms ago", 9'300, 3'600'000, 112, 9'300, 9'500, "9 x 0 - 900, 0 packets, no first"},
        {"has failed", 9'700, 3'600'000, 112, 9'700, 9'900,
         "9 x 0 - 900, 0 packets, no first / 0 - 700, 0 packets, no first"},
        {"on its way", 9'000, 37, 112, 9'000, 9'500, "9 x 0 39.98-1009.98 900, 98 packets, 388 lost"},
        {"between two views", 9'950, 37, 112, 9'950, 10'400,
         "10 x 0 39.98-1009.98 900, 98 packets, 388 lost"},
        {"a network that does not stop", 9'500, 37, 3'600'000, 19'500, 21'500,
         "9 x 0 39.98-10939.98 900, 1091 packets, 4360 lost / 0 39.98-10539.98 500, 1051 packets, 4200 "
         "lost"}};
    for (const auto& [what, duration, join_delay, leave_delay, end_from, end_to, told] : cases) {
        SCOPED_TRACE(what);
        LiveScenario live({host_of(0)});
        live.peer.scenario.test.test_duration = static_cast<std::uint64_t>(duration);
        live.network->join_delay = milliseconds(join_delay);
        live.network->leave_delay = milliseconds(leave_delay);
        live.network->copies = [](std::uint64_t number, const auto&) { return number % 5 == 0; };
        live.RunAll();
        EXPECT_EQ(told, Told(live.peer.events));
        EXPECT_LE(end_from, live.peer.end_times.at(0));
        EXPECT_GE(end_to, live.peer.end_times[0]);
        EXPECT_EQ(live.network->sent.size(), live.GetPort().figures.frames_sent);
        EXPECT_EQ(std::set<std::string>(), live.network->GetMemberships());
    }
}

TEST(LiveRun, ViewsAreAsLongAsTheProfileSays) {
    LiveScenario live({host_of(0)});
    live.peer.scenario.profile.zap_interval_type = ZapIntervalType::MTL;
    live.RunAll();
    EXPECT_EQ("8 x 0 37.98-1149.98 1038, 557 packets / 0 37.98-1007.98 896, 486 packets",
              Told(live.peer.events));
    const std::int64_t leave = live.peer.events[0].mcast_leave_ts;
    EXPECT_EQ(100, std::round(Between(live.peer.events[1].mcast_join_ts, leave)));

    LiveScenario each_once({host_of(0), host_of(1, {100})});
    each_once.peer.scenario.test.test_type = TestType::VERIFICATION;
    each_once.peer.scenario.channels.channel_count = 4;
    each_once.Start();
    each_once.RunTo(9'000);
    std::set<std::pair<std::uint32_t, int>> seen;
    for (const auto& event : each_once.peer.events) seen.emplace(event.settop_index, event.viewed_channel);
    EXPECT_EQ(8u, each_once.peer.events.size());
    EXPECT_EQ(8u, seen.size());
}

TEST(LiveRun, ThePortAnnouncesTheEndAfterTheLastRecord) {
    LiveScenario live({host_of(0)});
    live.peer.scenario.test.test_duration = 9'500;
    live.Start();
    live.RunTo(9'600);
    EXPECT_EQ("iptvcd_1.Start: a test is running", live.peer.StartAgain());
    live.peer.Stop();
    live.peer.Configure();  // new registrations are no reason to wake up at other times
    int changes = 0;
    live.peer.port->ChannelsChange([&changes] { ++changes; });
    EXPECT_EQ(1, changes);
    live.RunTo(9'911);
    EXPECT_TRUE(live.peer.end_times.empty());
    live.RunTo(20'000);
    EXPECT_EQ(10u, live.peer.events.size());
    EXPECT_EQ(1u, live.peer.end_times.size());
    // One that is ending can be abandoned, and the next one starts.
    live.Start();
    live.RunTo(25'000);
    live.peer.Stop();
    EXPECT_EQ("", live.peer.FaultOf(create_req_Reset));
    live.Start();
    live.RunTo(34'000);
    EXPECT_EQ(1u, live.peer.end_times.size());
}

TEST(LiveRun, EveryChangeOfStacksIsANewRevision) {
    LiveScenario live({host_of(0)});
    const std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks(1);
    const std::vector<std::uint32_t> handle{5}, none;
    std::uint64_t last = live.GetPort().core.configuration().interfaces.revision;
    const auto is_new = [&](auto create, const auto&... values) {
        live.peer.FaultOf(create, values...);
        EXPECT_LT(last, live.GetPort().core.configuration().interfaces.revision);
        last = live.GetPort().core.configuration().interfaces.revision;
    };
    is_new(iptvcd_1_bll::create_req_ConfigInterfaces, stacks, true);
    is_new(iptvcd_1_bll::create_req_ConfigInterfacesWithIlHandle, handle, stacks, none, true);
    is_new(iptvcd_1_bll::create_req_UpdateInterfaces, handle, stacks, none, true);
    is_new(iptvcd_1_bll::create_req_DeleteInterfaces, handle, true);
    is_new(create_req_Reset);
}

TEST(LiveRun, AnAbandonedTestLeavesItsGroups) {
    for (const bool is_reset : {true, false}) {
        LiveScenario live({host_of(0), host_of(1, {100})});
        live.Start();
        live.RunTo(2'500);
        EXPECT_EQ(std::set<std::string>{"225.0.0.3"}, live.network->GetMemberships());
        if (is_reset) {
            EXPECT_EQ("", live.peer.FaultOf(create_req_Reset));
        } else {
            live.network->to_port = nullptr;
            live.peer.port.reset();
        }
        live.RunTo(2'501);
        EXPECT_EQ(std::set<std::string>(), live.network->GetMemberships());
        EXPECT_EQ(2u, live.network->CountSent("leave 225.0.0.3"));
        live.RunTo(20'000);
        EXPECT_TRUE(live.peer.end_times.empty());
    }
}

/// Hosts that have one long view each, some time after they have joined: their reports have been sent.
std::unique_ptr<LiveScenario> long_views(std::vector<HostAddress> hosts, IgmpVersion version,
                                         bool suppress_reports = false) {
    auto live = std::make_unique<LiveScenario>(
        std::move(hosts), orv::nic::MembershipSettings{.suppress_reports = suppress_reports});
    live->Speak(version);
    live->peer.scenario.test.test_duration = 60'000;
    live->peer.scenario.profile.leave_to_leave_delay = 50'000;
    live->network->is_silent = true;
    live->Start();
    live->RunTo(20'000);
    live->network->sent.clear();
    return live;
}

TEST(LiveRun, QueriesAreAnsweredByTheMembersOfTheLink) {
    for (const bool suppress : {false, true}) {
        const auto live = long_views({host_of(0, {100}), host_of(1, {100}), host_of(2, {101}), host_of(3)},
                                     IgmpVersion::IGMP_VERSION2, suppress);
        live->network->Deliver(sample_frame("igmp2_general"),
                               {.stripped_tag = orv::live::VlanTag{0x8100, 0xe000 | 100}});
        live->RunTo(40'000);
        std::set<int> answered;  // by the last byte of their address
        for (const auto& sent : live->network->sent) answered.insert(sent.host.bytes[5]);
        EXPECT_EQ(suppress ? 1u : 2u, live->network->sent.size());
        EXPECT_TRUE(std::ranges::includes(std::set<int>{1, 2}, answered));
    }
}

TEST(LiveRun, MldQueriesReachWhomTheyConcern) {
    for (const bool has_older_querier : {false, true}) {
        const auto live = long_views({host_of(0, {}, true), host_of(1, {}, true)}, IgmpVersion::MLD_VERSION2);
        if (has_older_querier) live->network->Deliver(sample_frame("mld1_group"));  // of a group of others
        std::vector<std::byte> query = sample_frame(has_older_querier ? "mld1_general" : "mld2_general");
        std::ranges::copy(std::as_bytes(live->hosts[1].ip.GetBytes()), query.begin() + 38);
        query[66] = query[67] = std::byte{1};
        refit_checksums(query);
        live->network->Deliver(query);
        live->RunTo(21'000);
        ASSERT_EQ(1u, live->network->sent.size());
        EXPECT_EQ(live->hosts[1].mac, live->network->sent[0].host);
        live->RunTo(65'000);
        EXPECT_EQ(has_older_querier ? 2u : 0u, live->network->CountSent("leave ff1e::1"));
        EXPECT_EQ(has_older_querier ? 0u : 4u, live->network->CountSent("TO_IN ff1e::1 {}"));
    }
}

TEST(LiveRun, AFloodOfGeneralQueriesIsAnsweredAFewTimesASecond) {
    const auto live = long_views({host_of(0), host_of(1), host_of(2)}, IgmpVersion::IGMP_VERSION3);
    std::vector<std::byte> query = sample_frame("igmp3_general");
    query[39] = std::byte{0};  // to be answered at once
    refit_checksums(query);
    for (int time = 20'000; time < 21'000; ++time) {
        live->network->Deliver(query);
        live->RunTo(time + 1);
    }
    EXPECT_EQ(3u * 20, live->network->sent.size());
}

TEST(LiveRun, SaysWhatItCannotRun) {
    using Test = LiveScenario;
    const ipAddress_t beyond{0, {.v4 = {{239, 255, 255, 250}}}}, v6{1, {.v6 = {{0xff, 0x1e}}}},
        source{1, {.v6 = {{0x20, 1, 0xd, 0xb8}}}};
    const std::pair<std::function<void(Test&, Scenario&)>, std::string> cases[] = {
        {[](Test&, Scenario& s) { s.blocks[0].settop_count = 3; },
         "STB block 3 has 3 STBs, and interface 5 only 2 hosts"},
        {[](Test&, Scenario& s) { s.blocks[0].vif_handle = 6; }, "there is no interface with handle 6"},
        {[](Test&, Scenario& s) { s.blocks[0].igmp_version = IgmpVersion::MLD_VERSION2; }, "STB block 3: "},
        {[&](Test&, Scenario& s) { s.channels.channel_ip_start = beyond; },
         "STB block 3: channel 7 has the group 240.0.0.0, which is no IPv4 multicast address"},
        {[&](Test&, Scenario& s) { s.channels.channel_ip_start = v6; },
         "STB block 3: channel 1 has the group ff1e::, which is no IPv4 multicast address"},
        {[&](Test& live, Scenario& s) {
             live.Speak(IgmpVersion::IGMP_VERSION3);
             s.channels.source_list = {source};
         },
         "STB block 3: channel 1 has the group 225.0.0.1, and the source 2001:db8::, which is no IPv4 "
         "address"},
        {[](Test& live, Scenario&) { live.hosts[1].vlan.count = 1; }, ""}};
    for (const auto& [spoil, why] : cases) {
        LiveScenario live({host_of(0), host_of(1)});
        spoil(live, live.peer.scenario);
        EXPECT_EQ("", live.Configure());
        EXPECT_THAT(live.peer.StartAgain(), testing::StartsWith(why.empty() ? "" : "iptvcd_1.Start: " + why));
    }
}

}  // namespace
