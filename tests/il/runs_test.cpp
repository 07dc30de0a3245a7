// A test from start to end: notifications, seeds, counters.

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

TEST(Runs, ReportsComeAtTheIntervalWithBlocksThatHaveEvents) {
    Scenario scenario;
    scenario.interval_ms = 400;
    scenario.test.test_duration = 2100;
    scenario.blocks.push_back(scenario.blocks[0]);
    scenario.blocks[1].stblock_handle = 8;
    scenario.start_delay_step = 450;
    Peer peer(scenario, 0);
    EXPECT_EQ(1u, peer.timeline.GetPending());
    peer.RunTo(5000);
    // Views of the first block end at 900 and 1900 ms, of the second at 1350 ms, and all at 2100 ms.
    const std::vector<std::vector<std::uint32_t>> blocks{{kBlock}, {8}, {kBlock}, {kBlock, 8}};
    EXPECT_EQ((std::vector{1200, 1600, 2000, 2100}), peer.report_times);
    EXPECT_EQ(blocks, peer.reports);
    EXPECT_EQ(std::vector{2100}, peer.end_times);
    EXPECT_EQ(0u, peer.timeline.GetPending());
}

TEST(Runs, OnlyRegisteredBlocksAreReported) {
    Scenario scenario;
    scenario.blocks.push_back(scenario.blocks[0]);
    scenario.blocks[1].stblock_handle = 8;
    Peer peer(scenario);
    peer.Configure();
    EXPECT_EQ("", peer.FaultOf(create_req_RegisterResultsNotify, std::vector{8u}, 1000u, true));
    EXPECT_EQ("", peer.StartAgain());
    peer.RunTo(2500);
    EXPECT_EQ((std::vector<std::vector<std::uint32_t>>{{8}, {8}}), peer.reports);
    EXPECT_EQ("", peer.FaultOf(create_req_DeregisterResultsNotify));
    peer.RunTo(10'000);
    EXPECT_EQ(2u, peer.reports.size());
    EXPECT_EQ(1u, peer.end_times.size());
}

// Running views end and are reported, the end is announced, and then the stop is answered.
TEST(Runs, StopEndsATestAtOnce) {
    Peer peer(Scenario(), 1300);
    const std::size_t before = peer.sent.size();
    peer.Stop();
    EXPECT_EQ(before + 3, peer.sent.size());
    EXPECT_EQ("0 37-1012 900, 487 packets / 0 37-412 300, 187 packets", Told(peer.events));
    peer.Stop();
    peer.RunTo(20'000);
    EXPECT_EQ(std::vector{1300}, peer.end_times);
    EXPECT_EQ("", peer.StartAgain());  // and the next one may start
}

TEST(Runs, AChangedConfigurationCountsFromTheNextStart) {
    Peer peer(Scenario(), 1500);
    profileConfig_s slower = peer.scenario.profile;
    slower.leave_to_leave_delay = 5000;
    EXPECT_EQ("", peer.FaultOf(create_req_UpdateProfile, std::vector{slower}, true));
    peer.RunTo(10'000);
    EXPECT_EQ(10u, peer.events.size());
    EXPECT_EQ("", peer.StartAgain());
    peer.RunTo(20'000);
    EXPECT_EQ(12u, peer.events.size());
}

TEST(Runs, APortThatIsGoneLeavesNothingBehind) {
    Scenario scenario;
    scenario.faults = {{.kind = orv::il::Fault::Kind::LateEndOfTest, .delay_ms = 500}};
    Peer peer(scenario, 10'000);
    EXPECT_EQ("", peer.StartAgain());
    EXPECT_EQ(2u, peer.timeline.GetPending());
    peer.port.reset();
    EXPECT_EQ(0u, peer.timeline.GetPending());
}

Scenario Everything(std::uint64_t seed, const char* port = "Port 1") {
    Scenario scenario;
    scenario.port_name = port;
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

// A second run of a port is another one, but again the same wherever it is repeated.
TEST(Runs, SeedAndNameAndNumberDecideEverything) {
    const auto runs_of = [](const Scenario& scenario) {
        Peer peer(scenario);
        std::array<std::vector<std::vector<std::byte>>, 2> runs;
        for (auto& bytes : runs) {
            peer.Start();
            peer.sent.clear();
            peer.RunTo(&bytes == &runs[0] ? 10'000 : 20'000);
            bytes = peer.sent;
            EXPECT_FALSE(peer.rrr_events.empty());
        }
        return runs;
    };
    const auto runs = runs_of(Everything(7));
    EXPECT_NE(runs[0], runs[1]);
    EXPECT_EQ(runs, runs_of(Everything(7)));
    EXPECT_NE(runs[0], runs_of(Everything(8))[0]);
    EXPECT_NE(runs[0], runs_of(Everything(7, "Port 2"))[0]);
}

// Reports of an earlier run come at their times, what is left at the end. STB blocks that do not take part
// are left out.
TEST(Runs, ARecordingIsReplayed) {
    const auto report = [](int after_start, std::uint32_t block, std::uint64_t number) {
        stblock_event_s records;
        records.stblock_handle = block;
        records.events.resize(1);
        records.events[0].event_number = number;
        records.rrr_events.resize(1);
        records.rrr_events[0].event_number = 10 * number;
        return orv::il::RecordedReport{milliseconds(after_start), {records}};
    };
    Scenario scenario;
    scenario.recordings = {{report(1000, kBlock, 31), report(1001, kBlock, 32), report(3000, 77, 33),
                            report(60'000, kBlock, 34)}};
    auto& blocks = scenario.recordings->at(0)[1].blocks;
    blocks.insert(blocks.begin(), report(0, 77, 35).blocks[0]);
    Peer peer(scenario, 0);
    peer.port->ChannelsChange([] {});
    peer.RunTo(20'000);
    EXPECT_EQ((std::vector{1000, 2000, 10'000}), peer.report_times);
    std::vector<std::uint64_t> numbers;
    for (const auto& event : peer.events) numbers.push_back(event.event_number);
    for (const auto& event : peer.rrr_events) numbers.push_back(event.event_number);
    EXPECT_EQ((std::vector<std::uint64_t>{31, 32, 34, 310, 320, 340}), numbers);
    EXPECT_EQ(std::vector{10'000}, peer.end_times);
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
        EXPECT_EQ("20 x 0 37-1012 900, 487 packets", Told(events));
        int wraps = 0;
        for (std::size_t i = 0; i < events.size(); ++i) {
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
    Peer peer(scenario, 10'000);
    EXPECT_EQ(4u, peer.reports.size());
    EXPECT_EQ(200'000u, peer.events.size());
    // Numbered without gaps, whatever report they came in.
    for (std::size_t i = 0; i < peer.events.size(); ++i) ASSERT_EQ(i + 1, peer.events[i].event_number);
}

}  // namespace
