// What a test on a real network records, from requests to records, on a network that the test knows.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "emulated_network.h"
#include "live/sample_frames.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::live::HostAddress;

constexpr double kGapMs = 2;

double join_latency(const stbox_event_s& event) {
    return Between(event.first_mcast_pkt_ts, event.mcast_join_ts);
}
double leave_latency(const stbox_event_s& event) {
    return Between(event.last_mcast_pkt_ts, event.mcast_leave_ts);
}
/// How many packets were sent from the first to the last one that arrived.
std::uint64_t packets_of(const stbox_event_s& event) {
    return static_cast<std::uint64_t>(Between(event.last_mcast_pkt_ts, event.first_mcast_pkt_ts) / kGapMs +
                                      1.5);
}

/// Whether every packet from the first to the last one was counted, and none as wrong.
bool is_complete(const stbox_event_s& event) {
    return packets_of(event) == event.total_mcast_packets &&
           event.lost_mcast_packets + event.reordered_mcast_packets + event.duplicate_mcast_packets +
                   event.late_mcast_packets + event.mcast_prbs_errors ==
               0;
}

const IgmpVersion kVersions[] = {IgmpVersion::IGMP_VERSION2, IgmpVersion::IGMP_VERSION3,
                                 IgmpVersion::MLD_VERSION1, IgmpVersion::MLD_VERSION2};
bool is_mld(IgmpVersion version) {
    return version == IgmpVersion::MLD_VERSION1 || version == IgmpVersion::MLD_VERSION2;
}
bool has_sources(IgmpVersion version) {
    return version == IgmpVersion::IGMP_VERSION3 || version == IgmpVersion::MLD_VERSION2;
}

TEST(LiveRun, RecordsViewsOfEveryVersionOnEveryLink) {
    const std::vector<std::uint16_t> links[] = {{}, {100}, {100, 7}};
    for (const IgmpVersion version : kVersions) {
        for (const auto& vlans : links) {
            SCOPED_TRACE(fmt::format("version {}, {} VLANs", static_cast<int>(version), vlans.size()));
            LiveScenario live({host_of(0, vlans, is_mld(version))});
            live.Speak(version);
            live.peer.scenario.test.test_duration = 9'500;
            live.RunAll();
            ASSERT_EQ(10u, live.peer.events.size());
            std::uint16_t channel = 0;
            for (const stbox_event_s& event : live.peer.events) {
                EXPECT_EQ(++channel, event.viewed_channel);
                EXPECT_NEAR(38, join_latency(event), 1.1);
                EXPECT_NEAR(111, leave_latency(event), 1.1);
                EXPECT_TRUE(is_complete(event));
                EXPECT_TRUE(event.first_pkt_ts_valid && event.last_pkt_ts_valid);
                EXPECT_FALSE(event.mcast_join_latency_flag || event.mcast_leave_latency_flag);
            }
            // The last view ends with the test; it is over when its packets are through and its leave is
            // repeated.
            ASSERT_EQ(1u, live.peer.end_times.size());
            EXPECT_LT(9'500 + 112 + 300, live.peer.end_times[0]);
            EXPECT_GT(11'000, live.peer.end_times[0]);
            EXPECT_GE(milliseconds(live.peer.end_times[0]), live.network->sent.back().time);
            EXPECT_EQ(std::set<std::string>(), live.network->GetMemberships());
            EXPECT_EQ(live.hosts[0].vlan.count, live.network->sent.back().vlan.count);
            const std::string last_leave = is_mld(version) ? "TO_IN ff1e::a {}" : "TO_IN 225.0.0.10 {}";
            EXPECT_EQ(has_sources(version) ? 2u : 0u, live.network->CountSent(last_leave));
            EXPECT_EQ(20u, live.GetPort().figures.joins_and_leaves);
            EXPECT_EQ(0u, live.GetPort().figures.unseen + live.GetPort().figures.late_joins);
            EXPECT_EQ(EmulatedNetwork::kWay, live.GetPort().figures.latest_join);
            EXPECT_EQ(1, live.GetPort().runs_over);
        }
    }
}

// In the test environment only packets with a signature count.
TEST(LiveRun, CountsWhatTheNetworkDoes) {
    const struct {
        bool is_foreign;
        TestEnv environment;
    } cases[] = {{false, TestEnv::TESTING}, {true, TestEnv::REAL_WORLD}, {true, TestEnv::TESTING}};
    for (const auto& [is_foreign, environment] : cases) {
        LiveScenario live({host_of(0)});
        live.network->is_foreign = is_foreign;
        live.network->copies = [](std::uint64_t number, const auto&) {
            return number % 10 == 7 ? 0 : number % 25 == 3 ? 2 : 1;
        };
        live.peer.scenario.test.test_env = environment;
        live.RunAll();
        ASSERT_EQ(10u, live.peer.events.size());
        const std::int64_t first_join = live.peer.events[0].mcast_join_ts;
        const auto number_at = [&](std::int64_t time) {
            return static_cast<std::uint64_t>((Between(time, first_join) + 0.02) / kGapMs + 0.5);
        };
        for (const stbox_event_s& event : live.peer.events) {
            EXPECT_EQ(!is_foreign || environment == TestEnv::REAL_WORLD, event.first_pkt_ts_valid);
            std::uint64_t received = 0, lost = 0, duplicate = 0;
            if (event.first_pkt_ts_valid) {
                const std::uint64_t last = number_at(event.last_mcast_pkt_ts);
                for (std::uint64_t i = number_at(event.first_mcast_pkt_ts); i <= last; ++i) {
                    const int copies = live.network->copies(i, "");
                    received += static_cast<std::uint64_t>(copies);
                    lost += copies == 0;
                    duplicate += copies == 2;
                }
                EXPECT_LT(40u, lost);
            }
            EXPECT_EQ(received, event.total_mcast_packets);
            EXPECT_EQ(lost, event.lost_mcast_packets);
            EXPECT_EQ(duplicate, event.duplicate_mcast_packets);
        }
    }
}

TEST(LiveRun, StbsOfALinkShareItsStreams) {
    for (const bool is_shared : {true, false}) {
        LiveScenario live(
            {host_of(0, {100}), host_of(1, {static_cast<std::uint16_t>(is_shared ? 100 : 101)})});
        live.peer.scenario.blocks[0].start_delay_step = 200;
        live.RunAll();
        ASSERT_EQ(20u, live.peer.events.size());
        for (const stbox_event_s& event : live.peer.events) {
            SCOPED_TRACE(
                fmt::format("STB {}, channel {}, {}", event.settop_index, event.viewed_channel, is_shared));
            EXPECT_TRUE(is_complete(event) && event.last_pkt_ts_valid);
            // STB 1 is 200 ms ahead: the other one is there when it leaves.
            EXPECT_NEAR(is_shared && event.settop_index == 2 ? -1 : 38, join_latency(event), 1.1);
            EXPECT_NEAR(is_shared && event.settop_index == 1 ? -1 : 111, leave_latency(event), 1.1);
        }
    }
}

TEST(LiveRun, OneGroupWithTwoChoicesOfSourcesIsOneGroupOfTheNetwork) {
    const struct {
        std::vector<HostAddress> hosts;
        double last_after_leave;
    } cases[] = {
        {{host_of(0)}, 99},              // until it joins again, with the other choice
        {{host_of(0), host_of(1)}, -1},  // one of them is always there
    };
    for (const auto& test : cases) {
        LiveScenario live(test.hosts);
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
        ASSERT_LT(6u * test.hosts.size(), live.peer.events.size());
        for (const stbox_event_s& event : live.peer.events) {
            EXPECT_NEAR(test.last_after_leave, leave_latency(event), 2) << event.settop_index;
            EXPECT_EQ(packets_of(event), event.total_mcast_packets);
        }
    }
}

TEST(LiveRun, AChannelIsJoinedAgainWhileItsLastPacketsCome) {
    const struct {
        const char* what;
        int leave_delay, leave_to_join, view;  ///< ms
        double first_after_join;               ///< ms; the stream flows when it is not positive
        double last_after_leave;
    } cases[] = {
        {"in the drain", 112, 50, 950, -1, 49},
        {"after the drain, not yet sure that it is over", 112, 200, 800, 38, 111},
        {"after many short views", 0, 101, 45, 38, -1},
        {"after short views and long silences", 0, 1001, 45, 38, -1},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        LiveScenario live({host_of(0)});
        live.peer.scenario.channels.channel_count = 1;
        live.network->sources.push_back("10.0.9.2");
        live.network->leave_delay = milliseconds(test.leave_delay);
        live.peer.scenario.profile.leave_to_join_delay = static_cast<std::uint32_t>(test.leave_to_join);
        live.peer.scenario.profile.leave_to_leave_delay =
            static_cast<std::uint32_t>(test.leave_to_join + test.view);
        live.RunAll();
        ASSERT_LT(9u, live.peer.events.size());
        for (std::size_t i = 1; i + 1 < live.peer.events.size(); ++i) {
            const stbox_event_s& event = live.peer.events[i];
            EXPECT_NEAR(test.first_after_join, join_latency(event), 2) << i;
            EXPECT_NEAR(test.last_after_leave, leave_latency(event), 2) << i;
            // Of two that came at once before the join, the last one counts.
            EXPECT_GE(1u, 2 * packets_of(event) - event.total_mcast_packets) << i;
            EXPECT_EQ(0u, event.lost_mcast_packets) << i;
        }
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
    std::map<std::pair<std::uint32_t, int>, bool> seen;  // by STB and channel
    for (const stbox_event_s& event : live.peer.events)
        seen[{event.settop_index, event.viewed_channel}] = event.first_pkt_ts_valid;
    EXPECT_EQ(
        (std::map<std::pair<std::uint32_t, int>, bool>{{{1, 1}, false}, {{1, 2}, false}, {{2, 1}, true}}),
        seen);
}

TEST(LiveRun, ALeaveWithoutAMessageSaysNothingOfTheLastPacket) {
    LiveScenario live({host_of(0)});
    live.Speak(IgmpVersion::IGMP_VERSION1);
    live.peer.scenario.test.test_duration = 4'000;
    live.RunAll();
    ASSERT_EQ(4u, live.peer.events.size());
    for (const stbox_event_s& event : live.peer.events) {
        EXPECT_TRUE(event.first_pkt_ts_valid);
        EXPECT_FALSE(event.last_pkt_ts_valid);
        EXPECT_NEAR(900, Between(event.mcast_leave_ts, event.mcast_join_ts), 1);
        EXPECT_EQ(packets_of(event), event.total_mcast_packets);
    }
    EXPECT_EQ(4u, live.GetPort().figures.joins_and_leaves);
}

TEST(LiveRun, OnlyTheWantedSourcesCount) {
    for (const IgmpVersion version : {IgmpVersion::IGMP_VERSION3, IgmpVersion::MLD_VERSION2}) {
        for (const FilterModeType mode : {FilterModeType::INCLUDE, FilterModeType::EXCLUDE}) {
            const bool is_v6 = is_mld(version);
            LiveScenario live({host_of(0, {}, is_v6)});
            live.Speak(version);
            live.network->sources = {is_v6 ? "2001:db8::99" : "10.0.9.1",
                                     is_v6 ? "2001:db8::98" : "10.0.9.2"};
            auto& channels = live.peer.scenario.channels;
            channels.filterMode = mode;
            auto& source = channels.source_list.emplace_back();
            source.type = is_v6;
            std::ranges::copy(ip(live.network->sources[0]).GetBytes(), source.v6.address);
            live.RunAll();
            ASSERT_EQ(10u, live.peer.events.size());
            for (const stbox_event_s& event : live.peer.events) {
                EXPECT_EQ(packets_of(event), event.total_mcast_packets);
                EXPECT_NEAR(111, leave_latency(event), 1.1);
            }
            EXPECT_EQ(20u, live.GetPort().figures.joins_and_leaves);
        }
    }
}

TEST(LiveRun, WhatDidNotLeaveIsNoView) {
    for (const std::string lost : {"report 225.0.0.3", "leave 225.0.0.3"}) {
        SCOPED_TRACE(lost);
        LiveScenario live({host_of(0)});
        live.network->lost_text = lost;
        live.RunAll();
        EXPECT_EQ(9u, live.peer.events.size());
        for (const stbox_event_s& event : live.peer.events) EXPECT_NE(3, event.viewed_channel);
        EXPECT_EQ(1u, live.GetPort().figures.unseen);
        EXPECT_EQ(18u, live.GetPort().figures.joins_and_leaves);
        EXPECT_EQ(1u, live.peer.end_times.size());
    }
}

TEST(LiveRun, EndsWhenAllIsKnown) {
    const struct {
        const char* what;
        int duration, join_delay, leave_delay;  ///< ms
        std::size_t records;
        int end_from, end_to;  ///< ms
        bool is_last_failed;
    } cases[] = {
        {"joined 300 ms ago", 9'300, 3'600'000, 112, 9, 9'300, 9'500, true},
        {"has failed", 9'700, 3'600'000, 112, 10, 9'700, 9'900, true},
        {"on its way", 9'000, 37, 112, 9, 9'000, 9'500, false},
        {"between two views", 9'950, 37, 112, 10, 9'950, 10'400, false},
        {"a network that does not stop", 9'500, 37, 3'600'000, 10, 19'500, 21'500, false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        LiveScenario live({host_of(0)});
        live.peer.scenario.test.test_duration = static_cast<std::uint64_t>(test.duration);
        live.network->join_delay = milliseconds(test.join_delay);
        live.network->leave_delay = milliseconds(test.leave_delay);
        live.network->copies = [](std::uint64_t number, const auto&) { return number % 5 == 0; };
        live.RunAll();
        ASSERT_EQ(test.records, live.peer.events.size());
        EXPECT_EQ(test.is_last_failed, !live.peer.events.back().first_pkt_ts_valid);
        ASSERT_EQ(1u, live.peer.end_times.size());
        EXPECT_LE(test.end_from, live.peer.end_times[0]);
        EXPECT_GE(test.end_to, live.peer.end_times[0]);
        EXPECT_EQ(live.network->sent.size(), live.GetPort().figures.frames_sent);
        EXPECT_EQ(std::set<std::string>(), live.network->GetMemberships());
    }
}

TEST(LiveRun, ViewsAreAsLongAsTheProfileSays) {
    for (const bool is_ltl : {true, false}) {
        LiveScenario live({host_of(0)});
        live.peer.scenario.profile.zap_interval_type = is_ltl ? ZapIntervalType::LTL : ZapIntervalType::MTL;
        live.RunAll();
        for (std::size_t i = 1; i + 1 < live.peer.events.size(); ++i) {
            const stbox_event_s &event = live.peer.events[i], &before = live.peer.events[i - 1];
            const std::int64_t from = is_ltl ? before.mcast_leave_ts : event.first_mcast_pkt_ts;
            EXPECT_NEAR(1000, Between(event.mcast_leave_ts, from), 0.1);
            EXPECT_NEAR(100, Between(event.mcast_join_ts, before.mcast_leave_ts), 0.1);
        }
    }
}

TEST(LiveRun, VerifiesEachChannelOnce) {
    LiveScenario live({host_of(0), host_of(1, {100})});
    live.peer.scenario.test.test_type = TestType::VERIFICATION;
    live.peer.scenario.channels.channel_count = 4;
    live.Start();
    live.RunTo(9'000);
    std::set<std::pair<std::uint32_t, int>> seen;
    for (const auto& event : live.peer.events) seen.emplace(event.settop_index, event.viewed_channel);
    EXPECT_EQ(8u, live.peer.events.size());
    EXPECT_EQ(8u, seen.size());
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
    const struct {
        std::function<void(LiveScenario&)> spoil;
        const char* fault;
    } cases[] = {
        {[](auto& live) { live.peer.scenario.test.test_type = TestType::FAST_CHANNEL_CHANGE; },
         "the test type fast channel change is not offered by live ports"},
        {[](auto& live) { live.peer.scenario.test.test_type = TestType::RELIABLE_RETRANSMISSION; },
         "the test type RTP retransmission is not offered by live ports"},
        {[](auto& live) { live.peer.scenario.test.test_type = TestType::FCC_WITH_RRR; },
         "the test type fast channel change with RTP retransmission is not offered by live ports"},
        {[](auto& live) { live.peer.scenario.blocks[0].settop_count = 3; },
         "STB block 3 has 3 STBs, and interface 5 only 2 hosts"},
        {[](auto& live) { live.peer.scenario.blocks[0].vif_handle = 6; },
         "there is no interface with handle 6"},
        {[](auto& live) { live.peer.scenario.blocks[0].igmp_version = IgmpVersion::MLD_VERSION2; },
         "STB block 3: "},
        {[](auto& live) {
             live.peer.scenario.channels.channel_ip_start.v4 = {{239, 255, 255, 250}};
         },
         "STB block 3: channel 7 has the group 240.0.0.0, which is no IPv4 multicast address"},
        {[](auto& live) {
             live.peer.scenario.channels.channel_ip_start = {1, {}};
             live.peer.scenario.channels.channel_ip_start.v6 = {{0xff, 0x1e}};
         },
         "STB block 3: channel 1 has the group ff1e::, which is no IPv4 multicast address"},
        {[](auto& live) {
             live.Speak(IgmpVersion::IGMP_VERSION3);
             auto& source = live.peer.scenario.channels.source_list.emplace_back();
             source.type = 1;
             source.v6 = {{0x20, 1, 0xd, 0xb8}};
         },
         "STB block 3: channel 1 has the group 225.0.0.1, and the source 2001:db8::, which is no IPv4 "
         "address"},
        {[](auto& live) { live.hosts[1].vlan.count = 1; }, ""},
    };
    for (const auto& test : cases) {
        LiveScenario live({host_of(0), host_of(1)});
        test.spoil(live);
        EXPECT_EQ("", live.Configure());
        const std::string fault = live.peer.StartAgain();
        const std::string expected = *test.fault ? std::string("iptvcd_1.Start: ") + test.fault : "";
        EXPECT_EQ(expected, fault.substr(0, expected.size()));
    }
}

}  // namespace
