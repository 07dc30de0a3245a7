// "iptvtest results" on files that the host's test-result manager has written.
#include "results_viewer/show_results.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <fstream>
#include <iostream>
#include <memory>
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

namespace {

using namespace orv;  // NOLINT: a test
namespace fs = std::filesystem;
using app::ResultsFormat;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct Shown {
    int status;
    std::string out;
    std::string err;
};

/// As a user with write access to the file.
void Execute(const fs::path& database, const char* sql) {
    sqlite3* connection = nullptr;
    EXPECT_EQ(sqlite3_open(database.c_str(), &connection), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(connection, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(connection);
}

Shown Print(const app::ResultsRequest& request) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = app::ShowResults(request, out, err);
    return {status, out.str(), err.str()};
}

class ResultsViewerTest : public testing::Test {
  protected:
    ResultsViewerTest() : folder_(MakeFolder()), host_({framework::ClockKind::Virtual}) {
        manager_ = core::MakeSqliteTestResultManager(folder_.string());
        for (const char* name : {"Head end", "Viewers"}) {
            Make(ids::Port::CLASS, host_.GetProject()).SetT<std::string>(ids::Scriptable::Name, name);
        }
    }
    ~ResultsViewerTest() override {
        manager_.reset();
        fs::remove_all(folder_);
    }

    fs::path Database(const std::string& name = "test") const { return folder_ / (name + ".db"); }

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
        auto& node = MakeOf<core::CEotResultNode>(parent ? static_cast<framework::CScriptable&>(*parent)
                                                         : core::COrvSystem::Instance());
        node.SetT<std::string>(ids::Scriptable::Name, name);
        node.SetDescription("About " + name);
        node.SetParameter("@DataSetId", std::to_string(manager_->GetDataSetId()));
        auto& definition = MakeOf<core::CEotResultViewDefinition>(core::COrvSystem::Instance());
        definition.SetResultViewType("SQL_GRID");
        definition.SetSqlCommand(sql);
        node.SetViewDefinition(definition);
        if (!root_) root_ = &node;
        return node;
    }
    void End() {
        Store();
        manager_->Finalise();
        root_->Delete();
    }
    void Store() {
        manager_->SaveObjects({ids::EotResultNode::CLASS});
        manager_->SetRootNode(*root_);
        Settle();
    }

    /// Waits until everything has been written.
    void Settle() { manager_->Describe("Version", "1"); }

    fs::path folder_;
    core::CHostApplication host_;
    std::unique_ptr<core::TestResultManager> manager_;
    core::CEotResultNode* root_ = nullptr;

  private:
    static fs::path MakeFolder() {
        std::string pattern = (fs::temp_directory_path() / "viewerXXXXXX").string();
        return mkdtemp(pattern.data());
    }
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
    "SELECT Name AS 'Port Name', Handle * 0 + 1.5 AS 'Rate' FROM Port WHERE DataSetId = @DataSetId ORDER BY "
    "Handle";

TEST_F(ResultsViewerTest, TheTreeShowsWhatThereIs) {
    Begin();
    AddView("Summary", "SELECT 1").Set(ids::EotResultNode::Status, std::uint8_t{2});
    auto& ports = AddView("Ports", kPorts);
    AddView("Result", "SELECT 1 AS one", &ports);
    auto* definition = AddView("Details").GetViewDefinition();
    definition->SetResultViewType("EXTERNAL_REPORT");
    definition->Set("ExternalReportCommandLine", "templates/Details.rtp");
    End();

    const Shown tree = Print({Database(), "", ResultsFormat::Table, {}});
    EXPECT_EQ(tree.status, 0);
    EXPECT_THAT(tree.err, IsEmpty());
    EXPECT_THAT(tree.out, HasSubstr("\n\nData set 1:\n\nView        What it shows\n"
                                    "----------  -----------------------------------------------\n"
                                    "Summary     About Summary (failed)\n"
                                    "  Ports     About Ports\n"
                                    "    Result  About Result\n"
                                    "  Details   About Details (report by templates/Details.rtp)\n"));

    const auto json = nlohmann::json::parse(Print({Database(), "", ResultsFormat::Json, {}}).out);
    EXPECT_EQ(json["views"][2]["path"], "Summary/Ports/Result");
    EXPECT_EQ(json["views"][3]["template"], "templates/Details.rtp");
    EXPECT_TRUE(json["data_sets"][0]["end"].is_string());
    EXPECT_THAT(
        Print({Database(), "", ResultsFormat::Csv, {}}).out,
        HasSubstr("Summary,table,About Summary,1\r\nSummary/Ports,table,About Ports,0\r\nSummary/Ports/"));
    EXPECT_EQ(Print({Database(), "", ResultsFormat::Table, {}, true}).out, "Summary\nPorts\nResult\n");

    EXPECT_EQ(Print({Database(), "PORTS", ResultsFormat::Table, {}}).out,
              "Port Name  Rate\n---------  ----\nHead end    1.5\nViewers     1.5\n");
}

struct Printed {
    ResultsFormat format;
    std::string sql;
    std::string expected;
};

TEST_F(ResultsViewerTest, RowsArePrinted) {
    using enum ResultsFormat;
    const std::string odd = "SELECT 'a,\"b' AS 'Text, odd', NULL AS N, 2.00049 AS R, -7 AS 'Text, odd'";
    const std::string wide =
        "SELECT 'A' AS Block, 12 AS 'A first title of many characters that fills', "
        "1e20 AS 'A second title of as many, which does too', NULL AS "
        "'A third title, so that no terminal has room for all' ";
    const std::string very_long = ", printf('%.120c', 'x') AS Long";
    const std::vector<Printed> cases{
        {Table, "SELECT 'é\x1b[31m' AS T, -0.0001 AS 'Übrig', NULL AS N UNION ALL SELECT '1', 123456.7896, 5",
         "T              Übrig  N\n---------  ---------  -\né\\x1b[31m          0\n"
         "1          123456.79  5\n"},
        {Table, "SELECT 1 AS a WHERE 0", "(no rows)\n"},
        {Table, "SELECT 1 AS 'a\x1b[2J', 2 AS b" + very_long,
         "Row 1\n  a\\x1b[2J: 1\n  b:        2\n  Long:     " + std::string(120, 'x') + "\n"},
        {Csv, "SELECT CAST(x'41ff42' AS TEXT) AS a, CAST(x'61006d' AS TEXT) AS b",
         "a,b\r\nA\ufffdB,a\ufffdm\r\n"},
        {Json, "SELECT CAST(x'41ff42' AS TEXT) AS a",
         "{\"view\": \"Odd\", \"data_set\": 1, \"columns\": [\"a\"],\n \"rows\": [\n  {\"a\": "
         "\"A\ufffdB\"}]}\n"},
        {Table, wide + "UNION ALL SELECT 'B', 3, 4.5, 'x'",
         "Block                                                    A    B\n"
         "---------------------------------------------------  -----  ---\n"
         "A first title of many characters that fills             12    3\n"
         "A second title of as many, which does too            1e+20  4.5\n"
         "A third title, so that no terminal has room for all           x\n"},
        {Table, "SELECT 7 AS 'Übrig', NULL AS N" + very_long + " UNION ALL SELECT 8, 'x', 'y'",
         "Row 1\n  Übrig: 7\n  N:\n  Long:  " + std::string(120, 'x') +
             "\n\nRow 2\n  Übrig: 8\n  N:     x\n  Long:  y\n"},
        {Csv, odd, "\"Text, odd\",N,R,\"Text, odd\"\r\n\"a,\"\"b\",,2.00049,-7\r\n"},
        {Csv, "SELECT NULL AS a", "a\r\n\"\"\r\n"},
        {Json, odd,
         "{\"view\": \"Odd\", \"data_set\": 1, \"columns\": [\"Text, odd\",\"N\",\"R\",\"Text, odd (2)\"],\n"
         " \"rows\": [\n  {\"Text, odd\": \"a,\\\"b\", \"N\": null, \"R\": 2.00049, \"Text, odd (2)\": "
         "-7}]}\n"},
        {Json,
         "SELECT 9007199254740993 AS a, x'00ff' AS b WHERE 0 UNION ALL SELECT 9007199254740993, x'00ff'",
         "{\"view\": \"Odd\", \"data_set\": 1, \"columns\": [\"a\",\"b\"],\n \"rows\": [\n"
         "  {\"a\": 9007199254740993, \"b\": \"00ff\"}]}\n"},
    };
    for (const Printed& test : cases) {
        SCOPED_TRACE(test.sql);
        fs::remove(Database());
        Begin();
        AddView("Odd", test.sql);
        End();
        const Shown shown = Print({Database(), "Odd", test.format, {}});
        EXPECT_EQ(shown.status, 0) << shown.err;
        EXPECT_EQ(shown.out, test.expected);
    }
}

TEST_F(ResultsViewerTest, AWideViewOfManyRowsLosesNone) {
    Begin();
    AddView("Many",
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 600) "
            "SELECT i AS Number, printf('%.200c', 'x') AS Long FROM n");
    End();
    std::istringstream lines(Print({Database(), "many", ResultsFormat::Table, {}}).out);
    int rows = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line == "  Number: " + std::to_string(rows + 1)) ++rows;
    }
    EXPECT_EQ(rows, 600);
}

TEST_F(ResultsViewerTest, WhatIsWantedOfAViewIsPrinted) {
    Begin();
    AddView("Odd",
            "SELECT Name AS 'Port Name', length(Name) AS Length, Handle AS 'a,b', 7 AS 'port name' FROM Port "
            "WHERE DataSetId = @DataSetId ORDER BY Name DESC;");
    End();
    struct Case {
        app::Selection selection;
        int status;
        testing::Matcher<std::string> text;  ///< of the output, or of the error
    };
    const Case cases[] = {
        {{"", "\"Length\" > 7", {}},
         0,
         testing::StartsWith("Port Name,Length,\"a,b\",port name\r\nHead end,8,")},
        {{"length,PORT NAME", "1 -- all", {}}, 0, "Length,Port Name\r\n7,Viewers\r\n8,Head end\r\n"},
        {{"Length, length", "[Port Name (2)] = 7 AND 'a)' <> ';'", 1}, 0, "Length,Length\r\n7,7\r\n"},
        {{"\"a,b\"", "", 0}, 0, "\"a,b\"\r\n"},
        {{"Lenth", "", {}},
         2,
         AllOf(HasSubstr("no column \"Lenth\"; did you mean \"Length\"?"), HasSubstr("\n  port name (2)\n"))},
        {{"", "\"Lenth\" = 1", {}}, 2, HasSubstr("no such column: Lenth; did you mean \"Length\"?")},
        {{"", "Length = ", {}}, 2, HasSubstr("syntax error")},
        {{"", "1) UNION SELECT 1, 2, 3, (4", {}}, 2, HasSubstr("no SQL expression")},
        {{"", "1; DELETE FROM Port", {}}, 2, HasSubstr("no SQL expression")},
        {{"", "(SELECT 1 FROM pragma_user_version)", {}}, 2, HasSubstr("not authorized")},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.selection.columns + "|" + test.selection.where);
        app::ResultsRequest request{Database(), "Odd", ResultsFormat::Csv, {}};
        request.selection = test.selection;
        const Shown shown = Print(request);
        EXPECT_EQ(shown.status, test.status) << shown.err;
        EXPECT_THAT(test.status == 0 ? shown.out : shown.err, test.text);
        EXPECT_THAT(test.status == 0 ? shown.err : shown.out, IsEmpty());
    }
    app::ResultsRequest request{Database(), "", ResultsFormat::Table, {}};
    request.selection.limit = 1;
    EXPECT_THAT(Print(request).err, HasSubstr("name one"));
}

/// Everything that comes from a pipe.
std::string ReadAll(int descriptor) {
    std::string text;
    char chunk[4096];
    for (ssize_t size; (size = read(descriptor, chunk, sizeof chunk)) > 0;)
        text.append(chunk, static_cast<std::size_t>(size));
    return text;
}

TEST_F(ResultsViewerTest, OutputIsMadeAsRowsAreFound) {
    const auto select_numbers = [](const std::string& where) {
        return "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n" + where +
               ") SELECT i AS Number, printf('%.100c', 'x') AS Long FROM n";
    };
    Begin();
    AddView("Endless", select_numbers(""));
    AddView("Many", select_numbers(" WHERE i < 5000"));
    AddView("Huge", "SELECT printf('%.60000000c', 'x') AS a");
    End();
    for (const auto format : {ResultsFormat::Table, ResultsFormat::Csv, ResultsFormat::Json}) {
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
            app::ResultsRequest request{Database(), "Endless", format, {}};
            _exit(app::ShowResults(request, ends[1], std::cerr));
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
        const app::ResultsRequest many{Database(), "Many", format, {}};
        ASSERT_EQ(pipe(ends), 0);
        std::thread pager([&] {
            EXPECT_EQ(app::ShowResults(many, ends[1], std::cerr), 0);
            close(ends[1]);
        });
        usleep(20'000);
        sqlite3* writer = nullptr;
        sqlite3_open(Database().c_str(), &writer);
        sqlite3_busy_timeout(writer, 20'000);
        EXPECT_EQ(sqlite3_exec(writer, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(writer);
        const std::string paged = ReadAll(ends[0]);
        pager.join();
        close(ends[0]);
        EXPECT_EQ(paged, Print(many).out);
        EXPECT_GT(paged.size(), 500'000U);

        const int full = open("/dev/full", O_WRONLY);
        std::ostringstream err;
        EXPECT_EQ(app::ShowResults(many, full, err), 3);
        EXPECT_THAT(err.str(), HasSubstr("the output cannot be written: No space left"));
        close(full);
    }
    sqlite3_hard_heap_limit64(20'000'000);
    const Shown huge = Print({Database(), "Huge", ResultsFormat::Csv, {}});
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
    EXPECT_EQ(Print({Database(), "", ResultsFormat::Table, {}, true}).out,
              "Summary\nIPV4\nIPV4/Result\nIPV6/Result\nResult #2\nBroken\n");

    struct Case {
        const char* view;
        ResultsFormat format;
        int status;
        testing::Matcher<std::string> text;  ///< of the output, or of the error
    };
    const Case cases[] = {
        {"ipv4/result", ResultsFormat::Csv, 0, "a\r\nv4 result\r\n"},
        {"Summary/IPV6/Result #2", ResultsFormat::Csv, 0, "a\r\nv6 again\r\n"},
        {"Result", ResultsFormat::Table, 0,
         AllOf(HasSubstr("Summary/IPV4/Result\n\na\n---------\nv4 result\n\nSummary/IPV6/Result\n\na"),
               HasSubstr("v6 again\n"))},
        {"Result", ResultsFormat::Csv, 2, HasSubstr("\n  Summary/IPV4/Result\n  Summary/IPV6/Result\n")},
        {"IPV6", ResultsFormat::Table, 2, HasSubstr("heading")},
        {"Sumary", ResultsFormat::Json, 2,
         AllOf(HasSubstr("did you mean \"Summary\"?"), HasSubstr("\n  IPV4/Result\n"))},
        {"4/Result", ResultsFormat::Table, 2, HasSubstr("no view \"4/Result\" in data set 1")},
        {"Broken", ResultsFormat::Json, 2,
         AllOf(HasSubstr("\"Broken\""), HasSubstr("no such table: NoTable"))},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.view);
        const Shown shown = Print({Database(), test.view, test.format, {}});
        EXPECT_EQ(shown.status, test.status);
        EXPECT_THAT(test.status == 0 ? shown.out : shown.err, test.text);
        EXPECT_THAT(test.status == 0 ? shown.err : shown.out, IsEmpty());
    }
}

TEST_F(ResultsViewerTest, DataSetsAreChosenAlsoWhileOneIsWritten) {
    Begin();
    const Shown early = Print({Database(), "", ResultsFormat::Table, {}});
    EXPECT_EQ(early.status, 0);
    EXPECT_THAT(early.err, HasSubstr("no end yet"));
    EXPECT_THAT(Print({Database(), "Ports", ResultsFormat::Table, {}}).err, HasSubstr("it has started"));
    // Results of a test without an end are shown all the same.
    EXPECT_THAT(early.out, HasSubstr("\nPort                 2 rows\n"));
    app::ResultsRequest rows{Database(), "port", ResultsFormat::Csv, {}};
    rows.selection.columns = "belongs to,Name,DataSetId";
    const std::string project = host_.GetProject().GetName();
    EXPECT_EQ(Print(rows).out,
              "Belongs to,Name,DataSetId\r\n" + project + ",Head end,1\r\n" + project + ",Viewers,1\r\n");
    AddView("Ports", kPorts);
    End();

    Begin();
    const Shown latest = Print({Database(), "Ports", ResultsFormat::Table, {}});
    EXPECT_THAT(latest.out, HasSubstr("Viewers"));
    EXPECT_THAT(latest.err, HasSubstr("data set 1 is shown; data set 2 has no views yet: started"));

    AddView("Ports",
            "SELECT DISTINCT @DataSetId AS 'Data set', DataSetId FROM Port WHERE DataSetId = "
            "@DataSetId");
    Store();
    const Shown open = Print({Database(), "Ports", ResultsFormat::Csv, {}});
    EXPECT_EQ(open.out, "Data set,DataSetId\r\n2,2\r\n");
    EXPECT_THAT(open.err, HasSubstr("data set 2 started"));
    const Shown first = Print({Database(), "Ports", ResultsFormat::Csv, 1});
    EXPECT_EQ(first.out, "Port Name,Rate\r\nHead end,1.5\r\nViewers,1.5\r\n");
    EXPECT_THAT(first.err, IsEmpty());
    EXPECT_THAT(Print({Database(), "", ResultsFormat::Csv, 3}).err, HasSubstr("no data set 3; it has: 1, 2"));
    manager_->Finalise();
    EXPECT_FALSE(fs::exists(Database().string() + "-wal")) << "a reader has kept the file open";
}

TEST_F(ResultsViewerTest, DataSetsSayWhatTheyAreResultsOf) {
    const std::string file = "title: \u00e9\n\x1b";
    for (const auto& [name, text] : {std::pair("Title", "A \x1b[1mtitle"),
                                     {"TestFileText", file.c_str()},
                                     {"Seed", "18446744073709551615"}})
        manager_->Describe(name, text);
    Begin();
    AddView("Ports", kPorts);
    End();
    manager_->Describe("Outcome", "interrupted");
    Begin();
    AddView("Ports", kPorts);
    End();
    Execute(Database(), "DELETE FROM DataSetDescriptions WHERE DataSetId = 2 AND Name <> 'Seed'");

    EXPECT_THAT(Print({Database(), "", ResultsFormat::Table, {}}).out, HasSubstr("A \\x1b[1mtitle"));
    const auto json = nlohmann::json::parse(Print({Database(), "", ResultsFormat::Json, {}}).out);
    const auto& first = json["data_sets"][0];
    EXPECT_EQ(first["outcome"], "interrupted");
    EXPECT_EQ(first["seed"], 18446744073709551615U);
    EXPECT_GT(first["wall_clock_end"], "2026");
    EXPECT_EQ(first["start"].get<std::string>().substr(0, 4), "2000");
    EXPECT_TRUE(json["data_sets"][1]["title"].is_null());
    app::ResultsRequest request{Database(), "", ResultsFormat::Table, 1};
    request.test_file = true;
    EXPECT_EQ(Print(request).out, file);
    request.data_set = 2;
    EXPECT_THAT(Print(request).err, HasSubstr("holds no test file for data set 2"));
    Execute(Database(), "DROP TABLE DataSetDescriptions");
    EXPECT_THAT(Print({Database(), "", ResultsFormat::Table, {}}).out, HasSubstr("2000-01-01"));
}

TEST_F(ResultsViewerTest, AFileIsNamedAsForTheRunThatWritesIt) {
    fs::current_path(folder_);
    for (const char* name : {"g", "file:odd?mode=memory", "both"}) {
        Begin(name);
        AddView("Ports", "SELECT 1 AS a");
        End();
    }
    std::ofstream("both") << "something else";
    fs::rename("file:odd?mode=memory.db", "file:plain");
    Begin("file:odd?mode=memory");
    AddView("Ports", "SELECT 1 AS a");
    End();
    for (const char* name : {"g", "g.db", "./g", "both", "file:odd?mode=memory", "file:plain"}) {
        const Shown shown = Print({name, "Ports", ResultsFormat::Csv, {}});
        EXPECT_EQ(shown.out, "a\r\n1\r\n") << name << shown.err;
        EXPECT_EQ(shown.err.empty(), std::string(name) != "both") << shown.err;
    }
    fs::current_path("/");
}

TEST_F(ResultsViewerTest, ResultsOfAnIterationAreReadFromItsFile) {
    Begin("Iteration");
    AddView("Summary", "SELECT 'of the iteration' AS a");
    End();
    Begin();
    AddView("All", "SELECT 1");
    auto& node = AddView("First",
                         "SELECT count(*) AS Ports, (SELECT max(Name) FROM EotResultNode) AS Node "
                         "FROM Port WHERE DataSetId = @DataSetId");
    manager_->RegisterIterationDatabase(node, "/nonexistent/elsewhere/Iteration.db");
    End();
    EXPECT_EQ(Print({Database(), "First", ResultsFormat::Csv, {}}).out, "Ports,Node\r\n2,Summary\r\n");
    fs::remove(Database("Iteration"));
    EXPECT_THAT(Print({Database(), "First", ResultsFormat::Csv, {}}).err,
                HasSubstr("Iteration.db: there is no such file"));
}

TEST_F(ResultsViewerTest, FilesWithoutResultsAreRefused) {
    Begin("empty");
    manager_->Finalise();
    Execute(Database("empty"), "DELETE FROM DataSets");
    fs::create_directory(folder_ / "folder.db");
    std::ofstream(folder_ / "nothing.db");
    std::ofstream(folder_ / "text.db") << std::string(2000, 'x');
    const std::pair<const char*, const char*> cases[] = {{"missing", "no such file"},
                                                         {"folder", "is a folder"},
                                                         {"nothing", "no results database"},
                                                         {"text", "is no SQLite database"},
                                                         {"empty", "has no data set"}};
    for (const auto& [name, error] : cases) {
        SCOPED_TRACE(name);
        for (const bool list : {false, true}) {
            const Shown shown = Print({Database(name), "", ResultsFormat::Table, {}, list});
            EXPECT_EQ(shown.status, 2);
            EXPECT_THAT(shown.err, AllOf(HasSubstr(Database(name).string()), HasSubstr(error)));
            EXPECT_THAT(shown.out, IsEmpty());
        }
    }
    EXPECT_FALSE(fs::exists(Database("missing")));
}

/// Everything below runs as a user who may change nothing in the folder.
class WithoutPermission {
  public:
    explicit WithoutPermission(const fs::path& folder) : folder_(folder) {
        fs::permissions(folder, fs::perms(0555));
        if (geteuid() == 0) changed_ = seteuid(65534) == 0;
    }
    ~WithoutPermission() {
        if (changed_ && seteuid(0) != 0) std::abort();
        fs::permissions(folder_, fs::perms(0755));
    }
    WithoutPermission(const WithoutPermission&) = delete;
    WithoutPermission& operator=(const WithoutPermission&) = delete;

  private:
    fs::path folder_;
    bool changed_ = false;
};

TEST_F(ResultsViewerTest, AFolderOfSomebodyElseIsEnough) {
    Begin();
    AddView("Ports", kPorts);
    Store();
    const app::ResultsRequest request{Database(), "Ports", ResultsFormat::Table, {}};
    {
        const WithoutPermission guard(folder_);
        const Shown shown = Print(request);
        EXPECT_THAT(shown.out, HasSubstr("Viewers")) << "in the log of the file: " << shown.err;
    }
    // The files of a killed test, first with the log that still has to be recovered.
    const fs::path copies = folder_ / "copies";
    const fs::path copy = copies / "te st?%23#.db";
    fs::create_directory(copies);
    fs::copy_file(Database(), copy);
    fs::copy_file(Database().string() + "-wal", copy.string() + "-wal");
    for (const bool has_log : {true, false}) {
        SCOPED_TRACE(has_log);
        if (!has_log) Execute(copy, "SELECT count(*) FROM DataSets");
        const WithoutPermission guard(copies);
        const Shown shown = Print({copy, "Ports", ResultsFormat::Table, {}});
        EXPECT_EQ(shown.status, has_log ? 2 : 0);
        EXPECT_THAT(shown.err, HasSubstr(has_log ? "copy both files" : "no end yet"));
        EXPECT_THAT(shown.out, HasSubstr(has_log ? "" : "Viewers"));
    }
}

}  // namespace
