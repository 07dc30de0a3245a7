// Everything that a run writes: that it can be written, that all of it says the same, and that it can be
// read.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "output/outcome_json.h"
#include "output/summary.h"
#include "output/text_table.h"
#include "program.h"
#include "run/output_files.h"
#include "test_text.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::app::RunEnd;
using orv::app::RunOutcome;
using orv::app::TextTable;
using testing::HasSubstr;

/// Every file below a folder, and what is in it.
std::map<std::string, std::string> ReadAll(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        files[entry.path().string()] = entry.is_regular_file() ? ReadFile(entry.path()) : "";
    return files;
}

/// In a folder with a test file.
ProgramRun RunIn(const TemporaryFolder& folder, const std::string& arguments) {
    const TemporaryFolder out;
    const std::string command =
        fmt::format("cd {} && {} {} >{} 2>{}", folder.GetPath().string(), PROGRAM_PATH, arguments,
                    (out / "out").string(), (out / "err").string());
    const int status = std::system(command.c_str());
    return {WEXITSTATUS(status), ReadFile(out / "out"), ReadFile(out / "err")};
}

/// The connection stays open, as another program's.
std::shared_ptr<sqlite3> Execute(const std::filesystem::path& path, const char* sql) {
    sqlite3* database = nullptr;
    sqlite3_open(path.c_str(), &database);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    return {database, &sqlite3_close};
}

bool IsXml(const std::filesystem::path& file) {
    return std::system(
               ("python3 -c 'import sys, xml.dom.minidom as m; m.parse(sys.argv[1])' " + file.string())
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
    ASSERT_EQ(RunIn(folder, "run test.yaml -q --db old --record old.jsonl").status, 0);
    const std::string database = ReadFile(folder / "old.db");
    WriteFile(folder / "cut.db", database.substr(0, database.size() / 2));
    WriteFile(folder / "short.db", database.substr(0, database.size() - 1));
    WriteFile(folder / "begin.db", database.substr(0, 50));
    Execute(folder / "foreign.db", "CREATE TABLE DataSets(Name TEXT, Size INTEGER)");
    Execute(folder / "ports.db",
            "PRAGMA journal_mode = WAL; CREATE TABLE DataSets(DataSetId INTEGER PRIMARY KEY);"
            "CREATE VIEW Port AS SELECT 1 AS Number");
    Execute(folder / "shop.db", "CREATE TABLE Customers(Name TEXT)");
    mkfifo((folder / "pipe").c_str(), 0666);
    std::filesystem::create_symlink("test.yaml", folder / "link");
    std::filesystem::create_symlink("new.db", folder / "dangling");
    std::filesystem::create_hard_link(folder / "old.jsonl", folder / "hard");
    const auto before = ReadAll(folder.GetPath());
    struct Case {
        const char* arguments;
        const char* problem;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"test.yaml --db new/", "--db: new/ cannot be written: it names a folder"},
             {"test.yaml --db sub", "--db: sub cannot be written: it names a folder"},
             {"test.yaml --junit .", "--junit: . cannot be written: it names a folder"},
             {"test.yaml --db test.yaml/r", "test.yaml is no folder"},
             {"test.yaml --record new/sub/r --db old.jsonl/x", "old.jsonl is no folder"},
             {"test.yaml --db new --junit new.db", "it is the same file as --db, "},
             {"test.yaml --db file:new --record file:new.db", "it is the same file as --db, "},
             {"test.yaml --db new --junit dangling", "it is the same file as --db, "},
             {"test.yaml --db new --junit new.db-wal", "the database of the two keeps such a file"},
             {"test.yaml --db new --junit new/../new.db", "it is the same file as --db, "},
             {"test.yaml --junit link", "it is the same file as the test file, "},
             {"test.yaml --replay old.jsonl --record hard", "it is the same file as --replay, "},
             {"test.yaml --replay - --record hard <old.jsonl", "it is the same file as --replay, "},
             {"test.yaml --junit old.db", "it is a database"},
             {"named.yaml --record named.db", "named cannot be written: it is the same file as --record"},
             {"test.yaml --record iptvTest.db",
              "iptvTest.db cannot be written: it is the same file as --record"},
             {"wizard.yaml --record iptvTest.db", "it is the same file as --record"},
             {"test.yaml --db text", "--db: text cannot be written: it is no database"},
             {"test.yaml --db cut",
              "--db: cut cannot be written: it is a damaged database, or one that was cut"},
             {"test.yaml --db short", "--db: short cannot be written: it is a damaged database: of its "},
             {"test.yaml --db begin", "--db: begin cannot be written: it is a damaged database"},
             {"test.yaml --db foreign",
              "it is no results database: its table DataSets has no DataSetId, so it"},
             {"test.yaml --db shop", "it is no results database: it has no table DataSets"},
             {"test.yaml --db ports", "--db: ports cannot be written: it is no results database: "},
             {"test.yaml --set Start/DatabaseFileName=ports", "Port"},
             {"test.yaml --db /dev/null", "--db: /dev/null cannot be written: it is no regular file"},
             {"test.yaml --db pipe", "--db: pipe cannot be written: it is no regular file"},
             {"test.yaml --db new --junit /dev/stdout", "it is the same file as the standard output"},
         }) {
        SCOPED_TRACE(c.arguments);
        const ProgramRun run = RunIn(folder, std::string("run --json ") + c.arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, HasSubstr(c.problem));
        const auto json = nlohmann::json::parse(run.out);
        EXPECT_EQ(json["exit_status"], 2);
        EXPECT_EQ(json["mistakes"].size(), 1U);
        EXPECT_TRUE(ReadAll(folder.GetPath()) == before);
    }
    // Another run may have opened what this one found missing.
    auto outputs = std::make_unique<orv::app::OutputFiles>();
    EXPECT_EQ(outputs->AddOutput("--db", folder / "shared", orv::app::OutputFiles::Kind::Database), "");
    const auto other = Execute(folder / "shared.db", "");
    outputs.reset();
    EXPECT_TRUE(std::filesystem::exists(folder / "shared.db"));
    const auto in_use = Execute(folder / "old.db", "PRAGMA journal_mode = WAL; CREATE TABLE Notes(Text)");
    // What is there is added to or replaced, folders are made, several tests share a database.
    EXPECT_EQ(RunIn(folder, "run test.yaml -q --db old.db --record new/r.jsonl --junit new/sub/j.xml").status,
              0);
    EXPECT_EQ(Query(folder / "old.db", "SELECT count(*) FROM DataSets"), "2");
    EXPECT_TRUE(IsXml(folder / "new/sub/j.xml"));
}

TEST(ReportsTest, AllOfThemSayTheSame) {
    const TemporaryFolder folder;
    TestText text;
    WriteFile(folder / "test.yaml", text.ToString());
    text.faults = {"{kind: refuse, request: UpdateProfile}"};
    WriteFile(folder / "refused.yaml", text.ToString());
    WriteFile(folder / "bad.yaml", "project:\n  - Prot: x\n");
    struct Case {
        const char* arguments;
        int status;
        const char* end;
        const char* error;  ///< reported once, to users
        bool has_junit;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"test.yaml", 0, "passed", "", true},
             {"bad.yaml", 2, "bad input", "did you mean Port?", true},
             {"refused.yaml", 3, "run-time failure", "refused on purpose", true},
             {"refused.yaml --quiet", 3, "run-time failure", "refused on purpose", true},
             {"refused.yaml --log-level off", 3, "run-time failure", "refused on purpose", true},
             {"test.yaml --junit /dev/full", 3, "run-time failure", "/dev/full cannot be written", false},
             {"test.yaml --record /dev/full", 3, "run-time failure", "/dev/full cannot be written", true},
             {"test.yaml --clock sundial", 2, "bad input", "sundial", false},
             {"IPTVTEST_PLUGIN=/none", 3, "run-time failure", "/none", true},
         }) {
        SCOPED_TRACE(c.arguments);
        const std::string arguments = c.arguments;
        const auto run = [&](const std::string& more) {
            const bool is_environment = arguments.find('=') != std::string::npos;
            if (is_environment) setenv("IPTVTEST_PLUGIN", "/none", 1);
            const ProgramRun result =
                RunIn(folder,
                      fmt::format("run --db r {} {} {}", is_environment ? "test.yaml" : arguments,
                                  arguments.find("--junit") == arguments.npos ? "--junit j.xml" : "", more));
            unsetenv("IPTVTEST_PLUGIN");
            return result;
        };
        std::filesystem::remove(folder / "j.xml");
        const ProgramRun program = run("--json"), person = run("");
        EXPECT_EQ(program.status, c.status);
        EXPECT_EQ(person.status, c.status);
        const auto json = nlohmann::json::parse(program.out);
        EXPECT_EQ(json["exit_status"], c.status);
        EXPECT_EQ(json["end"], c.end);
        for (const auto& test : json["tests"])
            EXPECT_EQ(test["verdict"], c.status == 0 ? "passed" : "not finished");
        EXPECT_EQ(person.out.find("PASSED") != person.out.npos, c.status == 0);
        const std::string told = person.out + person.err;
        if (*c.error) {
            const std::size_t first = told.find(c.error);
            EXPECT_NE(first, told.npos) << told;
            EXPECT_EQ(told.find(c.error, first + 1), told.npos) << told;
        }
        if (c.status == 0 || arguments.find("/dev/full") != arguments.npos) {
            EXPECT_EQ(Query(folder / "r.db",
                            "SELECT Text FROM DataSetDescriptions WHERE Name = 'Outcome' "
                            "ORDER BY DataSetId DESC"),
                      c.end);
        }
        EXPECT_EQ(std::filesystem::exists(folder / "j.xml"), c.has_junit);
        if (!c.has_junit) continue;
        EXPECT_TRUE(IsXml(folder / "j.xml"));
        EXPECT_EQ(ReadFile(folder / "j.xml").find("errors=\"0\"") != std::string::npos, c.status < 2);
    }
    // The report before it names the output that fails last.
    EXPECT_EQ(
        RunIptvtest(
            fmt::format("run -q {0}/test.yaml --db {0}/r --junit {0}/j.xml --json >/dev/full; exit $?; :",
                        folder.GetPath().string()))
            .status,
        3);
    EXPECT_THAT(ReadFile(folder / "j.xml"), HasSubstr("the output cannot be written"));
}

TEST(ReportsTest, AreReadableWhateverNamesHold) {
    struct Case {
        std::string name;
        std::string printed;
        std::string xml;  ///< between "STB block " and the quote
    };
    for (const Case& c : std::initializer_list<Case>{
             {"Wohnzimmer \u00e4\u4e2d\U0001f4fa", "Wohnzimmer \u00e4\u4e2d\U0001f4fa",
              "Wohnzimmer \u00e4\u4e2d\U0001f4fa"},
             {"a<b>&\"c\"", "a<b>&\"c\"", "a&lt;b&gt;&amp;&quot;c&quot;"},
             {"\x1b[2J\a\x7f", "\\x1b[2J\\x07\\x7f", "\ufffd[2J\ufffd\ufffd"},
             {"a\nb\tc", "a\\nb\\tc", "a b c"},
             {"\u009b31m \u202e\u2066x\u2028", "\\u009b31m \\u202e\\u2066x\\u2028",
              "\ufffd31m \u202e\u2066x\u2028"},
             {"\ufffe \uffff", "\ufffe \uffff", "\ufffd \ufffd"},
             {"\x9b \xff \xc3", "\\x9b \\xff \\xc3", "\ufffd \ufffd \ufffd"},
             {"\xc0\xaf \xed\xa0\x80 \xf4\x90\x80\x80", "\\xc0\\xaf \\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80",
              "\ufffd\ufffd \ufffd\ufffd\ufffd \ufffd\ufffd\ufffd\ufffd"},
         }) {
        SCOPED_TRACE(c.printed);
        RunOutcome outcome;
        outcome.title = c.name;
        outcome.errors = {c.name};
        auto& test = outcome.tests.emplace_back();
        test.name = c.name;
        test.stb_blocks.emplace_back().name = c.name;
        const TemporaryFolder folder;
        const std::string xml = orv::app::MakeJUnitXml(outcome);
        WriteFile(folder / "j.xml", xml);
        EXPECT_TRUE(IsXml(folder / "j.xml")) << xml;
        EXPECT_THAT(xml, HasSubstr("\"STB block " + c.xml + "\""));
        EXPECT_TRUE(nlohmann::json::accept(orv::app::MakeOutcomeJson(outcome)));
        const std::string summary = orv::app::MakeSummary(outcome);
        EXPECT_THAT(summary, HasSubstr("Test \"" + c.printed + "\""));
        EXPECT_THAT(summary, HasSubstr("\n" + c.printed + " "));
    }
}

TEST(ReportsTest, TablesFitTheLine) {
    constexpr auto kRight = TextTable::Align::Right;
    TextTable table({{"Block"}, {"Views", kRight}, {"Lost", kRight}, {"Join ms", kRight}});
    table.AddRow({"Living room", "12", "0", "1 / 2 / 3"});
    table.AddRow({"K\u00fcche", "7", "3", "4 / 5 / 6"});
    struct Case {
        std::size_t width;
        const char* text;
    };
    for (const Case& c :
         std::initializer_list<Case>{{35,
                                      "Block        Views  Lost    Join ms\n"
                                      "-----------  -----  ----  ---------\n"
                                      "Living room     12     0  1 / 2 / 3\n"
                                      "K\u00fcche            7     3  4 / 5 / 6\n"},
                                     {34,
                                      "Block    Living room      K\u00fcche\n"
                                      "-------  -----------  ---------\n"
                                      "Views             12          7\n"
                                      "Lost               0          3\n"
                                      "Join ms    1 / 2 / 3  4 / 5 / 6\n"},
                                     {30,
                                      "Living room\n  Views: 12  Lost: 0\n  Join ms: 1 / 2 / 3\n"
                                      "K\u00fcche\n  Views: 7  Lost: 3\n  Join ms: 4 / 5 / 6\n"},
                                     {5,
                                      "Living room\n  Views: 12\n  Lost: 0\n  Join ms: 1 / 2 / 3\n"
                                      "K\u00fcche\n  Views: 7\n  Lost: 3\n  Join ms: 4 / 5 / 6\n"}})
        EXPECT_EQ(table.ToString(c.width), c.text) << c.width;
}

}  // namespace
