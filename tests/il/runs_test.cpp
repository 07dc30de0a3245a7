// A test from start to end: notifications, seeds, counters.
#include <gtest/gtest.h>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::tm::Message;

TEST(Runs, ReportsComeAtTheIntervalWithBlocksThatHaveEvents) {
    Scenario scenario;
    scenario.interval_ms = 400;
    scenario.test.test_duration = 2100;
    scenario.blocks.push_back(scenario.blocks[0]);
    scenario.blocks[1].stblock_handle = 8;
    scenario.start_delay_step = 450;
    Peer peer(scenario);
    peer.Start();
    EXPECT_EQ(1u, peer.timeline.GetPending());
    peer.RunTo(milliseconds(5000));
    // Views of the first block end at 900 and 1900 ms, of the second at 1350 ms, and all at 2100 ms.
    const std::vector<std::vector<std::uint32_t>> blocks{{kBlock}, {8}, {kBlock}, {kBlock, 8}};
    const std::vector times{milliseconds(1200), milliseconds(1600), milliseconds(2000), milliseconds(2100)};
    EXPECT_EQ(times, peer.report_times);
    EXPECT_EQ(blocks, peer.reports);
    EXPECT_EQ(std::vector{milliseconds(2100)}, peer.end_times);
    EXPECT_EQ(0u, peer.timeline.GetPending());
}

TEST(Runs, OnlyRegisteredBlocksAreReported) {
    Scenario scenario;
    scenario.blocks.push_back(scenario.blocks[0]);
    scenario.blocks[1].stblock_handle = 8;
    Peer peer(scenario);
    peer.Configure();
    Message only_one, none;
    create_req_RegisterResultsNotify(&only_one, {8}, 1000, true);
    create_req_DeregisterResultsNotify(&none);
    EXPECT_EQ("", peer.FaultOf(std::move(only_one)));
    EXPECT_EQ("", peer.FaultOf(peer.StartRequest()));
    peer.RunTo(milliseconds(2500));
    EXPECT_EQ((std::vector<std::vector<std::uint32_t>>{{8}, {8}}), peer.reports);
    EXPECT_EQ("", peer.FaultOf(std::move(none)));
    peer.RunTo(milliseconds(10'000));
    EXPECT_EQ(2u, peer.reports.size());
    EXPECT_EQ(1u, peer.end_times.size());
}

// Running views end and are reported, the end is announced, and then the stop is answered.
TEST(Runs, StopEndsATestAtOnce) {
    Peer peer{Scenario()};
    peer.Start();
    peer.RunTo(milliseconds(1300));
    const std::size_t before = peer.sent.size();
    peer.Stop();
    EXPECT_EQ(before + 3, peer.sent.size());
    EXPECT_EQ(std::vector{milliseconds(1300)}, peer.end_times);
    ASSERT_EQ(2u, peer.events.size());
    EXPECT_EQ(300, Between(peer.events[1].mcast_leave_ts, peer.events[1].mcast_join_ts));
    peer.Stop();
    peer.RunTo(milliseconds(20'000));
    EXPECT_EQ(1u, peer.end_times.size());
    EXPECT_EQ("", peer.FaultOf(peer.StartRequest()));  // and the next one may start
}

TEST(Runs, AChangedConfigurationCountsFromTheNextStart) {
    Peer peer{Scenario()};
    peer.Start();
    peer.RunTo(milliseconds(1500));
    Message update;
    profileConfig_s slower = peer.scenario.profile;
    slower.leave_to_leave_delay = 5000;
    create_req_UpdateProfile(&update, {slower}, true);
    EXPECT_EQ("", peer.FaultOf(std::move(update)));
    peer.RunTo(milliseconds(10'000));
    EXPECT_EQ(10u, peer.events.size());
    EXPECT_EQ("", peer.FaultOf(peer.StartRequest()));
    peer.RunTo(milliseconds(20'000));
    EXPECT_EQ(12u, peer.events.size());
}

TEST(Runs, APortThatIsGoneLeavesNothingBehind) {
    Scenario scenario;
    scenario.faults = {{.kind = orv::il::Fault::Kind::LateEndOfTest, .delay_ms = 500}};
    Peer peer(scenario);
    peer.Start();
    peer.RunTo(milliseconds(10'000));
    EXPECT_EQ("", peer.FaultOf(peer.StartRequest()));
    EXPECT_EQ(2u, peer.timeline.GetPending());
    peer.port.reset();
    EXPECT_EQ(0u, peer.timeline.GetPending());
}

Scenario Everything(std::uint64_t seed) {
    Scenario scenario;
    scenario.test.test_type = TestType::FCC_WITH_RRR;
    scenario.test.max_sbit_delay = 300;
    scenario.profile.zap_direction = ZapDirection::DIR_RANDOM;
    scenario.blocks[0].settop_count = 20;
    scenario.blocks[0].rrr_stbConfig.resize(1);
    scenario.blocks[0].rrr_stbConfig[0].stbNackEnable = true;
    scenario.channels.rrr_cbConfig = {{.cbNackEnable = true}};
    scenario.network.seed = seed;
    scenario.network.behaviour.loss = 0.01;
    scenario.network.behaviour.jitter = {orv::il::Distribution::Kind::Normal, 5, 5};
    scenario.network.behaviour.retransmission_loss = 0.1;
    return scenario;
}

std::vector<std::vector<std::byte>> BytesOf(const Scenario& scenario) {
    Peer peer(scenario);
    peer.Start();
    peer.RunTo(milliseconds(10'000));
    EXPECT_FALSE(peer.rrr_events.empty());
    return peer.sent;
}

TEST(Runs, SeedAndNameDecideEverything) {
    const auto bytes = BytesOf(Everything(7));
    EXPECT_EQ(bytes, BytesOf(Everything(7)));
    EXPECT_NE(bytes, BytesOf(Everything(8)));
    Scenario other_port = Everything(7);
    other_port.port_name = "Port 2";
    EXPECT_NE(bytes, BytesOf(other_port));
}

// A second run of a port is another one, but again the same wherever it is repeated.
TEST(Runs, LaterRunsDrawOtherNumbers) {
    const auto channels_of_runs = [] {
        Peer peer(Everything(7));
        std::vector<std::vector<int>> runs(2);
        for (auto& channels : runs) {
            peer.events.clear();
            peer.Start();
            peer.RunTo(milliseconds(&channels == &runs[0] ? 10'000 : 20'000));
            for (const auto& event : peer.events) channels.push_back(event.viewed_channel);
            EXPECT_FALSE(channels.empty());
        }
        return runs;
    };
    const auto runs = channels_of_runs();
    EXPECT_NE(runs[0], runs[1]);
    EXPECT_EQ(runs, channels_of_runs());
}

// Reports of an earlier run come at their times, what is left at the end. STB blocks that do not take part
// are left out.
TEST(Runs, ARecordingIsReplayed) {
    const auto report = [](milliseconds after_start, std::uint32_t block, std::uint64_t number) {
        stblock_event_s records;
        records.stblock_handle = block;
        records.events.resize(1);
        records.events[0].event_number = number;
        records.events[0].viewed_channel = 4711;
        records.rrr_events.resize(1);
        records.rrr_events[0].event_number = 10 * number;
        return orv::il::RecordedReport{after_start, {records}};
    };
    Scenario scenario;
    scenario.recordings = {{report(milliseconds(1000), kBlock, 31), report(milliseconds(1001), kBlock, 32),
                            report(milliseconds(3000), 77, 33), report(milliseconds(60'000), kBlock, 34)}};
    auto& blocks = scenario.recordings->at(0)[1].blocks;
    blocks.insert(blocks.begin(), report({}, 77, 35).blocks[0]);
    Peer peer(scenario);
    peer.Start();
    peer.port->ChannelsChange([] {});
    peer.RunTo(milliseconds(20'000));
    const std::vector times{milliseconds(1000), milliseconds(2000), milliseconds(10'000)};
    EXPECT_EQ(times, peer.report_times);
    ASSERT_EQ(3u, peer.events.size());
    ASSERT_EQ(3u, peer.rrr_events.size());
    const std::uint64_t numbers[] = {31, 32, 34};
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(numbers[i], peer.events[i].event_number);
        EXPECT_EQ(10 * numbers[i], peer.rrr_events[i].event_number);
        EXPECT_EQ(4711, peer.events[i].viewed_channel);
    }
    EXPECT_EQ(std::vector{milliseconds(10'000)}, peer.end_times);
}

// Random numbers of one STB do not depend on others on other VLANs.
TEST(Runs, OtherStbsDoNotChangeWhatOneDraws) {
    Scenario few = Everything(7);
    few.blocks[0].vlan_step = 1;
    few.test.test_duration = 5000;
    Scenario many = few;
    many.blocks[0].settop_count = 200;
    const auto of_stb_3 = [](const Scenario& scenario) {
        std::vector<stbox_event_s> events = RunAll(scenario);
        std::erase_if(events, [](const auto& event) { return event.settop_index != 3; });
        for (auto& event : events) event.event_number = 0;
        return events;
    };
    EXPECT_FALSE(of_stb_3(few).empty());
    EXPECT_EQ(of_stb_3(few), of_stb_3(many));
}

// With a seed that is a multiple of 16 the counter wraps in the first 15 s; figures go on as if it did not.
TEST(Runs, TheCounterWraps) {
    for (const std::uint64_t seed : {15u, 16u, 32u}) {
        Scenario scenario;
        scenario.network.seed = seed;
        scenario.test.test_duration = 20'000;
        const auto events = RunAll(scenario);
        int wraps = 0;
        for (std::size_t i = 0; i < events.size(); ++i) {
            EXPECT_EQ(37, Between(events[i].first_mcast_pkt_ts, events[i].mcast_join_ts));
            EXPECT_LT(events[i].mcast_leave_ts, std::int64_t{1} << 46);
            EXPECT_GT(events[i].mcast_leave_ts, 0);
            wraps += i > 0 && events[i].mcast_join_ts < events[i - 1].mcast_join_ts;
        }
        EXPECT_EQ(seed % 16 == 0 ? 1 : 0, wraps) << seed;
    }
}

TEST(Runs, ManyEventsComeInSeveralReports) {
    Scenario scenario;
    scenario.blocks[0].settop_count = 1000;
    scenario.blocks[0].vlan_step = 1;
    scenario.profile.leave_to_leave_delay = 50;
    scenario.profile.leave_to_join_delay = 0;
    scenario.interval_ms = 10'000;
    Peer peer(scenario);
    peer.Start();
    peer.RunTo(milliseconds(10'000));
    EXPECT_EQ(4u, peer.reports.size());
    EXPECT_EQ(200'000u, peer.events.size());
    // Numbered without gaps, whatever report they came in.
    for (std::size_t i = 0; i < peer.events.size(); ++i) ASSERT_EQ(i + 1, peer.events[i].event_number);
}

}  // namespace
