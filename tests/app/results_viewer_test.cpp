// "iptvtest results" on files that the host's test-result manager has written.
#include "results_viewer/show_results.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "orv/core/eot_result.h"
#include "orv/core/host_application.h"
#include "orv/core/orv_system.h"
#include "orv/core/project.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "run/program.h"

namespace {

using namespace orv;           // NOLINT: a test
using namespace testing_aids;  // NOLINT: a test
namespace fs = std::filesystem;
using app::ResultsRequest, testing::AllOf, testing::HasSubstr, testing::IsEmpty;
using enum app::ResultsFormat;

ProgramRun Print(const ResultsRequest& request) {
    std::ostringstream out, err;
    const int status = app::ShowResults(request, out, err);
    return {status, out.str(), err.str()};
}

/// What is printed, or the error, which comes alone.
void Expect(const ResultsRequest& request, int status, const testing::Matcher<std::string>& text) {
    const ProgramRun shown = Print(request);
    EXPECT_EQ(shown.status, status) << shown.err;
    EXPECT_THAT(status == 0 ? shown.out : shown.err, text);
    EXPECT_THAT(status == 0 ? shown.err : shown.out, IsEmpty());
}

struct ResultsViewerTest : testing::Test {
    ResultsViewerTest() {
        for (const char* name : {"Head end", "Viewers"})
            Make(ids::Port::CLASS, host_.GetProject()).SetT<std::string>(ids::Scriptable::Name, name);
    }

    fs::path Database(const std::string& name = "test") const { return folder_ / (name + ".db"); }
    ProgramRun Show(const std::string& view = "", app::ResultsFormat format = Table,
                    std::optional<std::uint32_t> data_set = {}) {
        return Print({Database(), view, format, data_set});
    }

    void Begin(const std::string& name = "test") {
        manager_->StartInteractive();
        manager_->SetTestResultSetting({"Samples", name, ""});
        manager_->SaveConfiguration(true);
        Settle();
        root_ = nullptr;
    }
    /// A node of the tree; the first one of a data set becomes the root.
    core::CEotResultNode& AddView(const std::string& name, const std::string& sql = "",
                                  core::CEotResultNode* parent = nullptr) {
        if (!parent) parent = root_;
        auto& system = core::COrvSystem::Instance();
        auto& node =
            MakeOf<core::CEotResultNode>(parent ? static_cast<framework::CScriptable&>(*parent) : system);
        node.SetT<std::string>(ids::Scriptable::Name, name);
        node.SetDescription("About " + name);
        node.SetParameter("@DataSetId", std::to_string(manager_->GetDataSetId()));
        auto& definition = MakeOf<core::CEotResultViewDefinition>(system);
        definition.SetResultViewType("SQL_GRID");
        definition.SetSqlCommand(sql);
        node.SetViewDefinition(definition);
        if (!root_) root_ = &node;
        return node;
    }
    void Store() {
        manager_->SaveObjects({ids::EotResultNode::CLASS});
        manager_->SetRootNode(*root_);
        Settle();
    }
    void End() {
        Store();
        manager_->Finalise();
        root_->Delete();
    }
    /// A whole data set.
    void Write(const std::vector<std::pair<const char*, std::string>>& views,
               const std::string& database = "test") {
        Begin(database);
        for (const auto& [name, sql] : views) AddView(name, sql);
        End();
    }
    /// Waits until everything has been written.
    void Settle() { manager_->Describe("Version", "1"); }

    TemporaryFolder folder_;
    core::CHostApplication host_{{framework::ClockKind::Virtual}};
    std::unique_ptr<core::TestResultManager> manager_ =
        core::MakeSqliteTestResultManager(folder_.GetPath().string());
    core::CEotResultNode* root_ = nullptr;

  private:
    static framework::CScriptable& Make(common::ClassId id, framework::CScriptable& parent) {
        return *framework::CScriptableCreator().Create(id, &parent);
    }
    template <class Object>
    static Object& MakeOf(framework::CScriptable& parent) {
        return dynamic_cast<Object&>(Make(Object::CLASS_ID(), parent));
    }
};

/// The ports of the data set.
constexpr const char* kPorts =
    "SELECT Name AS 'Port Name', Handle * 0 + 1.5 AS 'Rate' FROM Port WHERE DataSetId = @DataSetId";

TEST_F(ResultsViewerTest, TheTreeShowsWhatThereIs) {
    Begin();
    AddView("Summary", "SELECT 1").Set(ids::EotResultNode::Status, std::uint8_t{2});
    auto& ports = AddView("Ports", kPorts);
    AddView("Result", "SELECT 1 AS one", &ports);
    auto* definition = AddView("Details").GetViewDefinition();
    definition->SetResultViewType("EXTERNAL_REPORT");
    definition->Set("ExternalReportCommandLine", "templates/Details.rtp");
    End();

    Expect({Database(), "", Table, {}}, 0,
           HasSubstr("\n\nData set 1:\n\nView        What it shows\n"
                     "----------  -----------------------------------------------\n"
                     "Summary     About Summary (failed)\n"
                     "  Ports     About Ports\n"
                     "    Result  About Result\n"
                     "  Details   About Details (report by templates/Details.rtp)\n"));
    const auto json = nlohmann::json::parse(Show("", Json).out);
    EXPECT_EQ(json["views"][2]["path"], "Summary/Ports/Result");
    EXPECT_EQ(json["views"][3]["template"], "templates/Details.rtp");
    EXPECT_TRUE(json["data_sets"][0]["end"].is_string());
    EXPECT_THAT(
        Show("", Csv).out,
        HasSubstr("Summary,table,About Summary,1\r\nSummary/Ports,table,About Ports,0\r\nSummary/Ports/"));
    EXPECT_EQ(Print({Database(), "", Table, {}, true}).out, "Summary\nPorts\nResult\n");
    EXPECT_EQ(Show("PORTS").out, "Port Name  Rate\n---------  ----\nHead end    1.5\nViewers     1.5\n");
}

TEST_F(ResultsViewerTest, RowsArePrinted) {
    const std::string odd = "SELECT 'a,\"b' AS 'Text, odd', NULL AS N, 2.00049 AS R, -7 AS 'Text, odd'";
    const std::string wide =
        "SELECT 'A' AS Block, 12 AS 'A first title of many characters that fills', 1e20 AS 'A second title "
        "of as many, which does too', NULL AS 'A third title, so that no terminal has room for all' ";
    const std::string very_long = ", printf('%.120c', 'x') AS Long", x(120, 'x');
    const std::string begin = "{\"view\": \"Odd\", \"data_set\": 1, \"columns\": [";
    const auto expect = [&](app::ResultsFormat format, const std::string& sql, const std::string& expected) {
        SCOPED_TRACE(sql);
        fs::remove(Database());
        Write({{"Odd", sql}});
        Expect({Database(), "Odd", format, {}}, 0, expected);
    };
    expect(Table,
           "SELECT 'é\x1b[31m' AS T, -0.0001 AS 'Übrig', NULL AS N UNION ALL SELECT '1', 123456.7896, 5",
           "T              Übrig  N\n---------  ---------  -\né\\x1b[31m          0\n"
           "1          123456.79  5\n");
    expect(Table, "SELECT 1 AS a WHERE 0", "(no rows)\n");
    expect(Table, "SELECT 1 AS 'a\x1b[2J', 2 AS b" + very_long,
           "Row 1\n  a\\x1b[2J: 1\n  b:        2\n  Long:     " + x + "\n");
    expect(Csv, "SELECT CAST(x'41ff42' AS TEXT) AS a, CAST(x'61006d' AS TEXT) AS b",
           "a,b\r\nA\ufffdB,a\ufffdm\r\n");
    expect(Json, "SELECT CAST(x'41ff42' AS TEXT) AS a",
           begin + "\"a\"],\n \"rows\": [\n  {\"a\": \"A\ufffdB\"}]}\n");
    expect(Table, wide + "UNION ALL SELECT 'B', 3, 4.5, 'x'",
           "Block                                                    A    B\n"
           "---------------------------------------------------  -----  ---\n"
           "A first title of many characters that fills             12    3\n"
           "A second title of as many, which does too            1e+20  4.5\n"
           "A third title, so that no terminal has room for all           x\n");
    expect(Table, "SELECT 7 AS 'Übrig', NULL AS N" + very_long + " UNION ALL SELECT 8, 'x', 'y'",
           "Row 1\n  Übrig: 7\n  N:\n  Long:  " + x + "\n\nRow 2\n  Übrig: 8\n  N:     x\n  Long:  y\n");
    expect(Csv, odd, "\"Text, odd\",N,R,\"Text, odd\"\r\n\"a,\"\"b\",,2.00049,-7\r\n");
    expect(Csv, "SELECT NULL AS a", "a\r\n\"\"\r\n");
    expect(Json, odd,
           begin +
               "\"Text, odd\",\"N\",\"R\",\"Text, odd (2)\"],\n"
               " \"rows\": [\n  {\"Text, odd\": \"a,\\\"b\", \"N\": null, \"R\": 2.00049, \"Text, odd (2)\": "
               "-7}]}\n");
    expect(Json,
           "SELECT 9007199254740993 AS a, x'00ff' AS b WHERE 0 UNION ALL SELECT 9007199254740993, x'00ff'",
           begin + "\"a\",\"b\"],\n \"rows\": [\n  {\"a\": 9007199254740993, \"b\": \"00ff\"}]}\n");
}

std::string SelectNumbers(const std::string& where) {
    return "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n" + where +
           ") SELECT i AS Number, printf('%.200c', 'x') AS Long FROM n";
}

TEST_F(ResultsViewerTest, WhatIsWantedOfAViewIsPrinted) {
    Write({{"Odd",
            "SELECT Name AS 'Port Name', length(Name) AS Length, Handle AS 'a,b', 7 AS 'port name' FROM Port "
            "WHERE DataSetId = @DataSetId ORDER BY Name DESC;"}});
    const auto expect = [&](const app::Selection& selection, int status,
                            const testing::Matcher<std::string>& text) {
        SCOPED_TRACE(selection.columns + "|" + selection.where);
        Expect({Database(), "Odd", Csv, {}, false, selection}, status, text);
    };
    expect({"", "\"Length\" > 7", {}}, 0,
           testing::StartsWith("Port Name,Length,\"a,b\",port name\r\nHead end,8,"));
    expect({"length,PORT NAME", "1 -- all", {}}, 0, "Length,Port Name\r\n7,Viewers\r\n8,Head end\r\n");
    expect({"Length, length", "[Port Name (2)] = 7 AND 'a)' <> ';'", 1}, 0, "Length,Length\r\n7,7\r\n");
    expect({"\"a,b\"", "", 0}, 0, "\"a,b\"\r\n");
    expect(
        {"Lenth", "", {}}, 2,
        AllOf(HasSubstr("no column \"Lenth\"; did you mean \"Length\"?"), HasSubstr("\n  port name (2)\n")));
    expect({"", "\"Lenth\" = 1", {}}, 2, HasSubstr("no such column: Lenth; did you mean \"Length\"?"));
    expect({"", "Length = ", {}}, 2, HasSubstr("syntax error"));
    expect({"", "1) UNION SELECT 1, 2, 3, (4", {}}, 2, HasSubstr("no SQL expression"));
    expect({"", "1; DELETE FROM Port", {}}, 2, HasSubstr("no SQL expression"));
    expect({"", "(SELECT 1 FROM pragma_user_version)", {}}, 2, HasSubstr("not authorized"));
    EXPECT_THAT(Print({Database(), "", Table, {}, false, {"", "", 1}}).err, HasSubstr("name one"));
}

TEST_F(ResultsViewerTest, OutputIsMadeAsRowsAreFound) {
    Write({{"Endless", SelectNumbers("")},
           {"Many", SelectNumbers(" WHERE i < 3000")},
           {"Huge", "SELECT printf('%.60000000c', 'x') AS a"}});
    for (const auto format : {Table, Csv, Json}) {
        // A reader that closes the pipe early.
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            close(ends[0]);
#ifndef __SANITIZE_ADDRESS__  // which reserves more than there is
            const rlimit memory{std::size_t{2} << 30, std::size_t{2} << 30};
            setrlimit(RLIMIT_AS, &memory);
#endif
            _exit(app::ShowResults({Database(), "Endless", format, {}}, ends[1], std::cerr));
        }
        close(ends[1]);
        std::string text(2'000'000, ' ');
        for (std::size_t at = 0; at < text.size();) {
            const ssize_t size = read(ends[0], text.data() + at, text.size() - at);
            ASSERT_GT(size, 0);
            at += static_cast<std::size_t>(size);
        }
        close(ends[0]);
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGPIPE) << status;

        // A slow reader does not keep the database open.
        const ResultsRequest many{Database(), "Many", format, {}};
        ASSERT_EQ(pipe(ends), 0);
        std::thread pager([&] {
            EXPECT_EQ(app::ShowResults(many, ends[1], std::cerr), 0);
            close(ends[1]);
        });
        pollfd begun{ends[0], POLLIN, 0};
        EXPECT_EQ(poll(&begun, 1, 60'000), 1);
        const auto writer = Execute(Database(), "PRAGMA busy_timeout = 20000; BEGIN EXCLUSIVE; ROLLBACK");
        std::string paged;
        for (ssize_t size; (size = read(ends[0], text.data(), text.size())) > 0;)
            paged.append(text, 0, static_cast<std::size_t>(size));
        pager.join();
        close(ends[0]);
        EXPECT_EQ(paged, Print(many).out);
        EXPECT_GT(paged.size(), 500'000U);
        EXPECT_THAT(paged, HasSubstr(format == Table ? "\nRow 2999\n  Number: 2999\n" : ""));
        const int full = open("/dev/full", O_WRONLY);
        std::ostringstream err;
        EXPECT_EQ(app::ShowResults(many, full, err), 3);
        EXPECT_THAT(err.str(), HasSubstr("the output cannot be written: No space left"));
        close(full);
    }
    sqlite3_hard_heap_limit64(20'000'000);
    const ProgramRun huge = Show("Huge", Csv);
    sqlite3_hard_heap_limit64(0);
    EXPECT_EQ(huge.status, 3);
    EXPECT_THAT(huge.err, HasSubstr("not enough memory"));
}

TEST_F(ResultsViewerTest, NamesAndPathsFindViews) {
    Begin();
    AddView("Summary", "SELECT 'summary' AS a");
    auto& home = AddView("IPV4", "SELECT 'v4' AS a");
    AddView("Result", "SELECT 'v4 result' AS a", &home);
    auto& office = AddView("IPV6");
    AddView("Result", "SELECT 'v6 result' AS a", &office);
    AddView("Result", "SELECT 'v6 again' AS a", &office);
    AddView("Broken", "SELECT a FROM NoTable");
    End();
    EXPECT_EQ(Print({Database(), "", Table, {}, true}).out,
              "Summary\nIPV4\nIPV4/Result\nIPV6/Result\nResult #2\nBroken\n");
    Expect({Database(), "ipv4/result", Csv, {}}, 0, "a\r\nv4 result\r\n");
    Expect({Database(), "Summary/IPV6/Result #2", Csv, {}}, 0, "a\r\nv6 again\r\n");
    Expect({Database(), "Result", Table, {}}, 0,
           AllOf(HasSubstr("Summary/IPV4/Result\n\na\n---------\nv4 result\n\nSummary/IPV6/Result\n\na"),
                 HasSubstr("v6 again\n")));
    Expect({Database(), "Result", Csv, {}}, 2, HasSubstr("\n  Summary/IPV4/Result\n  Summary/IPV6/Result\n"));
    Expect({Database(), "IPV6", Table, {}}, 2, HasSubstr("heading"));
    Expect({Database(), "Sumary", Json, {}}, 2,
           AllOf(HasSubstr("did you mean \"Summary\"?"), HasSubstr("\n  IPV4/Result\n")));
    Expect({Database(), "4/Result", Table, {}}, 2, HasSubstr("no view \"4/Result\" in data set 1"));
    Expect({Database(), "Broken", Json, {}}, 2,
           AllOf(HasSubstr("\"Broken\""), HasSubstr("no such table: NoTable")));
}

TEST_F(ResultsViewerTest, DataSetsAreChosenAlsoWhileOneIsWritten) {
    Begin();
    const ProgramRun early = Show();
    EXPECT_EQ(early.status, 0);
    EXPECT_THAT(early.err, HasSubstr("no end yet"));
    EXPECT_THAT(Show("Ports").err, HasSubstr("it has started"));
    // Results of a test without an end are shown all the same.
    EXPECT_THAT(early.out, HasSubstr("\nPort                 2 rows\n"));
    const std::string project = host_.GetProject().GetName();
    EXPECT_EQ(Print({Database(), "port", Csv, {}, false, {"belongs to,Name,DataSetId", "", {}}}).out,
              "Belongs to,Name,DataSetId\r\n" + project + ",Head end,1\r\n" + project + ",Viewers,1\r\n");
    AddView("Ports", kPorts);
    End();

    Begin();
    const ProgramRun latest = Show("Ports");
    EXPECT_THAT(latest.out, HasSubstr("Viewers"));
    EXPECT_THAT(latest.err, HasSubstr("data set 1 is shown; data set 2 has no views yet: started"));

    AddView("Ports",
            "SELECT DISTINCT @DataSetId AS 'Data set', DataSetId FROM Port WHERE DataSetId = @DataSetId");
    Store();
    const ProgramRun open = Show("Ports", Csv);
    EXPECT_EQ(open.out, "Data set,DataSetId\r\n2,2\r\n");
    EXPECT_THAT(open.err, HasSubstr("data set 2 started"));
    Expect({Database(), "Ports", Csv, 1}, 0, "Port Name,Rate\r\nHead end,1.5\r\nViewers,1.5\r\n");
    EXPECT_THAT(Show("", Csv, 3).err, HasSubstr("no data set 3; it has: 1, 2"));
    manager_->Finalise();
    EXPECT_FALSE(fs::exists(Database().string() + "-wal")) << "a reader has kept the file open";
}

TEST_F(ResultsViewerTest, DataSetsSayWhatTheyAreResultsOf) {
    const std::string file = "title: \u00e9\n\x1b";
    manager_->Describe("Title", "A \x1b[1mtitle");
    manager_->Describe("TestFileText", file);
    manager_->Describe("Seed", "18446744073709551615");
    Write({{"Ports", kPorts}});
    manager_->Describe("Outcome", "interrupted");
    Write({{"Ports", kPorts}});
    Execute(Database(), "DELETE FROM DataSetDescriptions WHERE DataSetId = 2 AND Name <> 'Seed'");

    EXPECT_THAT(Show().out, HasSubstr("A \\x1b[1mtitle"));
    const auto json = nlohmann::json::parse(Show("", Json).out);
    const auto& first = json["data_sets"][0];
    EXPECT_EQ(first["outcome"], "interrupted");
    EXPECT_EQ(first["seed"], 18446744073709551615U);
    EXPECT_GT(first["wall_clock_end"], "2026");
    EXPECT_EQ(first["start"].get<std::string>().substr(0, 4), "2000");
    EXPECT_TRUE(json["data_sets"][1]["title"].is_null());
    EXPECT_EQ(Print({Database(), "", Table, 1, false, {}, true}).out, file);
    EXPECT_THAT(Print({Database(), "", Table, 2, false, {}, true}).err,
                HasSubstr("holds no test file for data set 2"));
    Execute(Database(), "DROP TABLE DataSetDescriptions");
    EXPECT_THAT(Show().out, HasSubstr("2000-01-01"));
}

TEST_F(ResultsViewerTest, AFileIsNamedAsForTheRunThatWritesIt) {
    fs::current_path(folder_.GetPath());
    for (const char* name : {"g", "file:odd?mode=memory", "both"}) Write({{"Ports", "SELECT 1 AS a"}}, name);
    WriteFile("both", "something else");
    fs::rename("file:odd?mode=memory.db", "file:plain");
    Write({{"Ports", "SELECT 1 AS a"}}, "file:odd?mode=memory");
    for (const char* name : {"g", "g.db", "./g", "both", "file:odd?mode=memory", "file:plain"}) {
        const ProgramRun shown = Print({name, "Ports", Csv, {}});
        EXPECT_EQ(shown.out, "a\r\n1\r\n") << name << shown.err;
        EXPECT_EQ(shown.err.empty(), std::string(name) != "both") << shown.err;
    }
    fs::current_path("/");
}

TEST_F(ResultsViewerTest, ResultsOfAnIterationAreReadFromItsFile) {
    Write({{"Summary", "SELECT 'of the iteration' AS a"}}, "Iteration");
    Begin();
    AddView("All", "SELECT 1");
    auto& node = AddView("First",
                         "SELECT count(*) AS Ports, (SELECT max(Name) FROM EotResultNode) AS Node FROM Port "
                         "WHERE DataSetId = @DataSetId");
    manager_->RegisterIterationDatabase(node, "/nonexistent/elsewhere/Iteration.db");
    End();
    EXPECT_EQ(Show("First", Csv).out, "Ports,Node\r\n2,Summary\r\n");
    fs::remove(Database("Iteration"));
    EXPECT_THAT(Show("First", Csv).err, HasSubstr("Iteration.db: there is no such file"));
}

TEST_F(ResultsViewerTest, FilesWithoutResultsAreRefused) {
    Begin("empty");
    manager_->Finalise();
    Execute(Database("empty"), "DELETE FROM DataSets");
    fs::create_directory(folder_ / "folder.db");
    WriteFile(folder_ / "nothing.db", "");
    WriteFile(folder_ / "text.db", std::string(2000, 'x'));
    const std::pair<const char*, const char*> cases[] = {{"missing", "no such file"},
                                                         {"folder", "is a folder"},
                                                         {"nothing", "no results database"},
                                                         {"text", "is no SQLite database"},
                                                         {"empty", "has no data set"}};
    for (const auto& [name, error] : cases) {
        SCOPED_TRACE(name);
        for (const bool list : {false, true})
            Expect({Database(name), "", Table, {}, list}, 2,
                   AllOf(HasSubstr(Database(name).string()), HasSubstr(error)));
    }
    EXPECT_FALSE(fs::exists(Database("missing")));
}

/// What a user sees who may change nothing in the folder.
ProgramRun PrintWithoutPermission(const ResultsRequest& request) {
    const fs::path folder = request.database.parent_path();
    fs::permissions(folder, fs::perms(0555));
    const bool changed = geteuid() == 0 && seteuid(65534) == 0;
    const ProgramRun shown = Print(request);
    if (changed && seteuid(0) != 0) std::abort();
    fs::permissions(folder, fs::perms(0755));
    return shown;
}

TEST_F(ResultsViewerTest, AFolderOfSomebodyElseIsEnough) {
    fs::permissions(folder_.GetPath(), fs::perms(0755));
    Begin();
    AddView("Ports", kPorts);
    Store();
    const ProgramRun open = PrintWithoutPermission({Database(), "Ports", Table, {}});
    EXPECT_THAT(open.out, HasSubstr("Viewers")) << "in the log of the file: " << open.err;
    // The files of a killed test, first with the log that still has to be recovered.
    const fs::path copies = folder_ / "copies", copy = copies / "te st?%23#.db";
    fs::create_directory(copies);
    fs::copy_file(Database(), copy);
    fs::copy_file(Database().string() + "-wal", copy.string() + "-wal");
    for (const bool has_log : {true, false}) {
        SCOPED_TRACE(has_log);
        if (!has_log) Execute(copy, "SELECT count(*) FROM DataSets");
        const ProgramRun shown = PrintWithoutPermission({copy, "Ports", Table, {}});
        EXPECT_EQ(shown.status, has_log ? 2 : 0);
        EXPECT_THAT(shown.err, HasSubstr(has_log ? "copy both files" : "no end yet"));
        EXPECT_THAT(shown.out, HasSubstr(has_log ? "" : "Viewers"));
    }
}

}  // namespace
