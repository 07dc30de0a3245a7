// The report shows what the simulated network does, for every kind of test.
#include <algorithm>
#include <cmath>

#include "session_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::app::ResultRow;
using orv::app::TestReport;

/// A figure of the STB block, and what it must be; the bound allows for random variation.
struct Expected {
    const char* figure;
    double value;
    double bound = 0;
};

struct Case {
    const char* name;
    TestText text;
    std::vector<Expected> expected;
};

/// Three standard deviations and a bit of `count` draws of probability `p`.
double Chance(double count, double p) {
    return 3.5 * std::sqrt(count * p * (1 - p)) + 1;
}

/// A latency that is always the same.
#define CONSTANT(figure, ms)                              \
    {"Min" figure, ms, 1e-4}, {"Avg" figure, ms, 1e-4}, { \
        "Max" figure, ms, 1e-4                            \
    }

const std::vector<std::string> kServer{"join_delay: 60", "leave_delay: 112", "unicast_join_delay: 11",
                                       "unicast_leave_delay: 23"};

/// 4 STBs for 60 s: one zap a second, 200 ms between leave and join, from channel to channel.
std::vector<Case> MakeCases() {
    const std::vector<std::string> zap{"Interval: 1000", "SetTopLeaveJoinDelay: 200"};
    const double views = 4 * 60;
    std::vector<Case> cases;
    for (const bool ipv6 : {false, true}) {
        for (const char* environment : {"TESTING", "REAL_WORLD"}) {
            TestText text{.environment = environment,
                          .seconds = 60,
                          .ipv6 = ipv6,
                          .profile = zap,
                          .network = {"join_delay: 37", "leave_delay: 112"}};
            cases.push_back({"zapping",
                             text,
                             {CONSTANT("JoinLatency", 37),
                              CONSTANT("LeaveLatency", 112),
                              // From the last packet of one channel to the first of the next.
                              CONSTANT("GapLatency", 200 + 37 - 112),
                              CONSTANT("ChangeLatency", 237),
                              CONSTANT("LeaveJoinDelay", 200),
                              {"NumOfChannelChanges", views},
                              {"JoinFails", 0},
                              {"FlaggedJoins", 0}}});
        }
    }
    cases.push_back(
        {"overlap",
         {.seconds = 60, .profile = {"Interval: 1000"}, .network = {"join_delay: 37", "leave_delay: 112"}},
         {CONSTANT("OverlapLatency", 112 - 37), {"NumOfChannelChanges", views}}});
    cases.push_back({"thresholds",
                     {.seconds = 60,
                      .profile = {"Interval: 1000", "JoinLatencyThreshold: 36", "LeaveLatencyThreshold: 111"},
                      .network = {"join_delay: 37", "leave_delay: 112"}},
                     {{"FlaggedJoins", views}, {"FlaggedLeaves", views}}});
    // 8 channels once each, for each of the 4 boxes.
    cases.push_back({"verification",
                     {.type = "VERIFICATION", .seconds = 20, .profile = zap, .network = {"join_delay: 37"}},
                     {{"NumOfChannelChanges", 4 * 8}, {"JoinFails", 0}, CONSTANT("JoinLatency", 37)}});
    cases.push_back(
        {"fast channel change",
         {.type = "FAST_CHANNEL_CHANGE",
          .environment = "TESTING",
          .seconds = 60,
          .profile = {"Interval: 1000", "SetTopLeaveJoinDelay: 200", "UnicastLeaveTriggerDelay: 300"},
          .network = kServer},
         {CONSTANT("UnicastJoinLatency", 11),
          CONSTANT("UnicastLeaveLatency", 23),
          CONSTANT("JoinLatency", 60),
          CONSTANT("LeaveLatency", 112),
          // From 11 ms after the join to 23 ms after the leave, at the rate of the burst.
          {"MinUnicastPktRateNosb", 650, 5},
          {"MaxUnicastPktRateNosb", 650, 5},
          {"TotalUnicastPktsNosb", views * 0.312 * 650, views * 2},
          {"TotalUnicastPktsSbit", 0},
          {"UnicastJoinFails", 0}}});
    cases.push_back(
        {"S-bit",
         {.type = "FAST_CHANNEL_CHANGE",
          .seconds = 60,
          .test = {"MulticastJoinTrigger: SBIT_AND_DELAY", "UnicastLeaveTrigger: MULTICAST_PKT_AND_DELAY",
                   "MinSbitDelay: 100", "MaxSbitDelay: 100"},
          .profile = {"Interval: 1000", "SetTopLeaveJoinDelay: 200", "UnicastLeaveTriggerDelay: 50"},
          .network = kServer},
         {CONSTANT("UnicastJoinLatency", 11),
          CONSTANT("JoinLatency", 60),
          {"SbitFailures", 0},
          {"JoinFails", 0}}});
    for (const char* type : {"RELIABLE_RETRANSMISSION", "FCC_WITH_RRR"}) {
        const std::string kind = type;
        TestText text{
            .type = kind,
            .environment = kind == "FCC_WITH_RRR" ? "TESTING" : "REAL_WORLD",
            .seconds = 60,
            .profile = {"Interval: 5000", "SetTopLeaveJoinDelay: 100", "UnicastLeaveTriggerDelay: 100"},
            .block = {"RtpNackEnable: true", "RtpNackInterval: 1"}};
        text.network = {"loss: 1 %", "retransmission_delay: 15"};
        cases.push_back({"retransmission",
                         text,
                         {CONSTANT("RetransmissionLatency", 15), {"FailedRetransmissionCount", 0}}});
    }
    return cases;
}

class PhysicsTest : public SessionTest {};

TEST_F(PhysicsTest, LatenciesAreThoseOfTheNetwork) {
    for (const Case& c : MakeCases()) {
        SCOPED_TRACE(std::string(c.name) + " " + c.text.type + " " + c.text.environment +
                     (c.text.ipv6 ? " 6" : " 4"));
        const RunOutcome outcome = Run(c.text.ToString());
        ASSERT_EQ(outcome.tests.size(), 1U)
            << testing::PrintToString(outcome.errors)
            << (outcome.mistakes.empty() ? "" : outcome.mistakes[0].ToString());
        EXPECT_EQ(outcome.end, RunEnd::Passed);
        const ResultRow& block = outcome.tests[0].stb_blocks.at(0);
        for (const Expected& expected : c.expected) {
            const auto& figures = block.figures;
            EXPECT_TRUE(std::any_of(figures.begin(), figures.end(),
                                    [&](const auto& figure) { return figure.first == expected.figure; }))
                << "there is no figure " << expected.figure;
            EXPECT_NEAR(block.GetNumber(expected.figure), expected.value, expected.bound + 1e-9)
                << expected.figure;
        }
    }
}

TEST_F(PhysicsTest, LossesAndFailuresAreWithinTheBoundsOfChance) {
    TestText text{
        .seconds = 120, .stbs = 40, .test = {"JoinFailThreshold: 100"}, .profile = {"Interval: 1000"}};
    text.network = {"loss: 1 %",       "reordering: 2 %",    "duplication: 3 %",
                    "late: 0.5 %",     "payload_error: 1 %", "join_failure: 5 %",
                    "join_delay: 100", "leave_delay: 100",   "packet_rate: 1000"};
    const RunOutcome outcome = Run(text.ToString());
    ASSERT_EQ(outcome.tests.size(), 1U);
    const ResultRow& block = outcome.tests[0].stb_blocks.at(0);
    const double views = block.GetNumber("NumOfChannelChanges");
    EXPECT_EQ(views, 40 * 120);
    const double failed = block.GetNumber("JoinFails");
    EXPECT_NEAR(failed, views * 0.05, Chance(views, 0.05));
    const double lost = block.GetNumber("DroppedFrameCount");
    const double once = block.GetNumber("TotalPkts") - block.GetNumber("DuplicateFrameCount");
    const double sent = once + lost;
    // The stream arrives 100 ms late and lasts 100 ms longer: a second for each view of a second.
    EXPECT_NEAR(sent, (views - failed) * 1000, (views - failed) * 2);
    for (const auto& [figure, p] : std::map<std::string, double>{{"DroppedFrameCount", 0.01},
                                                                 {"ReorderedFrameCount", 0.02},
                                                                 {"DuplicateFrameCount", 0.03},
                                                                 {"LateFrameCount", 0.005},
                                                                 {"PrbsErrorCount", 0.01}}) {
        const double of = figure == "DroppedFrameCount" ? sent : once;
        EXPECT_NEAR(block.GetNumber(figure), of * p, of * p * 0.002 + Chance(of, p)) << figure;
    }
}

TEST_F(PhysicsTest, ChannelsThatNobodySendsFail) {
    TestText text{.environment = "TESTING", .test = {"JoinFailThreshold: 99"}};
    // A generator that stops in mid-test takes the channels with it.
    text.sequence =
        "  - GeneratorStartCommand:\n"
        "  - IptvStartTestCommand: Start\n    TestEnv: TESTING\n    TestDuration: 20\n"
        "  - WaitCommand:\n    WaitTime: 10\n"
        "  - GeneratorStopCommand:\n"
        "  - IptvWaitForTestCompletionCommand:\n";
    const RunOutcome stopped = Run(text.ToString());
    EXPECT_EQ(stopped.end, RunEnd::Failed);
    ASSERT_EQ(stopped.tests.size(), 1U);
    EXPECT_NEAR(stopped.tests[0].GetFailedPercent(), 50, 3);
}

TEST_F(PhysicsTest, SourceFiltersLetThroughWhatTheyName) {
    struct Case {
        const char* version;
        const char* mode;
        const char* source;  ///< the host that sends has address 99
        double failed_percent;
    };
    for (const Case& c : std::initializer_list<Case>{{"IGMP_V3", "INCLUDE", "192.85.1.99", 0},
                                                     {"IGMP_V3", "INCLUDE", "192.85.1.98", 100},
                                                     {"IGMP_V3", "EXCLUDE", "192.85.1.99", 100},
                                                     {"IGMP_V3", "EXCLUDE", "192.85.1.98", 0},
                                                     // Has no filters.
                                                     {"IGMP_V2", "INCLUDE", "192.85.1.98", 0}}) {
        SCOPED_TRACE(std::string(c.version) + " " + c.mode + " " + c.source);
        std::string text = TestText{.environment = "TESTING"}.ToString();
        const auto insert = [&text](const std::string& before, const std::string& what) {
            text.insert(text.find(before), what);
        };
        insert("  - IptvViewedChannels", std::string("    FilterMode: ") + c.mode +
                                             "\n    UseNetworkBlockSources: true\n    children:\n"
                                             "      - Ipv4NetworkBlock:\n        StartIpList: " +
                                             c.source + "\n");
        insert("        UsesIf: Homes/Ipv4If", std::string("        Version: ") + c.version + "\n");
        const RunOutcome outcome = Run(text);
        ASSERT_EQ(outcome.tests.size(), 1U)
            << testing::PrintToString(outcome.errors)
            << (outcome.mistakes.empty() ? "" : outcome.mistakes[0].ToString());
        EXPECT_EQ(outcome.tests[0].GetFailedPercent(), c.failed_percent);
    }
}

}  // namespace
