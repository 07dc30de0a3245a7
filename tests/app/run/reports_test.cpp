// Everything that a run writes: that it can be written, that all of it says the same, and that it can be
// read.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>

#include "expectations/figures.h"
#include "output/outcome_json.h"
#include "output/summary.h"
#include "output/text_table.h"
#include "program.h"
#include "run/output_files.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using nlohmann::json, orv::app::RunOutcome, orv::app::TextTable, testing::HasSubstr;

/// Every file below a folder, and what is in it.
std::map<std::string, std::string> ReadAll(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        files[entry.path().string()] = entry.is_regular_file() ? ReadFile(entry.path()) : "";
    return files;
}

/// Whether all files *.xml of a folder are XML.
bool AreXml(const std::filesystem::path& folder) {
    return std::system(
               ("cd " + folder.string() +
                "; python3 -c 'import sys, xml.dom.minidom as m; [m.parse(f) for f in sys.argv[1:]]' *.xml")
                   .c_str()) == 0;
}

TEST(ReportsTest, WhatCannotBeWrittenIsRefusedAndNothingIsChanged) {
    const TemporaryFolder folder;
    TestText text;
    WriteFile(folder / "test.yaml", text.ToString());
    text.test = {"DatabaseFileName: named"};
    WriteFile(folder / "named.yaml", text.ToString());
    WriteFile(folder / "wizard.yaml", ReadFile(std::filesystem::path(EXAMPLES_PATH) / "wizard-ipv4.yaml"));
    WriteFile(folder / "text.db", "no database");
    std::filesystem::create_directory(folder / "sub");
    ASSERT_EQ(RunIptvtest("run test.yaml -q --db old --record old.jsonl", folder.GetPath()).status, 0);
    const std::string database = ReadFile(folder / "old.db");
    WriteFile(folder / "cut.db", database.substr(0, database.size() / 2));
    WriteFile(folder / "short.db", database.substr(0, database.size() - 1));
    WriteFile(folder / "begin.db", database.substr(0, 50));
    Execute(folder / "foreign.db", "CREATE TABLE DataSets(Name TEXT, Size INTEGER)");
    Execute(folder / "ports.db",
            "PRAGMA journal_mode = WAL; CREATE TABLE DataSets(DataSetId INTEGER PRIMARY KEY);CREATE VIEW "
            "Port AS SELECT 1 AS Number");
    Execute(folder / "shop.db", "CREATE TABLE Customers(Name TEXT)");
    mkfifo((folder / "pipe").c_str(), 0666);
    std::filesystem::create_symlink("test.yaml", folder / "link");
    std::filesystem::create_symlink("new.db", folder / "dangling");
    std::filesystem::create_hard_link(folder / "old.jsonl", folder / "hard");
    const auto before = ReadAll(folder.GetPath());
    const auto refused = [&](const char* arguments, const char* problem) {
        SCOPED_TRACE(arguments);
        const ProgramRun run = RunIptvtest(std::string("run --json ") + arguments, folder.GetPath());
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, HasSubstr(problem));
        const json outcome = json::parse(run.out);
        EXPECT_EQ(outcome["exit_status"], 2);
        EXPECT_EQ(outcome["mistakes"].size(), 1U);
        EXPECT_TRUE(ReadAll(folder.GetPath()) == before);
    };
    refused("test.yaml --db new/", "--db: new/ cannot be written: it names a folder");
    refused("test.yaml --db sub", "--db: sub cannot be written: it names a folder");
    refused("test.yaml --junit .", "--junit: . cannot be written: it names a folder");
    refused("test.yaml --db test.yaml/r", "test.yaml is no folder");
    refused("test.yaml --record new/sub/r --db old.jsonl/x", "old.jsonl is no folder");
    refused("test.yaml --db new --junit new.db", "it is the same file as --db, ");
    refused("test.yaml --db file:new --record file:new.db", "it is the same file as --db, ");
    refused("test.yaml --db new --junit dangling", "it is the same file as --db, ");
    refused("test.yaml --db new --junit new.db-wal", "the database of the two keeps such a file");
    refused("test.yaml --db new --junit new/../new.db", "it is the same file as --db, ");
    refused("test.yaml --junit link", "it is the same file as the test file, ");
    refused("test.yaml --replay old.jsonl --record hard", "it is the same file as --replay, ");
    refused("test.yaml --replay - --record hard <old.jsonl", "it is the same file as --replay, ");
    refused("test.yaml --junit old.db", "it is a database");
    refused("named.yaml --record named.db", "named cannot be written: it is the same file as --record");
    refused("test.yaml --record iptvTest.db",
            "iptvTest.db cannot be written: it is the same file as --record");
    refused("wizard.yaml --record iptvTest.db", "it is the same file as --record");
    refused("test.yaml --db text", "--db: text cannot be written: it is no database");
    refused("test.yaml --db cut",
            "--db: cut cannot be written: it is a damaged database, or one that was cut");
    refused("test.yaml --db short", "--db: short cannot be written: it is a damaged database: of its ");
    refused("test.yaml --db begin", "--db: begin cannot be written: it is a damaged database");
    refused("test.yaml --db foreign",
            "it is no results database: its table DataSets has no DataSetId, so it");
    refused("test.yaml --db shop", "it is no results database: it has no table DataSets");
    refused("test.yaml --db ports", "--db: ports cannot be written: it is no results database: ");
    refused("test.yaml --set Start/DatabaseFileName=ports", "Port");
    refused("test.yaml --db /dev/null", "--db: /dev/null cannot be written: it is no regular file");
    refused("test.yaml --db pipe", "--db: pipe cannot be written: it is no regular file");
    refused("test.yaml --db new --junit /dev/stdout", "it is the same file as the standard output");
    // Another run may have opened what this one found missing.
    auto outputs = std::make_unique<orv::app::OutputFiles>();
    EXPECT_EQ(outputs->AddOutput("--db", folder / "shared", orv::app::OutputFiles::Kind::Database), "");
    const auto other = Execute(folder / "shared.db", "");
    outputs.reset();
    EXPECT_TRUE(std::filesystem::exists(folder / "shared.db"));
    const auto in_use = Execute(folder / "old.db", "PRAGMA journal_mode = WAL; CREATE TABLE Notes(Text)");
    // What is there is added to or replaced, folders are made, several tests share a database.
    const char* const again = "run test.yaml -q --db old.db --record new/r.jsonl --junit new/sub/j.xml";
    EXPECT_EQ(RunIptvtest(again, folder.GetPath()).status, 0);
    EXPECT_EQ(Query(folder / "old.db", "SELECT count(*) FROM DataSets"), "2");
    EXPECT_TRUE(AreXml(folder / "new/sub"));
}

TEST(ReportsTest, AllOfThemSayTheSame) {
    const TemporaryFolder folder;
    TestText text;
    WriteFile(folder / "test.yaml", text.ToString());
    text.faults = {"{kind: refuse, request: UpdateProfile}"};
    WriteFile(folder / "refused.yaml", text.ToString());
    WriteFile(folder / "bad.yaml", "project:\n  - Prot: x\n");
    const char* const outcome_sql =
        "SELECT Text FROM DataSetDescriptions WHERE Name = 'Outcome' ORDER BY DataSetId DESC";
    int number = 0;
    const auto expect = [&](const std::string& arguments, int status, const char* end, const char* error,
                            bool has_junit = true, const char* plugin = nullptr) {
        SCOPED_TRACE(arguments);
        const std::string junit = fmt::format("{}.xml", ++number);
        std::string command = "run --db r " + arguments;
        if (arguments.find("--junit") == std::string::npos) command += " --junit " + junit;
        if (plugin) setenv("IPTVTEST_PLUGIN", plugin, 1);
        const ProgramRun program = RunIptvtest(command + " --json", folder.GetPath());
        const ProgramRun person = RunIptvtest(command, folder.GetPath());
        unsetenv("IPTVTEST_PLUGIN");
        EXPECT_EQ(program.status, status);
        EXPECT_EQ(person.status, status);
        const json outcome = json::parse(program.out);
        EXPECT_EQ(outcome["exit_status"], status);
        EXPECT_EQ(outcome["end"], end);
        for (const auto& test : outcome["tests"])
            EXPECT_EQ(test["verdict"], status == 0 ? "passed" : "not finished");
        EXPECT_EQ(person.out.find("PASSED") != person.out.npos, status == 0);
        const std::string told = person.out + person.err;
        if (*error) {
            EXPECT_NE(told.find(error), told.npos) << told;
            EXPECT_EQ(told.find(error), told.rfind(error)) << told;
        }
        if (status == 0 || arguments.ends_with("/dev/full")) {
            EXPECT_EQ(Query(folder / "r.db", outcome_sql), end);
        }
        EXPECT_EQ(std::filesystem::exists(folder / junit), has_junit);
        if (!has_junit) return;
        EXPECT_EQ(ReadFile(folder / junit).find("errors=\"0\"") != std::string::npos, status < 2);
    };
    expect("test.yaml", 0, "passed", "");
    expect("bad.yaml", 2, "bad input", "did you mean Port?");
    expect("refused.yaml", 3, "run-time failure", "refused on purpose");
    expect("refused.yaml --quiet", 3, "run-time failure", "refused on purpose");
    expect("refused.yaml --log-level off", 3, "run-time failure", "refused on purpose");
    expect("test.yaml --junit /dev/full", 3, "run-time failure", "/dev/full cannot be written", false);
    expect("test.yaml --record /dev/full", 3, "run-time failure", "/dev/full cannot be written");
    expect("test.yaml --clock sundial", 2, "bad input", "sundial", false);
    expect("test.yaml", 3, "run-time failure", "/none", true, "/none");
    EXPECT_TRUE(AreXml(folder.GetPath()));
    // The report before it names the output that fails last.
    const std::string full = "run -q test.yaml --db r --junit j.xml --json >/dev/full; exit $?";
    EXPECT_EQ(RunIptvtest(full, folder.GetPath()).status, 3);
    EXPECT_THAT(ReadFile(folder / "j.xml"), HasSubstr("the output cannot be written"));
}

TEST(ReportsTest, AreReadableWhateverNamesHold) {
    const TemporaryFolder folder;
    int number = 0;
    const auto expect = [&](const std::string& name, const std::string& printed, const std::string& xml) {
        SCOPED_TRACE(printed);
        RunOutcome outcome;
        outcome.title = name;
        outcome.errors = {name};
        auto& test = outcome.tests.emplace_back();
        test.name = name;
        test.stb_blocks.emplace_back().name = name;
        const std::string report = orv::app::MakeJUnitXml(outcome);
        WriteFile(folder / fmt::format("{}.xml", ++number), report);
        EXPECT_THAT(report, HasSubstr("\"STB block " + xml + "\""));
        EXPECT_TRUE(json::accept(orv::app::MakeOutcomeJson(outcome)));
        const std::string summary = orv::app::MakeSummary(outcome);
        EXPECT_THAT(summary, HasSubstr("Test \"" + printed + "\""));
        EXPECT_THAT(summary, HasSubstr("\n" + printed + " "));
    };
    expect("Wohnzimmer \u00e4\u4e2d\U0001f4fa", "Wohnzimmer \u00e4\u4e2d\U0001f4fa",
           "Wohnzimmer \u00e4\u4e2d\U0001f4fa");
    expect("a<b>&\"c\"", "a<b>&\"c\"", "a&lt;b&gt;&amp;&quot;c&quot;");
    expect("\x1b[2J\a\x7f", "\\x1b[2J\\x07\\x7f", "\ufffd[2J\ufffd\ufffd");
    expect("a\nb\tc", "a\\nb\\tc", "a b c");
    expect("\u009b31m \u202e\u2066x\u2028", "\\u009b31m \\u202e\\u2066x\\u2028",
           "\ufffd31m \u202e\u2066x\u2028");
    expect("\ufffe \uffff", "\ufffe \uffff", "\ufffd \ufffd");
    expect("\x9b \xff \xc3", "\\x9b \\xff \\xc3", "\ufffd \ufffd \ufffd");
    expect("\xc0\xaf \xed\xa0\x80 \xf4\x90\x80\x80", "\\xc0\\xaf \\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80",
           "\ufffd\ufffd \ufffd\ufffd\ufffd \ufffd\ufffd\ufffd\ufffd");
    EXPECT_TRUE(AreXml(folder.GetPath()));
}

TEST(ReportsTest, TablesFitTheLine) {
    constexpr auto kRight = TextTable::Align::Right;
    TextTable table({{"Block"}, {"Views", kRight}, {"Lost", kRight}, {"Join ms", kRight}});
    table.AddRow({"Living room", "12", "0", "1 / 2 / 3"});
    table.AddRow({"K\u00fcche", "7", "3", "4 / 5 / 6"});
    EXPECT_EQ(table.ToString(35),
              "Block        Views  Lost    Join ms\n-----------  -----  ----  ---------\n"
              "Living room     12     0  1 / 2 / 3\nK\u00fcche            7     3  4 / 5 / 6\n");
    EXPECT_EQ(table.ToString(34),
              "Block    Living room      K\u00fcche\n-------  -----------  ---------\nViews             12   "
              "       7\n"
              "Lost               0          3\nJoin ms    1 / 2 / 3  4 / 5 / 6\n");
    EXPECT_EQ(table.ToString(30),
              "Living room\n  Views: 12  Lost: 0\n  Join ms: 1 / 2 / 3\n"
              "K\u00fcche\n  Views: 7  Lost: 3\n  Join ms: 4 / 5 / 6\n");
    EXPECT_EQ(table.ToString(5),
              "Living room\n  Views: 12\n  Lost: 0\n  Join ms: 1 / 2 / 3\n"
              "K\u00fcche\n  Views: 7\n  Lost: 3\n  Join ms: 4 / 5 / 6\n");
}

/// The data sets of a database.
json List(const std::filesystem::path& database) {
    return json::parse(RunIptvtest("results " + database.string() + " --json").out)["data_sets"];
}

TEST(ReportsTest, ARunIsToldInEveryFormAndRepeatedFromItsDatabase) {
    const TemporaryFolder folder;
    const auto in_folder = [&folder](const std::string& arguments) {
        return RunIptvtest(arguments, folder.GetPath());
    };
    WriteFile(folder / "test.yaml", TestText{.seconds = 20, .network = {"join_failure: 20 %"}}.ToString());
    const std::string options = " --seed 5 --set Boxes/SaveTimeStamps=true ";
    const ProgramRun run = in_folder("run test.yaml --json --junit j.xml --db first" + options);
    EXPECT_EQ(run.status, 1);
    const json outcome = json::parse(run.out), block = outcome["tests"][0]["stb_blocks"][0];
    EXPECT_EQ(outcome["end"], "failed");
    EXPECT_EQ(outcome["seed"], 5);
    EXPECT_EQ(outcome["tests"][0]["channel_changes"], 80);
    EXPECT_EQ(block["name"], "Boxes");
    EXPECT_GT(block["JoinFails"], 5);
    EXPECT_THAT(ReadFile(folder / "j.xml"),
                testing::AllOf(HasSubstr("<testsuites tests=\"3\" failures=\"2\" errors=\"0\" "),
                               HasSubstr("name=\"STB block Boxes\"")));
    const json first = List(folder / "first")[0];
    const json wanted{{"verdict", "FAILED"},
                      {"outcome", "failed"},
                      {"test_file", "test.yaml"},
                      {"seed", 5},
                      {"settings", "--set Boxes/SaveTimeStamps=true"}};
    for (const auto& [key, value] : wanted.items()) EXPECT_EQ(first[key], value) << key;
    EXPECT_THAT(RunIptvtest("version").out,
                testing::StartsWith(fmt::format("iptvtest {}\n", first["version"].get<std::string>())));

    EXPECT_EQ(in_folder("results first --test-file >again.yaml").status, 0);
    EXPECT_EQ(ReadFile(folder / "again.yaml"), ReadFile(folder / "test.yaml"));
    EXPECT_THAT(in_folder("run again.yaml --db second" + options).out,
                testing::AllOf(HasSubstr("Verdict: FAILED"), HasSubstr("Boxes"), HasSubstr("0 % may fail")));
    EXPECT_EQ(FirstDifference(DumpDatabase(folder / "first.db"), DumpDatabase(folder / "second.db")), "");
    EXPECT_EQ(in_folder("results first 'Port Result' --csv --columns 'port name'").out,
              "Port Name\r\nViewers\r\n");
    EXPECT_THAT(in_folder("results first --data-set 0").err,
                HasSubstr("--data-set: 0 is no number of a data set, a whole number from 1"));
}

TEST(ReportsTest, AnExpectationThatIsNotMetFailsTheRunNotItsTest) {
    const TemporaryFolder folder;
    const std::string yaml = TestText{}.ToString() + "expect:\n";
    // Every kind of object has its figures in the results of a test.
    const char* const names[] = {"", " Viewers", " Boxes", " Profile", " Range"};
    std::string good = yaml + "  - 'test: join latency p99 > 0 ms'\n";
    std::size_t count = 1;
    for (const orv::app::Subject& subject : orv::app::GetSubjects()) {
        for (const orv::app::Count& figure : orv::app::GetCounts()) {
            if (!figure.IsKnownOf(subject)) continue;
            const auto place = &subject - orv::app::GetSubjects().data();
            good += fmt::format("  - {}{}: {} >= 0\n", subject.name, names[place], figure.name);
            ++count;
        }
    }
    WriteFile(folder / "good.yaml", good);
    WriteFile(folder / "bad.yaml", yaml +
                                       "  - 'STB block Boxes: views = 40'\n  - port Viewers: lost > 0\n"
                                       "  - 'test: gap latency mean < 5 s'\n");
    const auto expect = [&](const char* file, int status, std::size_t met, std::size_t all) {
        SCOPED_TRACE(file);
        const std::string command = fmt::format("run {}.yaml --db {} --junit {}.xml", file, file, file);
        const ProgramRun person = RunIptvtest(command, folder.GetPath());
        const json outcome = json::parse(RunIptvtest(command + " --json", folder.GetPath()).out);
        const std::string verdict =
            fmt::format("{}, {} of {} met", status == 0 ? "PASSED" : "FAILED", met, all);
        EXPECT_EQ(person.status, status);
        EXPECT_EQ(outcome["exit_status"], status);
        EXPECT_THAT(person.out, HasSubstr("Verdict: PASSED\nExpectations: " + verdict + "\n"));
        const json& test = outcome["tests"][0];
        EXPECT_EQ(test["verdict"], "passed");
        EXPECT_EQ(
            std::ranges::count(test["expectations"], json(true), [](const json& one) { return one["met"]; }),
            met);
        EXPECT_EQ(test["expectations"].size(), all);
        EXPECT_EQ(List(folder / file)[0]["expectations"], test["expectations"]);
        EXPECT_THAT(RunIptvtest(fmt::format("results {}", file), folder.GetPath()).out, HasSubstr(verdict));
        EXPECT_THAT(ReadFile(folder / fmt::format("{}.xml", file)),
                    HasSubstr(fmt::format("<testsuites tests=\"{}\" failures=\"{}\" errors=\"0\" ", 3 + all,
                                          all - met)));
        return std::pair(person.out, test["expectations"]);
    };
    expect("good", 0, count, count);
    const auto [summary, results] = expect("bad", 1, 1, 3);
    EXPECT_THAT(summary, testing::ContainsRegex("views = 40 +40  passed\n.*lost > 0 +0  FAILED\n"));
    EXPECT_EQ(results[2], json::parse(R"({"text": "test: gap latency mean < 5 s", "met": false,
                                          "measured": null, "unit": "s"})"));
    EXPECT_THAT(ReadFile(folder / "bad.xml"),
                HasSubstr("name=\"expect: port Viewers: lost &gt; 0\" time=\"10\">\n      <failure "
                          "message=\"measured: 0\">"));
    // The names of the wizard's objects are known only when it has made them.
    const auto wizard = ReadFile(std::filesystem::path(EXAMPLES_PATH) / "wizard-ipv4.yaml");
    WriteFile(folder / "wizard.yaml", wizard + "expect: [\"profile Hasty: views > 0\"]\n");
    EXPECT_THAT(
        RunIptvtest("validate wizard.yaml", folder.GetPath()).err,
        testing::ContainsRegex("wizard.yaml:[0-9]+:19: expect: \"Hasty\" names no profile; expected Iptv"));
    // What was measured in a part of a test passes nothing.
    RunOutcome outcome;
    outcome.end = orv::app::RunEnd::Interrupted;
    outcome.tests.emplace_back().expectations = {{"a", true, 1, ""}, {"b", false, {}, ""}};
    EXPECT_THAT(MakeSummary(outcome), HasSubstr("Expectations: FAILED, 1 of 2 met so far\n"));
    outcome.tests[0].configured_duration = 1;
    EXPECT_THAT(MakeSummary(outcome), HasSubstr("Expectations: NOT FINISHED, 1 of 2 met so far\n"));
    EXPECT_THAT(MakeJUnitXml(outcome), HasSubstr("failures=\"0\" errors=\"2\" skipped=\"2\""));
    EXPECT_TRUE(json::parse(MakeOutcomeJson(outcome))["tests"][0]["expectations"][0]["met"].is_null());
}

TEST(ReportsTest, WhatCannotBeWrittenIsFoundWhereTheRunSays) {
    const TemporaryFolder folder;
    const auto file = folder / "test.yaml", database = folder / "r.db";
    WriteFile(file, TestText{}.ToString());
    const std::string command = "run " + file.string() + " --json --db " + database.string();
    ASSERT_EQ(RunIptvtest(command).status, 0);
    auto reader = Execute(database, "BEGIN; SELECT * FROM Port");
    const ProgramRun run = RunIptvtest(command);
    reader.reset();
    EXPECT_EQ(run.status, 3);
    const std::string other = json::parse(run.out)["database"];
    EXPECT_EQ(other, (folder / "r.recovered-1.db").string());
    EXPECT_THAT(run.err, testing::AllOf(HasSubstr("results cannot be written to " + database.string()),
                                        HasSubstr(other)));
    EXPECT_EQ(List(other)[0]["verdict"], "not finished: run-time failure");
    EXPECT_THAT(RunIptvtest("results " + other + " 'Channel Result' --csv").out, HasSubstr("VC Config Name"));
    EXPECT_EQ(List(database).size(), 1U);
}

TEST(ReportsTest, AfterAKillTheRowsThatAreThereAreShown) {
    const TemporaryFolder folder;
    const std::string rows = "results r.db IptvEventResults --csv --limit 1 --columns 'belongs to'";
    WriteFile(folder / "test.yaml",
              TestText{.seconds = 36000, .stbs = 200, .block = {"SaveTimeStamps: true"}}.ToString());
    const ProgramRun killed = RunIptvtest("run test.yaml --quiet --db r.db & until " PROGRAM_PATH " " + rows +
                                              " 2>/dev/null | grep -q Boxes; do [ -e /proc/$! ] || break; "
                                              "sleep 0.1; done; kill -KILL $!; wait $!",
                                          folder.GetPath());
    EXPECT_EQ(killed.status, 128 + 9);
    EXPECT_THAT(RunIptvtest("results r.db", folder.GetPath()).out,
                testing::AllOf(HasSubstr("not finished"), HasSubstr("IptvEventResults")));
    EXPECT_EQ(RunIptvtest(rows, folder.GetPath()).out, "Belongs to\r\nBoxes\r\n");
}

std::vector<std::filesystem::path> FindExamples(bool live) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES_PATH)) {
        if (entry.path().extension() != ".yaml") continue;
        const std::string text = ReadFile(entry.path());
        const bool is_live = text.find("linux://") != text.npos || text.find("agent://") != text.npos;
        if (is_live == live) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

class ExampleTest : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(ExampleTest, EndsAsItSaysAndEveryTimeTheSame) {
    const TemporaryFolder folder;
    std::smatch verdict;
    const std::string text = ReadFile(GetParam());
    ASSERT_TRUE(std::regex_search(text, verdict, std::regex("# Verdict: (passed|failed)\n")));
    const auto run = [&](const std::string& options) {
        return RunIptvtest("run --quiet " + GetParam().string() + options, folder.GetPath());
    };
    // A sweep is not recorded.
    const bool is_sweep = text.find("\nsweep:") != std::string::npos;
    const ProgramRun once = run(is_sweep ? " --db first" : " --db first --record recording");
    EXPECT_EQ(once.status, verdict[1] == "passed" ? 0 : 1);
    EXPECT_EQ(once.err, "");
    run(" --db second");
    if (!is_sweep) run(" --db replayed --replay recording");
    const std::string dump = DumpDatabase(folder / "first.db");
    EXPECT_GT(dump.size(), 10'000U);
    EXPECT_EQ(FirstDifference(dump, DumpDatabase(folder / "second.db")), "") << "the same seed";
    if (is_sweep) return;
    EXPECT_EQ(FirstDifference(dump, DumpDatabase(folder / "replayed.db")), "") << "the recording, replayed";
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleTest, testing::ValuesIn(FindExamples(false)), [](const auto& info) {
    return std::regex_replace(info.param.stem().string(), std::regex("[^a-z0-9]"), "_");
});

TEST(ExamplesTest, LiveOnesAreGoodFiles) {
    ASSERT_FALSE(FindExamples(true).empty());
    for (const auto& example : FindExamples(true))
        EXPECT_EQ(RunIptvtest("validate " + example.string()).status, 0) << example;
}

}  // namespace
