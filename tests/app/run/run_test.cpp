// Whole runs: what is rejected, what ends them, and their results.
#include <fmt/format.h>
#include <sys/resource.h>
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
    setenv("TMPDIR", (folder / "").c_str(), 1);
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    unsetenv("TMPDIR");
    EXPECT_EQ(outcome.end, RunEnd::Failure);
    EXPECT_EQ(outcome.database, (folder / "results.recovered-1.db").string());
    EXPECT_THAT(testing::PrintToString(outcome.errors), HasSubstr("file/results.db"));
    options = {};
    options.record = folder / "file" / "all.jsonl";
    EXPECT_THAT(Run(TestText{}.ToString(), options).errors,
                Contains(HasSubstr("all.jsonl cannot be written")));
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

TEST_F(RunTest, TooManyStreamsAreRefusedBeforeTheyTakeMemory) {
    struct Case {
        int sources, groups;  ///< without a common divisor: every source sends every group
        const char* mistake;
    };
    const std::string second =
        "      - StreamBlock: More\n        SrcBinding: Sources/Ipv4If\n        "
        "DstBinding: Groups/Ipv4NetworkBlock\n";
    rusage before{}, after{};
    getrusage(RUSAGE_SELF, &before);
    for (const Case& c :
         {Case{65534, 65535,
               "StreamBlock \"Streams\", DstBinding: it has 4294770690 streams; a stream block "
               "has at most 1048576\n"},
          Case{1024, 1023,
               "test.yaml:9:21: StreamBlock \"More\", DstBinding: with it the test has 2095104 "
               "streams; the stream blocks of all ports together have at most 1048576\n"}}) {
        std::string many = TestText{.environment = "TESTING"}.ToString();
        many.replace(many.find("NetworkCount: 8\n"), 16, fmt::format("NetworkCount: {}\n", c.groups));
        const std::string device = "EmulatedDevice: Sources\n";
        many.insert(many.find(device) + device.size(), fmt::format("    DeviceCount: {}\n", c.sources));
        many.insert(many.find("  - " + device), second);
        const RunOutcome outcome = Run(many);
        EXPECT_EQ(outcome.end, RunEnd::BadInput);
        EXPECT_THAT(Mistakes(outcome), HasSubstr(c.mistake));
    }
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 500'000) << "KiB";
}

TEST(ProgramTest, FilesMayBePipesAndHaveValuesSet) {
    const TemporaryFolder folder;
    const std::string file = (folder / "test.yaml").string(),
                      run = " --db " + (folder / "r.db").string() + " --json ";
    const std::string live = " --set Viewers/Location=linux://nosuch0";
    WriteFile(file, TestText{.seconds = 1}.ToString());
    struct Case {
        std::string arguments;
        int status;
        const char* text;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"validate - <" + file, 0, "<stdin> is a good test file"},
             {"validate - <<<'project: ['", 2, "<stdin>:1:10: the list"},
             {"validate - <<<'project:'", 2, "<stdin>:1:1: project: the test has no port"},
             {"validate - <<<$'title: t\nproject:\n  - Port: p'", 2,
              "<stdin>:2:1: project: the test has no set-top boxes"},
             {"validate - <<<$'project:\n  - Port: p\nsequence:'", 2,
              "<stdin>:3:1: sequence: no command of it starts a test"},
             {"run <(cat " + file + ")" + run, 0, "\"end\": \"passed\""},
             {"run - <" + file + run + "--set Start/TestName=other", 0, "\"other\""},
             {"run " + file + run + "--replay - <<<'{\"notifications\": 0}'", 1, "\"channel_changes\": 0"},
             {"run " + file + run + "--replay - <<<'{\"notifications\": 1}'", 2, "<stdin>:1:1: "},
             {"run " + file + run + "--replay - </", 2, "<stdin>: the file cannot be read: Is a directory"},
             {"run - --replay -" + run + "<" + file, 2, "--replay: the standard input is the test file"},
             // The clock is that of the ports that there are then.
             {"run - <" + file + run + live, 3, "nosuch0"},
             {"run " + file + run + live + " --set Viewers/Location=//sim/7", 0, "passed"},
             {"validate /dev/zero", 2, "/dev/zero: the file is larger than 16 MiB"},
             {"validate " + file + " --set Nobody/Active=true", 2,
              "--set Nobody/Active=true: \"Nobody\" names no object"},
             {"explain Prot", 2, "did you mean Port?"},
         }) {
        SCOPED_TRACE(c.arguments);
        const ProgramRun result = RunIptvtest(c.arguments);
        EXPECT_EQ(result.status, c.status) << result.err;
        EXPECT_THAT(result.out + result.err, HasSubstr(c.text));
    }
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
    EXPECT_THAT(missing.err, HasSubstr("Port \"Viewers\": interface nosuch0"));
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
                testing::AllOf(HasSubstr("<testsuites tests=\"3\" failures=\"2\" errors=\"0\" "),
                               HasSubstr("name=\"STB block Boxes\"")));
    const ProgramRun text =
        RunIptvtest("run " + file.string() + " --seed 6 --db " + (folder / "s.db").string());
    EXPECT_THAT(text.out,
                testing::AllOf(HasSubstr("Verdict: FAILED"), HasSubstr("Boxes"), HasSubstr("0 % may fail")));
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
    struct Case {
        const char* arguments;
        int status;
        const char* text;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"", 2, "Usage: iptvtest [OPTIONS]"},
             {"vaildate x", 2, "did you mean validate?"},
             {"help", 0, "Usage: iptvtest [OPTIONS]"},
             {"help run", 0, "Usage: iptvtest run [OPTIONS] FILE"},
             {"help nothing", 2, "no command \"nothing\" (run, validate"},
             {"run x.yaml --db ''", 2, "--db: the name is empty"},
             {"run x.yaml --replay-incomplete", 2, "requires --replay"},
             {"run", 2, "FILE is required"},
             {"run --foo", 2, "iptvtest: there is no option --foo\n"},
             {"run --replya=x --replay-incomplete", 2, "there is no option --replya; did you mean --replay?"},
             {"results --cvs", 2, "there is no option --cvs; did you mean --csv?"},
             {"explain --jsn", 2, "there is no option --jsn"},
             {"validate x.yaml -x", 2, "there is no option -x\n"},
             {"--verison", 2, "no option --verison; did you mean --version?"},
             {"run x.yaml --clock sundial", 2, "sundial"},
             {"run /nowhere.yaml", 2, "/nowhere.yaml"},
             {"results /nowhere.db", 2, "/nowhere.db"},
             {"validate /nowhere.yaml", 2, "/nowhere.yaml"}}) {
        const ProgramRun run = RunIptvtest(c.arguments);
        EXPECT_EQ(run.status, c.status) << c.arguments;
        EXPECT_THAT(run.out + run.err, HasSubstr(c.text));
    }
    for (const char* version : {"version", "--version", "-V"}) {
        EXPECT_THAT(RunIptvtest(version).out, testing::MatchesRegex("iptvtest [0-9.]+\niptv.so [0-9.]+\n"));
    }
    EXPECT_TRUE(nlohmann::json::accept(RunIptvtest("schema").out));
    const auto complete = [](const std::string& word) {
        const std::string script = fmt::format(
            "version >/dev/null; source {}; COMP_WORDS=({} explain {}); COMP_CWORD=2; _iptvtest; "
            "echo \"${{COMPREPLY[*]}}\"",
            COMPLETION_PATH, PROGRAM_PATH, word);
        return RunIptvtest(script).out;
    };
    EXPECT_EQ(complete("ipTVwizard"),
              "IptvWizardTestConfig IptvWizardMcastPorts IptvWizardMcastSources IptvWizardStbBlock\n");
    EXPECT_EQ(complete("eot"), "EOTResultsWriteIterationCommand\n");
}

TEST(ProgramTest, SignalsEndTheTestOnceAndTheProgramTwice) {
    const TemporaryFolder folder;
    const auto file = folder / "test.yaml", mute = folder / "mute.yaml", loop = folder / "loop.yaml",
               many = folder / "many.yaml";
    const auto never = folder / "never.yaml", database = folder / "r.db";
    mkfifo(never.c_str(), 0666);
    TestText text{.seconds = 3600};
    WriteFile(file, text.ToString());
    text.faults = {"{kind: miss_end_of_test}"};
    WriteFile(mute, text.ToString());
    text.sequence = "  - SequencerLoopCommand:\n    IterationCount: 4000000000\n" +
                    std::string("  - IptvStartTestCommand:\n    TestEnv: REAL_WORLD\n");
    WriteFile(loop, text.ToString());
    // Its ports are sent a million streams: nothing can be ended in order yet.
    const std::string device = "EmulatedDevice: Sources\n";
    std::string streams =
        TestText{.type = "VERIFICATION", .environment = "TESTING", .channels = 1020}.ToString();
    streams.insert(streams.find(device) + device.size(), "    DeviceCount: 1021\n");
    WriteFile(many, streams);
    struct Case {
        std::filesystem::path file;
        const char* first;   ///< signal, when the test runs
        const char* second;  ///< half a second later; empty: none
        std::size_t tests;   ///< that came to their end
        bool at_once;
    };
    for (const Case& c : std::initializer_list<Case>{{file, "INT", "", 1, false},
                                                     {file, "PIPE", "HUP", 1, false},
                                                     {mute, "INT", "TERM", 0, true},
                                                     {loop, "INT", "", 0, false},
                                                     {many, "INT", "", 0, true},
                                                     {never, "INT", "", 0, true}}) {
        SCOPED_TRACE(fmt::format("{} {} {}", c.file.string(), c.first, c.second));
        std::filesystem::remove(database);
        // An orderly end takes less than a second after the signal.
        const std::string script = fmt::format(
            "cd {}; {} run {} --clock real --db r.db --json --junit junit.xml >out 2>err & "
            "until {}; do [ -e /proc/$! ] || exit 2; sleep 0.05; done; sleep 2; kill -{} $!; {} {} wait $!",
            folder.GetPath().string(), PROGRAM_PATH, c.file.string(),
            // A test makes the database; others have come as far as they will when they catch signals.
            c.file == loop || c.file == many || c.file == never
                ? "grep -q ^SigCgt:.*[2367abef]$ /proc/$!/status"
                : "[ -s r.db ]",
            c.first, *c.second ? fmt::format("sleep 0.5; kill -{} $!;", c.second) : "",
            c.at_once && *c.second ? ""
                                   : "sleep 1; [ -e /proc/$! ] && ! grep -q Z /proc/$!/status && exit 1;");
        EXPECT_EQ(WEXITSTATUS(std::system(("bash -c '" + script + "'").c_str())), 130);
        EXPECT_EQ(ReadFile(folder / "err").find("Ended at once") != std::string::npos, c.at_once);
        const auto json = nlohmann::json::parse(ReadFile(folder / "out"));
        EXPECT_EQ(json["end"], "interrupted");
        EXPECT_EQ(json["exit_status"], 130);
        EXPECT_EQ(json["tests"].size(), c.tests);
        EXPECT_EQ(json.contains("unfinished_test"), c.file == mute);
        EXPECT_THAT(ReadFile(folder / "junit.xml"), HasSubstr("<error message=\"interrupted\">"));
        if (c.tests == 0) continue;
        EXPECT_EQ(json["tests"][0]["verdict"], "not finished");
        EXPECT_NEAR(json["tests"][0]["duration_s"], 10, 9.5);  // not the hour that it is to take
        EXPECT_EQ(Query(database, "SELECT count(*) FROM DataSets WHERE EndTime IS NOT NULL"), "1");
    }
}

}  // namespace
