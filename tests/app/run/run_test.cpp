// Runs as a whole: what is refused, what ends them, what they leave.
#include <fmt/format.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "output/outcome_json.h"
#include "output/summary.h"
#include "session_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::app::RunOptions;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

class RunTest : public SessionTest {};

std::string Mistakes(const RunOutcome& outcome) {
    std::string text;
    for (const auto& mistake : outcome.mistakes) text += mistake.ToString() + "\n";
    return text;
}

TEST_F(RunTest, WhatLivePortsCannotDoIsRefusedBeforeAnythingRuns) {
    struct Case {
        const char* what;
        TestText text;
        const char* replaced;
        const char* by;
        const char* mistake;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"two ports on one interface",
              {},
              "- Port: Viewers\n",
              "- Port: Viewers\n    Location: linux://a\n  - Port: Others\n    Location: linux://a\n",
              "Port \"Others\", Location: \"linux://a\" is that of Port \"Viewers\", too"},
             {"no interface's name",
              {},
              "- Port: Viewers\n",
              "- Port: Viewers\n    Location: linux://a23456789012345.\n",
              "Port \"Viewers\", Location: \"linux://a23456789012345.\" names no network interface"},
             {"a test that live ports do not offer",
              {.type = "FCC_WITH_RRR", .environment = "REAL_WORLD"},
              "- Port: Viewers\n",
              "- Port: Viewers\n    Location: linux://a\n",
              "IptvStartTestCommand \"Start\", TestType: fast channel change with retransmission is not "
              "offered by "
              "live "
              "ports, one of which is Port \"Viewers\""},
             {"a load that live ports do not offer",
              {.environment = "TESTING"},
              "- Port: Head end\n    children:\n      - StreamBlock: Streams\n",
              "- Port: Head end\n    Location: linux://a\n    children:\n      - StreamBlock: Streams\n"
              "        LoadUnit: INTER_BURST_GAP\n",
              "StreamBlock \"Streams\": LoadUnit INTER_BURST_GAP is not offered by live ports"},
             {"a layer that live ports do not offer",
              {},
              "- Port: Viewers\n",
              "- Port: Viewers\n    Location: linux://a\n  - EmulatedDevice: Others\n    AffiliationPort: "
              "Viewers\n"
              "    children:\n      - EthIIIf: E\n      - VlanIf: V\n        Tpid: 0x9200\n        "
              "StackedOn: E\n"
              "      - Ipv4If: Top\n        StackedOn: V\n",
              "test.yaml:\\d+:9: Ipv4If \"Top\": has a VLAN tag of type 0x9200; live ports offer 0x8100, "
              "0x88a8 and"},
             {"a live port on the virtual clock",
              {},
              "- Port: Viewers\n",
              "- Port: Viewers\n    Location: linux://a\n",
              "test.yaml:\\d+:15: Port \"Viewers\", Location: a live port needs the real clock"},
         }) {
        SCOPED_TRACE(c.what);
        std::string text = c.text.ToString();
        if (*c.replaced) text.replace(text.find(c.replaced), std::string(c.replaced).size(), c.by);
        const RunOutcome outcome = Run(text);
        EXPECT_EQ(outcome.end, RunEnd::BadInput);
        EXPECT_TRUE(std::regex_search(Mistakes(outcome), std::regex(c.mistake))) << Mistakes(outcome);
        EXPECT_FALSE(std::filesystem::exists(folder / "results.db"));
    }
}

TEST_F(RunTest, AWizardMakesTheSequenceItself) {
    std::string text = ReadFile(std::filesystem::path(EXAMPLES_PATH) / "wizard-ipv4.yaml");
    text.insert(text.find("simulation:"), "sequence:\n  - WaitCommand:\n");
    EXPECT_THAT(Mistakes(Run(text)),
                testing::ContainsRegex("test.yaml:7:5: .*the wizard makes the sequence"));
}

TEST_F(RunTest, ASequenceOfTestsHasAReportForEach) {
    TestText text{.network = {"join_failure: 20 %"}};
    text.sequence =
        "  - SequencerLoopCommand:\n    IterationCount: 2\n    children:\n"
        "      - IptvStartTestCommand:\n        TestName: strict\n        TestEnv: REAL_WORLD\n        "
        "TestDuration: 10\n"
        "      - IptvWaitForTestCompletionCommand:\n"
        "  - IptvStartTestCommand:\n    TestName: lenient\n    TestEnv: REAL_WORLD\n    TestDuration: 20\n"
        "    JoinFailThreshold: 50\n";  // nothing waits for it
    const RunOutcome outcome = Run(text.ToString());
    EXPECT_EQ(outcome.end, RunEnd::Failed) << testing::PrintToString(outcome.errors) << Mistakes(outcome);
    ASSERT_EQ(outcome.tests.size(), 3U);
    for (int i : {0, 1}) {
        EXPECT_EQ(outcome.tests[i].name, "strict");
        EXPECT_FALSE(outcome.tests[i].passed);
        EXPECT_EQ(outcome.tests[i].GetChannelChanges(), 4 * 10);
    }
    EXPECT_EQ(outcome.tests[2].name, "lenient");
    EXPECT_TRUE(outcome.tests[2].passed);
    EXPECT_EQ(outcome.tests[2].GetChannelChanges(), 4 * 20);
    EXPECT_EQ(Query(outcome.database, "SELECT count(*) FROM DataSets WHERE EndTime IS NOT NULL"), "3");
}

TEST_F(RunTest, ARecordingOfSeveralTestsReplaysEachInItsTest) {
    TestText text{.test = {"JoinFailThreshold: 100"}, .network = {"join_failure: 20 %"}};
    const std::string start =
        "  - IptvStartTestCommand:\n    TestEnv: REAL_WORLD\n    JoinFailThreshold: 100\n    TestDuration: ";
    const std::string wait = "  - IptvWaitForTestCompletionCommand:\n";
    text.sequence = start + "5\n" + wait + start + "7\n" + wait;
    RunOptions record, replay;
    record.record = replay.replay = folder / "two.jsonl";
    const RunOutcome first = Run(text.ToString(), record), second = Run(text.ToString(), replay);
    ASSERT_EQ(first.tests.size(), 2U);
    ASSERT_EQ(second.tests.size(), 2U);
    for (int i : {0, 1}) {
        EXPECT_EQ(first.tests[i].GetChannelChanges(), 4 * (5 + 2 * i));
        EXPECT_EQ(second.tests[i].GetChannelChanges(), first.tests[i].GetChannelChanges());
        EXPECT_EQ(second.tests[i].GetFailedJoins(), first.tests[i].GetFailedJoins());
    }
}

TEST_F(RunTest, AnInterruptEndsTheTestInOrder) {
    TestText text{.seconds = 600};
    observer.on_progress = [this](const orv::app::RunProgress& progress) {
        if (progress.elapsed > std::chrono::seconds(30)) observer.interrupts = 1;
    };
    const RunOutcome outcome = Run(text.ToString());
    EXPECT_EQ(outcome.end, RunEnd::Interrupted);
    EXPECT_THAT(outcome.errors, IsEmpty());
    EXPECT_THAT(observer.notes, Contains(HasSubstr("ends in order")));
    ASSERT_EQ(outcome.tests.size(), 1U);
    EXPECT_NEAR(outcome.tests[0].GetChannelChanges(), 4 * 30, 4);
    EXPECT_EQ(Query(outcome.database, "SELECT sum(NumOfChannelChanges) FROM IptvStbBlockResults"),
              fmt::format("{:.1f}", outcome.tests[0].GetChannelChanges()));
    observer = {};
    EXPECT_EQ(Run(TestText{}.ToString()).end, RunEnd::Passed);
}

TEST_F(RunTest, ProgressShowsTheTestAsItGoes) {
    std::vector<orv::app::RunProgress> seen;
    observer.on_progress = [&seen](const auto& progress) {
        if (!progress.test.empty()) seen.push_back(progress);
    };
    Run(TestText{.seconds = 30, .network = {"join_delay: 37", "join_failure: 10 %"}}.ToString());
    ASSERT_GT(seen.size(), 250U);
    const auto& last = seen.back();
    EXPECT_EQ(last.duration, std::chrono::seconds(30));
    EXPECT_GT(last.elapsed, std::chrono::seconds(29));
    EXPECT_GT(last.figures.channel_changes, 100);
    EXPECT_GT(last.figures.failed_joins, 0);
    EXPECT_NEAR(last.figures.average_join_latency, 37, 1e-3);
}

TEST_F(RunTest, ADatabaseOrRecordingThatCannotBeWrittenIsAnError) {
    WriteFile(folder / "file", "no folder");
    RunOptions options;
    options.database = folder / "file" / "results.db";
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    EXPECT_EQ(outcome.end, RunEnd::Failure);
    EXPECT_THAT(testing::PrintToString(outcome.errors), HasSubstr("file/results.db"));
    options = {};
    options.record = folder / "file" / "all.jsonl";
    EXPECT_THAT(Run(TestText{}.ToString(), options).errors,
                Contains(HasSubstr("all.jsonl cannot be written")));
}

TEST_F(RunTest, EventsOfSomebodyElseAreBinned) {
    RunOptions options;
    options.replay = folder / "events.jsonl";
    WriteFile(options.replay,
              R"({"port": "Viewers", "time_ms": 1000, "blocks": [{"stb_block": "Boxes", "events": [
        {"settop_index": 1, "viewed_channel": 2, "viewed_ip": "225.0.0.2", "mcast_join_ts": 100000, "first_mcast_pkt_ts": 350000,
         "mcast_leave_ts": 9000000, "last_mcast_pkt_ts": 9100000, "first_pkt_ts_valid": true, "last_pkt_ts_valid": true,
         "total_mcast_packets": 100, "lost_mcast_packets": 3}]}]})");
    std::string text = ReadFile(options.replay);
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    WriteFile(options.replay, text + "\n\n");
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    ASSERT_EQ(outcome.tests.size(), 1U) << Mistakes(outcome);
    const auto& block = outcome.tests[0].stb_blocks.at(0);
    EXPECT_EQ(block.GetNumber("NumOfChannelChanges"), 1);
    EXPECT_EQ(block.GetNumber("AvgJoinLatency"), 2.5);
    EXPECT_EQ(block.GetNumber("AvgLeaveLatency"), 1);
    EXPECT_EQ(block.GetNumber("DroppedFrameCount"), 3);
}

TEST_F(RunTest, ARecordingWithMistakesIsRefusedWithAllOfThem) {
    RunOptions options;
    options.replay = folder / "bad.jsonl";
    WriteFile(options.replay,
              "{\"port\": \"Viewers\", \"time_ms\": 5, \"blocks\": []}\n"
              "not json\n"
              "{\"time_ms\": 5, \"blocks\": []}\n"
              "{\"port\": \"Viewer\", \"time_ms\": 5, \"blocks\": []}\n"
              "{\"port\": \"Viewers\", \"time_ms\": -5, \"blocks\": []}\n"
              "{\"port\": \"Viewers\", \"time_ms\": 5}\n"
              "{\"port\": \"Viewers\", \"time_ms\": 5, \"blocks\": [{\"stb_block\": \"Nobody\"}]}\n"
              "{\"port\": \"Viewers\", \"time_ms\": 5, \"blocks\": [{\"stb_block\": \"Boxes\", \"events\": "
              "[{\"viewed_chanel\": 3}]}]}\n"
              "{\"port\": \"Viewers\", \"time_ms\": 5, \"blocks\": [{\"stb_block\": \"Boxes\", \"events\": "
              "[{\"viewed_channel\": 70000}]}]}\n"
              "{\"port\": \"Viewers\", \"time_ms\": 5, \"blocks\": [{\"stb_block\": \"Boxes\", \"events\": "
              "[{\"viewed_ip\": \"here\"}]}]}\n");
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    EXPECT_EQ(outcome.end, RunEnd::BadInput);
    const std::string mistakes = std::regex_replace(Mistakes(outcome), std::regex("[^\n]*bad.jsonl"), "");
    EXPECT_EQ(
        mistakes,
        ":2:1: notification: the line is no JSON object\n"
        ":3:1: notification, port: the name of the port is missing\n"
        ":4:1: notification, port: \"Viewer\" is no port of the test; expected Viewers; did you mean "
        "Viewers?\n"
        ":5:1: notification, time_ms: the time is missing or wrong; expected milliseconds since the start\n"
        ":6:1: notification, blocks: the list is missing\n"
        ":7:1: notification, stb_block: \"Nobody\" is no STB block of the test\n"
        ":8:1: notification, events: an event has no member \"viewed_chanel\"; did you mean viewed_channel?\n"
        ":9:1: notification, events: viewed_channel: 70000 is wrong; expected a whole number from 0 to "
        "65535\n"
        ":10:1: notification, events: viewed_ip: \"here\" is wrong; expected an IPv4 or IPv6 address\n");
}

TEST_F(RunTest, ARecordingReplacesLivePorts) {
    TestText text;
    RunOptions record, replay;
    record.record = replay.replay = folder / "recorded.jsonl";
    const RunOutcome first = Run(text.ToString(), record);
    std::string live = text.ToString();
    live.replace(live.find("- Port: Viewers\n"), 16, "- Port: Viewers\n    Location: linux://nosuch0\n");
    const RunOutcome second = Run(live, replay);
    EXPECT_EQ(second.end, RunEnd::Passed) << Mistakes(second) << testing::PrintToString(second.errors);
    ASSERT_EQ(second.tests.size(), 1U);
    EXPECT_EQ(second.tests[0].GetChannelChanges(), first.tests.at(0).GetChannelChanges());
    EXPECT_THAT(second.live_ports, IsEmpty());
}

TEST(OutputTest, SaysWhatLivePortsDid) {
    RunOutcome outcome;
    outcome.live_ports = {{"Viewers", "stb0", {}}, {"Head end", "src0", {}}, {"Idle", "idle0", {}}};
    outcome.live_ports[0].figures.joins_and_leaves = 2000;
    outcome.live_ports[0].figures.latest_join = std::chrono::microseconds(310);
    outcome.live_ports[1].figures.stream_packets_sent = 500;
    EXPECT_THAT(
        orv::app::MakeSummary(outcome),
        HasSubstr(
            "Port Viewers on stb0: 2000 joins and leaves, all seen leaving the interface; latest 0.3 ms "
            "after its time\n"
            "Port Head end on src0: 500 stream packets sent\n"
            "Port Idle on idle0: no joins and leaves\n"));
    outcome.live_ports.resize(1);
    auto& figures = outcome.live_ports[0].figures;
    figures.unseen = 3;
    figures.frames_unsent = 4;
    figures.frames_dropped = 5;
    figures.late_joins = 6;
    EXPECT_THAT(
        orv::app::MakeSummary(outcome),
        testing::AllOf(
            HasSubstr(
                "2000 joins and leaves seen leaving the interface, 3 not seen: not in the results; latest"),
            HasSubstr("4 frames of hosts not sent"), HasSubstr("5 received frames dropped"),
            HasSubstr("6 more than 1 ms late")));
    const auto json = nlohmann::json::parse(orv::app::MakeOutcomeJson(outcome))["live_ports"][0];
    EXPECT_EQ(json["name"], "Viewers");
    EXPECT_EQ(json["interface"], "stb0");
    EXPECT_EQ(json["unseen"], 3);
    EXPECT_NEAR(json["latest_join_ms"], 0.31, 1e-9);
    figures.joins_and_leaves = 0;
    EXPECT_THAT(orv::app::MakeSummary(outcome),
                HasSubstr("0 joins and leaves seen leaving the interface, 3 not"));
}

TEST(ProgramTest, LivePortsBringTheRealClockAndNeedTheirInterface) {
    const TemporaryFolder folder;
    const auto file = folder / "test.yaml";
    std::string text = TestText{}.ToString();
    text.replace(text.find("- Port: Viewers\n"), 16, "- Port: Viewers\n    location: 'linux://nosuch0'\n");
    WriteFile(file, text);
    EXPECT_EQ(RunIptvtest("validate " + file.string()).status, 0);
    const std::string run = "run " + file.string() + " --db " + (folder / "r.db").string();
    const ProgramRun missing = RunIptvtest(run);
    EXPECT_EQ(missing.status, 3);
    EXPECT_THAT(missing.out, HasSubstr("Port \"Viewers\": "));
    EXPECT_THAT(missing.out, HasSubstr("nosuch0"));
    const ProgramRun refused = RunIptvtest(run + " --clock virtual");
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, HasSubstr("a live port needs the real clock"));
}

TEST(ProgramTest, SaysWhatCameOfARunInEveryForm) {
    const TemporaryFolder folder;
    const auto file = folder / "test.yaml", junit = folder / "junit.xml";
    WriteFile(file, TestText{.seconds = 20, .network = {"join_failure: 20 %"}}.ToString());
    const ProgramRun run = RunIptvtest("run " + file.string() + " --json --seed 5 --junit " + junit.string() +
                                       " --db " + (folder / "r.db").string());
    EXPECT_EQ(run.status, 1);
    const auto json = nlohmann::json::parse(run.out);
    EXPECT_EQ(json["end"], "failed");
    EXPECT_EQ(json["seed"], 5);
    EXPECT_EQ(json["tests"][0]["channel_changes"], 80);
    EXPECT_EQ(json["tests"][0]["stb_blocks"][0]["name"], "Boxes");
    EXPECT_GT(json["tests"][0]["stb_blocks"][0]["JoinFails"], 5);
    EXPECT_THAT(ReadFile(junit),
                testing::AllOf(HasSubstr("<testsuites tests=\"3\" failures=\"2\" errors=\"0\">"),
                               HasSubstr("name=\"STB block Boxes\"")));
    const ProgramRun text =
        RunIptvtest("run " + file.string() + " --seed 6 --db " + (folder / "s.db").string());
    EXPECT_THAT(text.out,
                testing::AllOf(HasSubstr("Verdict: FAILED"), HasSubstr("Boxes"), HasSubstr("0 % may fail")));
}

TEST(ProgramTest, TheCommandLineTeaches) {
    const std::string manual = ReadFile(MANUAL_PATH), completion = ReadFile(COMPLETION_PATH);
    std::set<std::string> options;
    for (const char* command : {"", "run", "validate", "results", "schema", "version"}) {
        const ProgramRun help = RunIptvtest(std::string(command) + " --help");
        EXPECT_EQ(help.status, 0);
        static const std::regex option("--[a-z][a-z-]*");
        for (std::sregex_iterator at(help.out.begin(), help.out.end(), option), end; at != end; ++at)
            options.insert(at->str());
    }
    EXPECT_GT(options.size(), 12U);
    for (const std::string& option : options) {
        EXPECT_THAT(completion, HasSubstr(option));
        EXPECT_THAT(std::regex_replace(manual, std::regex(R"(\\-)"), "-"), HasSubstr(option.substr(2)));
    }
    struct Case {
        const char* arguments;
        int status;
        const char* text;
    };
    for (const Case& c : std::initializer_list<Case>{{"", 2, "subcommand"},
                                                     {"run", 2, "FILE is required"},
                                                     {"run x.yaml --clock sundial", 2, "sundial"},
                                                     {"run /nowhere.yaml", 2, "/nowhere.yaml"},
                                                     {"results /nowhere.db", 2, "/nowhere.db"},
                                                     {"validate /nowhere.yaml", 2, "/nowhere.yaml"}}) {
        const ProgramRun run = RunIptvtest(c.arguments);
        EXPECT_EQ(run.status, c.status) << c.arguments;
        EXPECT_THAT(run.out + run.err, HasSubstr(c.text));
    }
    EXPECT_THAT(RunIptvtest("version").out, testing::MatchesRegex("iptvtest [0-9.]+\niptv.so [0-9.]+\n"));
    EXPECT_TRUE(nlohmann::json::accept(RunIptvtest("schema").out));
}

TEST(ProgramTest, SignalsEndTheTestOnceAndTheProgramTwice) {
    const TemporaryFolder folder;
    const auto file = folder / "test.yaml", database = folder / "r.db";
    WriteFile(file, TestText{.seconds = 3600}.ToString());
    struct Case {
        const char* first;   ///< signal, when the test runs
        const char* second;  ///< half a second later; empty: none
    };
    for (const auto& [first, second] :
         std::initializer_list<Case>{{"INT", ""}, {"INT", "TERM"}, {"PIPE", "HUP"}}) {
        SCOPED_TRACE(fmt::format("{} {}", first, second));
        std::filesystem::remove(database);
        const bool is_at_once = *second && first == std::string("INT");
        const std::string script =
            fmt::format("{} run {} --clock real --db {} >{}/out 2>&1 & sleep 2; kill -{} $!; {} wait $!",
                        PROGRAM_PATH, file.string(), database.string(), file.parent_path().string(), first,
                        *second ? fmt::format("sleep 0.5; kill -{} $!;", second) : "");
        const int status = std::system(("bash -c '" + script + "'").c_str());
        EXPECT_EQ(WEXITSTATUS(status), 130);
        const std::string out = ReadFile(folder / "out");
        EXPECT_THAT(out, HasSubstr(is_at_once ? "Ended at once" : "The run ended with: interrupted"));
        if (!is_at_once) {
            EXPECT_EQ(Query(database, "SELECT count(*) FROM DataSets WHERE EndTime IS NOT NULL"), "1");
        }
    }
}

}  // namespace
