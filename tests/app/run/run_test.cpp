// Whole runs: what is rejected, what ends them, their results, and recordings of what ports report.
#include <sys/resource.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "output/outcome_json.h"
#include "output/summary.h"
#include "session_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::app::RunOptions, testing::HasSubstr, testing::IsEmpty;

class RunTest : public SessionTest {};

TEST_F(RunTest, WhatLivePortsCannotDoIsRefusedBeforeAnythingRuns) {
    const std::string viewers = "- Port: Viewers\n",
                      streams = "        DstBinding: Groups/Ipv4NetworkBlock\n";
    const auto refused = [&](const TestText& test, const std::string& behind, const char* more,
                             const char* mistake) {
        SCOPED_TRACE(mistake);
        std::string text = test.ToString();
        text.insert(text.find(behind) + behind.size(), more);
        const RunOutcome outcome = Run(text);
        EXPECT_EQ(outcome.end, RunEnd::BadInput);
        EXPECT_TRUE(std::regex_search(Mistakes(outcome), std::regex(mistake))) << Mistakes(outcome);
        EXPECT_FALSE(std::filesystem::exists(folder / "results.db"));
    };
    refused({}, viewers, "    Location: linux://a\n  - Port: Others\n    Location: linux://a\n",
            "Port \"Others\", Location: \"linux://a\" is that of Port \"Viewers\", too");
    refused({}, viewers, "    Location: linux://a23456789012345.\n",
            "Port \"Viewers\", Location: \"linux://a23456789012345.\" names no network interface");
    refused({.environment = "TESTING"}, streams,
            "        LoadUnit: INTER_BURST_GAP\n    Location: linux://a\n",
            "StreamBlock \"Streams\": LoadUnit INTER_BURST_GAP is not offered by live ports");
    refused(
        {}, viewers,
        "    Location: linux://a\n  - EmulatedDevice: Others\n    AffiliationPort: Viewers\n    children:\n"
        "      - EthIIIf: E\n      - {VlanIf: V, Tpid: 0x9200, StackedOn: E}\n"
        "      - {Ipv4If: Top, StackedOn: V}\n",
        "test.yaml:\\d+:10: Ipv4If \"Top\": has a VLAN tag of type 0x9200; live ports offer 0x8100, 0x");
    refused({}, viewers, "    Location: linux://a\n",
            "test.yaml:\\d+:15: Port \"Viewers\", Location: a live port needs the real clock");
}

TEST_F(RunTest, LivePortsNeedTheServersOfTheirTest) {
    const char* const v4 =
        "FccServerAddrV4: the set-top boxes of a live port need a server; expected the "
        "IPv4 address of a server of fast channel change in the network";
    // the type of test, whether it is IPv6, a value in place of another, and the only mistake
    const std::tuple<const char*, bool, const char*, const char*, const char*> cases[] = {
        {"FAST_CHANNEL_CHANGE", false, "10.254.0.1", "0.0.0.0", v4},
        {"FCC_WITH_RRR", false, "10.254.0.1", "0.0.0.0", v4},
        {"FAST_CHANNEL_CHANGE", true, "10.254.0.1", "0.0.0.0", ""},
        {"FAST_CHANNEL_CHANGE", true, "2001:db8::1", "::", "FccServerAddrV6: the set-top boxes of a live"},
        {"FAST_CHANNEL_CHANGE", false, "10.254.0.1", "225.0.0.9",
         "FccServerAddrV4: 225.0.0.9 is a multicast address; expected the IPv4 address"},
        {"FAST_CHANNEL_CHANGE", false, "FccServerAddrV4", "FccServerPort: 0\n        FccServerAddrV4",
         "FccServerPort: it is 0; expected the UDP port of the server, from 1 to 65535"},
        {"FAST_CHANNEL_CHANGE", false, "10.254.0.2", "0.0.0.0", ""},
        {"RELIABLE_RETRANSMISSION", false, "10.254.0.1", "0.0.0.0", ""},
        {"RELIABLE_RETRANSMISSION", false, "10.254.0.2", "0.0.0.0",
         "RrrServerAddrV4: the set-top boxes of a live port need a server; expected the IPv4 address of a "
         "server of retransmission in the network"},
        {"FCC_WITH_RRR", true, "2001:db8::2", "ff02::1", "RrrServerAddrV6: ff02::1 is a multicast address"},
        {"RELIABLE_RETRANSMISSION", false, "RrrServerAddrV4", "RrrServerPort: 0\n        RrrServerAddrV4",
         "RrrServerPort: it is 0"},
        {"ZAPPING", false, "10.254.0.1", "0.0.0.0", ""},
        {"RELIABLE_RETRANSMISSION", false, "UdpSourcePort: 5000", "UdpSourcePort: 65533",
         "UdpSourcePort: .*outside the range of 1 to 65535"}};
    for (const auto& [type, ipv6, old_value, new_value, mistake] : cases) {
        SCOPED_TRACE(testing::Message() << type << ", " << old_value << " -> " << new_value);
        std::string text =
            TestText{.type = type,
                     .environment = type == std::string("FCC_WITH_RRR") ? "TESTING" : "REAL_WORLD",
                     .ipv6 = ipv6,
                     .block = {"RtpNackEnable: true", "UdpSourcePort: 5000", "UdpSourcePortStep: 1"}}
                .ToString();
        text.replace(text.find(old_value), std::strlen(old_value), new_value);
        const std::string viewers = "- Port: Viewers\n";
        text.insert(text.find(viewers) + viewers.size(), "    Location: linux://a\n");
        const std::string mistakes = Mistakes(Run(text));
        if (*mistake) {
            EXPECT_TRUE(std::regex_search(mistakes, std::regex(mistake))) << mistakes;
        } else {
            EXPECT_THAT(mistakes, HasSubstr("needs the real clock"));
        }
        EXPECT_EQ(std::ranges::count(mistakes, '\n'), 1) << mistakes;
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
    std::string told;
    for (const auto& test : outcome.tests)
        told += fmt::format("{} {} {}; ", test.name, test.passed, test.GetChannelChanges());
    EXPECT_EQ(told, "strict false 40; strict false 40; lenient true 80; ");
    EXPECT_EQ(Query(outcome.database, "SELECT count(*) FROM DataSets WHERE EndTime IS NOT NULL"), "3");
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
    setenv("TMPDIR", (folder / "").c_str(), 1);
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    unsetenv("TMPDIR");
    EXPECT_EQ(outcome.end, RunEnd::Failure);
    EXPECT_EQ(outcome.database, (folder / "results.recovered-1.db").string());
    EXPECT_THAT(testing::PrintToString(outcome.errors), HasSubstr("file/results.db"));
    options = {};
    options.record = folder / "file" / "all.jsonl";
    EXPECT_THAT(Run(TestText{}.ToString(), options).errors,
                testing::Contains(HasSubstr("all.jsonl cannot be written")));
}

TEST_F(RunTest, ARecordingOfSeveralTestsReplaysEachInItsTest) {
    TestText text{.test = {"JoinFailThreshold: 100"},
                  .network = {"join_failure: 20 %"},
                  .faults = {"{kind: repeat_notification, occurrence: 2}"}};
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

/// A recording with the events of one notification.
std::string Notification(const std::string& events, int time_ms = 5) {
    return fmt::format(
        R"({{"port": "Viewers", "time_ms": {}, "blocks": [{{"stb_block": "Boxes", "events": [{}]}}]}})",
        time_ms, events);
}

TEST_F(RunTest, EventsOfSomebodyElseAreBinned) {
    RunOptions options;
    options.replay = folder / "events.jsonl";
    WriteFile(
        options.replay,
        Notification(R"({"settop_index": 1, "viewed_channel": 2, "viewed_ip": "225.0.0.2",)"
                     R"("mcast_join_ts": 100000, "first_mcast_pkt_ts": 350000,)"
                     R"("mcast_leave_ts": 9000000, "last_mcast_pkt_ts": 9100000, "first_pkt_ts_valid": true,)"
                     R"("last_pkt_ts_valid": true, "total_mcast_packets": 100, "lost_mcast_packets": 3})") +
            "\n\n{\"notifications\": 1}\n");
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    ASSERT_EQ(outcome.tests.size(), 1U) << Mistakes(outcome);
    const auto& block = outcome.tests[0].stb_blocks.at(0);
    std::vector<double> figures;
    for (const char* name : {"NumOfChannelChanges", "AvgJoinLatency", "AvgLeaveLatency", "DroppedFrameCount"})
        figures.push_back(block.GetNumber(name));
    EXPECT_EQ(figures, (std::vector<double>{1, 2.5, 1, 3}));
}

TEST_F(RunTest, ARecordingWithMistakesIsRefusedWithAllOfThem) {
    RunOptions options;
    options.replay = folder / "bad.jsonl";
    const std::string last = Notification(R"({"settop_index": 4})") + "\n";
    WriteFile(options.replay, R"({"port": "Viewers", "time_ms": 5, "blocks": []}
not json
{"deep": [[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]}
{"time_ms": 5, "blocks": []}
{"port": "Viewer", "time_ms": 5, "blocks": []}
{"port": "Viewers", "time_ms": -5, "blocks": []}
{"port": "Viewers", "time_ms": 5}
{"port": "Viewers", "time_ms": 5, "blocks": [{"stb_block": "Nobody"}]}
)" + Notification(R"({"viewed_chanel": 3})") +
                                  "\n" + Notification(R"({"viewed_channel": 70000})") + "\n" +
                                  Notification(R"({"viewed_ip": "here"})") + "\n" +
                                  Notification(R"({"settop_index": 5})") + "\n" + last + last +
                                  Notification(R"({"viewed_channel": 1})") + "\n{\"notifications\": 11}\n\n" +
                                  Notification({}) + "\n");
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    EXPECT_EQ(outcome.end, RunEnd::BadInput);
    const std::string mistakes = std::regex_replace(Mistakes(outcome), std::regex("[^\n]*bad.jsonl"), "");
    EXPECT_EQ(mistakes, R"(:2:1: notification: the line is no JSON object
:3:1: notification: the line is no JSON object
:4:1: notification, port: the name of the port is missing
:5:1: notification, port: "Viewer" is no port of the test; expected Viewers; did you mean Viewers?
:6:1: notification, time_ms: the time is missing or wrong; expected milliseconds since the start
:7:1: notification, blocks: the list is missing
:8:1: notification, stb_block: "Nobody" is no STB block of the test
:9:1: notification, events: an event has no member "viewed_chanel"; did you mean viewed_channel?
:10:1: notification, events: viewed_channel: 70000 is wrong; expected a whole number from 0 to 65535
:11:1: notification, events: viewed_ip: "here" is wrong; expected an IPv4 or IPv6 address
:12:1: notification, events: settop_index: the block has no STB 5; expected a number from 1 to 4
:14:1: notification: the line repeats line 13
:15:1: notification, events: settop_index: the block has no STB 0; expected a number from 1 to 4
:16:1: notification, notifications: the recording has 13 notifications, not 11
:18:1: notification: there is something behind the last line of the recording
)");
    std::filesystem::resize_file(options.replay, std::uintmax_t{400} << 20);
    EXPECT_THAT(Mistakes(Run(TestText{}.ToString(), options)),
                testing::HasSubstr(":19:1: notification: the line is longer than 256 MiB"));
}

TEST_F(RunTest, ARecordingThatWasCutOffIsPlayedBackOnlyWhenAskedFor) {
    const std::string text = TestText{}.ToString();
    RunOptions options;
    options.record = folder / "all.jsonl";
    Run(text, options);
    const std::string all = ReadFile(options.record);
    options = {};
    options.replay = folder / "cut.jsonl";
    const std::size_t end = all.rfind('\n', all.size() - 2) + 1, last_line = all.rfind('\n', end - 2) + 1;
    const auto expect = [&](std::size_t size, bool may_be_cut, RunEnd end, std::size_t warnings) {
        WriteFile(options.replay, all.substr(0, size));
        options.replay_incomplete = may_be_cut;
        const RunOutcome outcome = Run(text, options);
        EXPECT_EQ(outcome.end, end) << size << Mistakes(outcome);
        EXPECT_EQ(outcome.warnings.size(), warnings) << size;
    };
    expect(all.size(), false, RunEnd::Passed, 0);
    expect(all.size() - 1, false, RunEnd::Passed, 0);
    expect(all.size(), true, RunEnd::Passed, 0);
    expect(end, false, RunEnd::BadInput, 0);
    expect(end, true, RunEnd::Passed, 1);
    expect(last_line + 20, false, RunEnd::BadInput, 0);
    expect(last_line + 20, true, RunEnd::Passed, 1);
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
    auto& figures = outcome.live_ports[0].figures;
    figures.joins_and_leaves = 2000;
    figures.latest_join = std::chrono::microseconds(310);
    outcome.live_ports[1].figures.stream_packets_sent = 500;
    const auto says = [&outcome](const char* text) {
        EXPECT_THAT(orv::app::MakeSummary(outcome), HasSubstr(text));
    };
    says(
        "Port Viewers on stb0: 2000 joins and leaves, all seen leaving the interface; latest 0.3 ms after "
        "its time\n"
        "Port Head end on src0: 500 stream packets sent\nPort Idle on idle0: no joins and leaves\n");
    figures.unseen = 3, figures.frames_unsent = 4, figures.frames_dropped = 5, figures.late_joins = 6;
    says("2000 joins and leaves seen leaving the interface, 3 not seen: not in the results; latest");
    says("4 frames of hosts not sent");
    says("5 received frames dropped");
    says("6 more than 1 ms late");
    const auto json = nlohmann::json::parse(orv::app::MakeOutcomeJson(outcome))["live_ports"][0];
    EXPECT_THAT(json.dump(),
                testing::AllOf(HasSubstr("\"interface\":\"stb0\""), HasSubstr("\"latest_join_ms\":0.31,"),
                               HasSubstr("\"name\":\"Viewers\""), HasSubstr("\"unseen\":3")));
    EXPECT_FALSE(json.contains("bursts_requested") || json.contains("packets_missed"));
    figures.bursts_requested = 9, figures.bursts_refused = 2;
    says("9 bursts requested, 2 refused, 0 not answered;");
    figures.packets_missed = 120, figures.packets_repaired = 118;
    says("lost 120, repaired 118, lost to viewers 2, with 0 requests;");
    outcome.tests.emplace_back().type = "FAST_CHANNEL_CHANGE";
    figures = {.joins_and_leaves = 4};
    const auto ports = nlohmann::json::parse(orv::app::MakeOutcomeJson(outcome))["live_ports"];
    EXPECT_EQ(ports[0]["bursts_requested"], 0);
    EXPECT_FALSE(ports[0].contains("packets_missed"));
    EXPECT_FALSE(ports[1].contains("bursts_requested")) << "it has no set-top boxes";
    outcome.tests.clear();
    figures = {.unseen = 3};
    says("0 joins and leaves seen leaving the interface, 3 not");
}

TEST_F(RunTest, TooManyStreamsAreRefusedBeforeTheyTakeMemory) {
    rusage before{}, after{};
    getrusage(RUSAGE_SELF, &before);
    const auto refused = [this](int sources, int groups, const char* mistake) {
        std::string many = TestText{.environment = "TESTING", .channels = groups}.ToString();
        const std::string device = "EmulatedDevice: Sources\n";
        many.insert(many.find(device) + device.size(), fmt::format("    DeviceCount: {}\n", sources));
        many.insert(
            many.find("  - " + device),
            "      - {StreamBlock: More, SrcBinding: Sources/Ipv4If, DstBinding: Groups/Ipv4NetworkBlock}\n");
        const RunOutcome outcome = Run(many);
        EXPECT_EQ(outcome.end, RunEnd::BadInput);
        EXPECT_THAT(Mistakes(outcome), HasSubstr(mistake));
    };
    // Without a common divisor: every source sends every group.
    refused(
        65534, 65535,
        "StreamBlock \"Streams\", DstBinding: it has 4294770690 streams; a stream block has at most 1048576");
    refused(1024, 1023,
            "StreamBlock \"More\", DstBinding: with it the test has 2095104 streams; the stream blocks of "
            "all ports together have at most 1048576\n");
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 500'000) << "KiB";
}

TEST(ProgramTest, FilesMayBePipesAndHaveValuesSet) {
    const TemporaryFolder folder;
    const std::string text = TestText{.seconds = 1}.ToString(), run = "run test.yaml --db r.db --json ";
    const std::string set_live = " --set Viewers/Location=linux://nosuch0", port = "- Port: Viewers\n";
    WriteFile(folder / "test.yaml", text);
    std::string live = text;
    WriteFile(folder / "live.yaml",
              live.insert(text.find(port) + port.size(), "    location: 'linux://nosuch0'\n"));
    const auto expect = [&](const std::string& arguments, int status, const char* text) {
        SCOPED_TRACE(arguments);
        const ProgramRun result = RunIptvtest(arguments, folder.GetPath());
        EXPECT_EQ(result.status, status) << result.err;
        EXPECT_THAT(result.out + result.err, HasSubstr(text));
    };
    expect("validate - <test.yaml", 0, "<stdin> is a good test file");
    expect("validate - <<<'project: ['", 2, "<stdin>:1:10: the list");
    expect("validate - <<<'project:'", 2, "<stdin>:1:1: project: the test has no port");
    expect("validate - <<<$'title: t\nproject:\n  - Port: p'", 2,
           "<stdin>:2:1: project: the test has no set-top boxes");
    expect("validate - <<<$'project:\n  - Port: p\nsequence:'", 2,
           "<stdin>:3:1: sequence: no command of it starts a test");
    expect("run <(cat test.yaml) --db r.db --json", 0, "\"end\": \"passed\"");
    expect("run - <test.yaml --db r.db --json --set Start/TestName=other", 0, "\"other\"");
    expect(run + "--replay - <<<'{\"notifications\": 0}'", 1, "\"channel_changes\": 0");
    expect(run + "--replay - <<<'{\"notifications\": 1}'", 2, "<stdin>:1:1: ");
    expect(run + "--replay - </", 2, "<stdin>: the file cannot be read: Is a directory");
    expect("run - --replay - --db r.db <test.yaml", 2, "--replay: the standard input is the test file");
    // The clock is that of the ports that there are then.
    expect("run - <test.yaml --db r.db --json" + set_live, 3, "nosuch0");
    expect(run + set_live + " --set Viewers/Location=//sim/7", 0, "passed");
    expect("validate live.yaml", 0, "good");
    expect("run live.yaml --db r.db", 3, "Port \"Viewers\": interface nosuch0");
    expect("run live.yaml --db r.db --clock virtual", 2, "a live port needs the real clock");
    expect("validate /dev/zero", 2, "/dev/zero: the file is larger than 16 MiB");
    expect("validate test.yaml --set Nobody/Active=true", 2,
           "--set Nobody/Active=true: \"Nobody\" names no object");
    expect("explain Prot", 2, "did you mean Port?");
}

TEST(ProgramTest, WritesWhatWasAskedForAndNothingThatEverybodyMayChange) {
    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    WriteFile(folder / "test.yaml", TestText{.seconds = 2, .block = {"SaveTimeStamps: true"}}.ToString());
    const ProgramRun run = RunIptvtest(
        "--version; mkdir home tmp; umask 0; HOME=home TMPDIR=tmp " PROGRAM_PATH
        " run test.yaml --quiet --db results --record recording --report report.html --junit junit.xml",
        folder.GetPath());
    EXPECT_EQ(run.status, 0) << run.err;
    std::set<std::string> written;
    for (const auto& entry : fs::recursive_directory_iterator(folder.GetPath())) {
        if (entry.is_directory()) continue;
        written.insert(fs::relative(entry.path(), folder.GetPath()));
        if (entry.path().filename() != "test.yaml") {
            EXPECT_EQ(entry.status().permissions() & fs::perms::others_write, fs::perms::none)
                << entry.path();
        }
    }
    EXPECT_EQ(written,
              (std::set<std::string>{"junit.xml", "recording", "report.html", "results.db", "test.yaml"}));
}

TEST(ProgramTest, TheCommandLineTeaches) {
    const std::string manual = ReadFile(MANUAL_PATH), completion = ReadFile(COMPLETION_PATH);
    std::set<std::string> options;
    for (const char* command : {"", "run", "validate", "results", "explain", "schema", "version", "help"}) {
        const ProgramRun help = RunIptvtest(std::string(command) + " --help");
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.out.find("A first test") != help.out.npos, !*command) << command;
        static const std::regex option("--[a-z][a-z-]*");
        for (std::sregex_iterator at(help.out.begin(), help.out.end(), option), end; at != end; ++at)
            options.insert(at->str());
    }
    EXPECT_GT(options.size(), 12U);
    for (const std::string& option : options) {
        EXPECT_THAT(completion, HasSubstr(option));
        EXPECT_THAT(std::regex_replace(manual, std::regex(R"(\\-)"), "-"), HasSubstr(option.substr(2)));
    }
    const auto expect = [&](const char* arguments, int status, const char* text) {
        const ProgramRun run = RunIptvtest(arguments);
        EXPECT_EQ(run.status, status) << arguments;
        EXPECT_THAT(run.out + run.err, HasSubstr(text));
    };
    expect("", 2, "Usage: iptvtest [OPTIONS]");
    expect("vaildate x", 2, "did you mean validate?");
    expect("help", 0, "Usage: iptvtest [OPTIONS]");
    expect("help run", 0, "Usage: iptvtest run [OPTIONS] FILE");
    expect("help nothing", 2, "no command \"nothing\" (run, validate");
    expect("run x.yaml --db ''", 2, "--db: the name is empty");
    expect("run x.yaml --replay-incomplete", 2, "requires --replay");
    expect("run", 2, "FILE is required");
    expect("run --foo", 2, "iptvtest: there is no option --foo\n");
    expect("run --replya=x --replay-incomplete", 2, "there is no option --replya; did you mean --replay?");
    expect("results --cvs", 2, "there is no option --cvs; did you mean --csv?");
    expect("explain --jsn", 2, "there is no option --jsn");
    expect("validate x.yaml -x", 2, "there is no option -x\n");
    expect("--verison", 2, "no option --verison; did you mean --version?");
    expect("run /nowhere.yaml", 2, "/nowhere.yaml");
    expect("results /nowhere.db", 2, "/nowhere.db");
    expect("validate /nowhere.yaml", 2, "/nowhere.yaml");
    for (const char* version : {"version", "--version", "-V"})
        EXPECT_THAT(RunIptvtest(version).out, testing::MatchesRegex("iptvtest [0-9.]+\niptv.so [0-9.]+\n"));
    EXPECT_TRUE(nlohmann::json::accept(RunIptvtest("schema").out));
    const std::string complete = "COMP_CWORD=2; _iptvtest; echo \"${COMPREPLY[*]}\"; ";
    const std::string script =
        "version >/dev/null; source " COMPLETION_PATH "; COMP_WORDS=(" PROGRAM_PATH " explain ipTVwizard); ";
    EXPECT_EQ(RunIptvtest(script + complete + "COMP_WORDS[2]=eot; " + complete).out,
              "IptvWizardTestConfig IptvWizardMcastPorts IptvWizardMcastSources IptvWizardStbBlock\n"
              "EOTResultsWriteIterationCommand\n");
}

TEST(ProgramTest, SignalsEndTheTestOnceAndTheProgramTwice) {
    const TemporaryFolder folder;
    mkfifo((folder / "never").c_str(), 0666);
    TestText text{.seconds = 3600};
    WriteFile(folder / "file", text.ToString());
    text.faults = {"{kind: miss_end_of_test}"};
    WriteFile(folder / "mute", text.ToString());
    text.sequence =
        "  - SequencerLoopCommand:\n    IterationCount: 4000000000\n"
        "  - IptvStartTestCommand:\n    TestEnv: REAL_WORLD\n";
    WriteFile(folder / "loop", text.ToString());
    // Its ports are sent a million streams: nothing can be ended in order yet.
    const std::string device = "EmulatedDevice: Sources\n";
    std::string many =
        TestText{.type = "VERIFICATION", .environment = "TESTING", .channels = 1020}.ToString();
    WriteFile(folder / "many", many.insert(many.find(device) + device.size(), "    DeviceCount: 1021\n"));
    // Signals come when it is known where the program is: in a test, after so much work, or opening its test
    // file.
    const std::string tests = "grep -q 'runs for' err",
                      opens = "grep -q ^SigCgt:.*[2367abef]$ /proc/$!/status",
                      works = "[ $(cut -d' ' -f14 /proc/$!/stat) -gt ";
    const auto expect = [&](const std::string& file, const std::string& when, const char* first,
                            const char* second, std::size_t tests, std::optional<bool> at_once) {
        SCOPED_TRACE(fmt::format("{} {} {}", file, first, second));
        for (const char* old : {"r.db", "junit.xml", "err"}) std::filesystem::remove(folder / old);
        const auto wait_for = [](const std::string& state) {
            return "for i in {1..999}; do " + state +
                   " && break; [ -e /proc/$! ] || exit 2; sleep 0.1; done; ";
        };
        std::string script = "run " + file +
                             " --clock real --db r.db --json --junit junit.xml >out 2>err & " +
                             wait_for(when) + "kill -" + first + " $!; ";
        // Signals that come within 0.3 s count as one.
        if (file == "mute") script += wait_for("grep -q 'ends in order' err") + "sleep 0.3; ";
        if (*second) script += std::string("kill -") + second + " $!; ";
        const ProgramRun run = RunIptvtest(
            script + "timeout 100 tail --pid=$! -f /dev/null || kill -KILL $!; wait $!", folder.GetPath());
        EXPECT_EQ(run.status, 130) << run.err;
        const bool was_at_once = ReadFile(folder / "err").find("Ended at once") != std::string::npos;
        EXPECT_EQ(was_at_once, at_once.value_or(was_at_once));
        const auto json = nlohmann::json::parse(ReadFile(folder / "out"));
        EXPECT_EQ(json["end"], "interrupted");
        EXPECT_EQ(json["tests"].size(), tests);
        EXPECT_EQ(json.contains("unfinished_test"), file == "mute");
        // Where the test file is not read yet, nothing says that this file may be written.
        EXPECT_THAT(ReadFile(folder / "junit.xml"),
                    HasSubstr(file == "never" ? "" : "<error message=\"interrupted\">"));
        if (tests == 0) return;
        EXPECT_EQ(json["tests"][0]["verdict"], "not finished");
        EXPECT_LT(json["tests"][0]["duration_s"], 1000);  // not the hour that it is to take
        EXPECT_EQ(
            std::stod(Query(folder / "r.db", "SELECT sum(NumOfChannelChanges) FROM IptvStbBlockResults")),
            json["tests"][0]["channel_changes"]);
        EXPECT_EQ(Query(folder / "r.db", "SELECT count(*) FROM DataSets WHERE EndTime IS NOT NULL"), "1");
    };
    expect("file", tests, "INT", "", 1, false);
    expect("file", tests, "PIPE", "HUP", 1, false);
    expect("mute", tests, "INT", "TERM", 0, true);
    // Between two tests there is nothing to end, for long on a busy machine.
    expect("loop", works + "150 ]", "INT", "", 0, {});
    expect("many", works + "50 ]", "INT", "", 0, true);
    expect("never", opens, "INT", "", 0, true);
}

}  // namespace
