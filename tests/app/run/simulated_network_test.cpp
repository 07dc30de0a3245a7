// What a user sees when a port fails, and that the next run is not affected; and that the report shows what
// the simulated network does, for every kind of test.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <sstream>

#include "session_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::app::ResultRow, orv::app::TestReport, testing::HasSubstr, testing::IsEmpty;

const auto Join = [](const auto& lines) { return fmt::format("{}\n", fmt::join(lines, "\n")); };

std::vector<std::string> Words(const char* text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

/// All requests to a port with set-top boxes in a test of this kind. Missing responses to the last
/// two are no error: the test is over.
const std::vector<std::string> kRequests = Words(
    "UpdateProfile UpdateChannelBlock AttachInterfaces UpdateSettopBlock UpdateConfig UpdateStreamMap "
    "RegisterResultsNotify RegisterEOTNotify Start Stop DeregisterEOTNotify DeregisterResultsNotify");

struct FaultsTest : SessionTest {
    /// Two ports with four set-top boxes each, which make a view in each of eight seconds.
    static std::string TwoPorts(const std::vector<std::string>& faults = {}) {
        TestText text{.type = "FAST_CHANNEL_CHANGE", .environment = "TESTING", .seconds = 8, .ports = 2};
        text.profile = {"SetTopLeaveJoinDelay: 50"};
        text.network = {"join_delay: 37"};
        text.faults = faults;
        return text.ToString();
    }

    /// A run without faults has the usual results.
    void ExpectACleanRun() {
        const RunOutcome clean = Run(TwoPorts());
        EXPECT_EQ(clean.end, RunEnd::Passed);
        EXPECT_THAT(clean.errors, IsEmpty());
        ASSERT_EQ(clean.tests.size(), 1U);
        EXPECT_EQ(clean.tests[0].GetChannelChanges(), 2 * 4 * 8);
        for (const auto& block : clean.tests[0].stb_blocks) EXPECT_EQ(block.GetNumber("MaxJoinLatency"), 37);
    }
};

TEST_F(FaultsTest, EveryRequestThatGoesWrongIsAnErrorThatNamesIt) {
    for (const std::string& request : kRequests) {
        for (const char* kind : {"refuse", "lose_response", "go_offline"}) {
            SCOPED_TRACE(request + " " + kind);
            const RunOutcome outcome =
                Run(TwoPorts({fmt::format("{{kind: {}, request: {}}}", kind, request)}));
            const bool is_missed = !request.starts_with("Deregister") || kind == std::string("go_offline");
            EXPECT_EQ(outcome.end, is_missed ? RunEnd::Failure : RunEnd::Passed);
            // The plug-in's own texts name the command that has sent the request.
            const std::string errors = Join(outcome.errors);
            EXPECT_TRUE(!is_missed || errors.find(request) != errors.npos ||
                        errors.find("IptvStopTestCommand") != errors.npos)
                << errors;
            ExpectACleanRun();
        }
    }
}

TEST_F(FaultsTest, ATestThatLosesItsEndOrItsPortEndsAllTheSame) {
    const double all = 2 * 4 * 8;
    const auto expect = [&](const char* fault, RunEnd end, const char* error, double least_views) {
        SCOPED_TRACE(fault);
        const RunOutcome outcome = Run(TwoPorts({fault}));
        EXPECT_EQ(outcome.end, end) << Join(outcome.errors);
        EXPECT_THAT(Join(outcome.errors), HasSubstr(error));
        ASSERT_EQ(outcome.tests.size(), 1U);
        EXPECT_GE(outcome.tests[0].GetChannelChanges(), least_views);
        EXPECT_EQ(Query(outcome.database, "SELECT count(*) FROM DataSets WHERE EndTime IS NULL"), "0");
        ExpectACleanRun();
    };
    expect("{kind: late_end_of_test, delay_ms: 20000}", RunEnd::Passed, "", all);
    expect("{kind: repeat_end_of_test}", RunEnd::Passed, "", all);
    expect("{kind: repeat_response, request: Start}", RunEnd::Passed, "", all);
    expect("{kind: late_response, request: UpdateProfile, delay_ms: 29000}", RunEnd::Passed, "", all);
    expect("{kind: miss_end_of_test}", RunEnd::Failure, "has not ended 60 s after its time", all);
    // The port goes offline after its third report; the other one is stopped.
    expect("{kind: go_offline, occurrence: 3}", RunEnd::Failure,
           "The connection to port \"Viewers\" has ended", 10);
    expect("{kind: spoil_notification, occurrence: 2}", RunEnd::Failure, "", all / 2);
}

struct Case {
    TestText text;
    /// Names and values in ms: the least, mean and greatest latency is always the same.
    const char* latencies;
    const char* figures = "";  ///< other ones of the STB block, and their values
    double bound = 1e-9;
};

/// Three standard deviations and a bit of `count` draws of probability `p`.
const auto Chance = [](double count, double p) { return 3.5 * std::sqrt(count * p * (1 - p)) + 1; };

/// 4 STBs for 60 s: one zap a second, 200 ms between leave and join, from channel to channel, makes 240
/// views.
std::vector<Case> MakeCases() {
    const std::vector<std::string> zap{"Interval: 1000", "SetTopLeaveJoinDelay: 200"},
        network{"join_delay: 37", "leave_delay: 112"};
    const std::vector<std::string> server{"join_delay: 60", "leave_delay: 112", "unicast_join_delay: 11",
                                          "unicast_leave_delay: 23"};
    std::vector<Case> cases;
    // The gap: from the last packet of one channel to the first of the next.
    for (const bool ipv6 : {false, true})
        cases.push_back(
            {{.environment = ipv6 ? "TESTING" : "REAL_WORLD",
              .seconds = 60,
              .ipv6 = ipv6,
              .profile = zap,
              .network = network},
             "JoinLatency 37 LeaveLatency 112 GapLatency 125 ChangeLatency 237 LeaveJoinDelay 200",
             "NumOfChannelChanges 240 JoinFails 0 FlaggedJoins 0"});
    cases.push_back(
        {{.seconds = 60, .profile = {"Interval: 1000"}, .network = network}, "OverlapLatency 75"});
    TestText fast{.type = "FAST_CHANNEL_CHANGE", .environment = "TESTING", .seconds = 60, .profile = zap};
    fast.network = server;
    fast.profile.push_back("UnicastLeaveTriggerDelay: 300");
    cases.push_back({fast, "UnicastJoinLatency 11 UnicastLeaveLatency 23 JoinLatency 60 LeaveLatency 112",
                     "TotalUnicastPktsSbit 0 UnicastJoinFails 0"});
    // From 11 ms after the join to 23 ms after the leave, at the rate of the burst.
    cases.push_back({fast, "", "MinUnicastPktRateNosb 650 MaxUnicastPktRateNosb 650", 5});
    fast.environment = "REAL_WORLD";
    fast.test = {"MulticastJoinTrigger: SBIT_AND_DELAY", "UnicastLeaveTrigger: MULTICAST_PKT_AND_DELAY",
                 "MinSbitDelay: 100", "MaxSbitDelay: 100"};
    fast.profile.back() = "UnicastLeaveTriggerDelay: 50";
    cases.push_back({fast, "UnicastJoinLatency 11 JoinLatency 60", "SbitFailures 0 JoinFails 0"});
    for (const std::string type : {"RELIABLE_RETRANSMISSION", "FCC_WITH_RRR"}) {
        TestText text{
            .type = type, .environment = type == "FCC_WITH_RRR" ? "TESTING" : "REAL_WORLD", .seconds = 60};
        text.profile = {"Interval: 5000", "SetTopLeaveJoinDelay: 100", "UnicastLeaveTriggerDelay: 100"};
        text.block = {"RtpNackEnable: true", "RtpNackInterval: 1"};
        text.network = {"loss: 1 %", "retransmission_delay: 15"};
        cases.push_back({text, "RetransmissionLatency 15", "FailedRetransmissionCount 0"});
    }
    return cases;
}

struct PhysicsTest : SessionTest {
    /// The report of the only test.
    TestReport RunOne(const std::string& text, RunEnd end) {
        const RunOutcome outcome = Run(text);
        EXPECT_EQ(outcome.end, end) << Mistakes(outcome) << testing::PrintToString(outcome.errors);
        return outcome.tests.at(0);
    }
};

TEST_F(PhysicsTest, LatenciesAreThoseOfTheNetwork) {
    for (const Case& c : MakeCases()) {
        SCOPED_TRACE(c.text.ToString());
        const TestReport report = RunOne(c.text.ToString(), RunEnd::Passed);
        const ResultRow& block = report.stb_blocks.at(0);
        const auto check = [&block](const std::string& name, double value, double bound) {
            EXPECT_TRUE(std::any_of(block.figures.begin(), block.figures.end(),
                                    [&](const auto& figure) { return figure.first == name; }))
                << "there is no figure " << name;
            EXPECT_NEAR(block.GetNumber(name), value, bound) << name;
        };
        std::string name;
        double value = 0;
        for (std::istringstream in(c.latencies); in >> name >> value;) {
            for (const char* which : {"Min", "Avg", "Max"}) check(which + name, value, 1e-4);
        }
        for (std::istringstream in(c.figures); in >> name >> value;) check(name, value, c.bound);
    }
}

TEST_F(PhysicsTest, LossesAndFailuresAreWithinTheBoundsOfChance) {
    TestText text{
        .seconds = 120, .stbs = 40, .test = {"JoinFailThreshold: 100"}, .profile = {"Interval: 1000"}};
    text.network = {"loss: 1 %",       "reordering: 2 %",    "duplication: 3 %",
                    "late: 0.5 %",     "payload_error: 1 %", "join_failure: 5 %",
                    "join_delay: 100", "leave_delay: 100",   "packet_rate: 1000"};
    const TestReport report = RunOne(text.ToString(), RunEnd::Passed);
    const ResultRow& block = report.stb_blocks.at(0);
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
    EXPECT_NEAR(RunOne(text.ToString(), RunEnd::Failed).GetFailedPercent(), 50, 3);
}

TEST_F(PhysicsTest, SourceFiltersLetThroughWhatTheyName) {
    const auto expect = [&](const char* version, const char* mode, const char* source,
                            double failed_percent) {
        SCOPED_TRACE(fmt::format("{} {} {}", version, mode, source));
        std::string text = TestText{.environment = "TESTING"}.ToString();
        text.insert(text.find("  - {IptvViewedChannels"),
                    fmt::format("    FilterMode: {}\n    UseNetworkBlockSources: true\n    children:\n"
                                "      - {{Ipv4NetworkBlock: , StartIpList: {}}}\n",
                                mode, source));
        const std::string uses = "        UsesIf: Homes/Ipv4If\n";
        text.insert(text.find(uses), fmt::format("        Version: {}\n", version));
        const RunEnd end = failed_percent == 0 ? RunEnd::Passed : RunEnd::Failed;
        EXPECT_EQ(RunOne(text, end).GetFailedPercent(), failed_percent);
    };
    expect("IGMP_V3", "INCLUDE", "192.85.1.99", 0);
    expect("IGMP_V3", "INCLUDE", "192.85.1.98", 100);
    expect("IGMP_V3", "EXCLUDE", "192.85.1.99", 100);
    expect("IGMP_V3", "EXCLUDE", "192.85.1.98", 0);
    // Has no filters.
    expect("IGMP_V2", "INCLUDE", "192.85.1.98", 0);
}

}  // namespace
