// Results that cannot be written, and programs that write to one file.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "results_fixture.h"

namespace {

using namespace host_test;  // NOLINT: a test

struct FailureTest : ResultsTest {
    /// The errors of the log are the manager's error text.
    void ExpectErrors(const LogCatcher& log, const std::string& path, const std::string& reason,
                      int expected = 1) {
        EXPECT_THAT(Manager().GetErrorText(), testing::AllOf(HasSubstr(path), HasSubstr(reason)));
        std::string errors;
        int count = 0;
        for (const auto& record : log.GetRecords()) {
            if (record.level == LogLevelType::Error) errors += (count++ == 0 ? "" : "; ") + record.text;
        }
        EXPECT_EQ(errors, Manager().GetErrorText());
        EXPECT_EQ(count, expected);
    }
    /// `trouble` comes before the step of that number.
    void RunWholeTest(const std::string& name, int trouble_at = 0,
                      const std::function<void()>& trouble = {}) {
        core::PackedRows rows = MakePackedRows();
        rows.Add(0x7f000000, 0);
        const std::function<void()> steps[] = {[&] { Begin(name); },
                                               [&] { Manager().SaveConfiguration(true); },
                                               [&] { Manager().SetTestCommand(MakeCommand("c")); },
                                               [&] {
                                                   Manager().SaveRows(rows);
                                                   Manager().SaveResults(MakeResults(2));
                                               },
                                               [&] { Manager().SaveObjects({ids::Project::CLASS}); },
                                               [&] { Manager().SetRootNode(Project()); },
                                               [&] { Manager().Finalise(); }};
        for (int i = 0; i < static_cast<int>(std::size(steps)); ++i) {
            if (trouble && i == trouble_at) {
                Manager().Describe("Title", "All of it");  // waits until everything has been written
                trouble();
            }
            steps[i]();
        }
    }
    static void Hold(sqlite3*& holder, const std::string& path, const char* lock) {
        sqlite3_open(path.c_str(), &holder);
        EXPECT_EQ(sqlite3_exec(holder, lock, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(holder);
    }
};

TEST_F(FailureTest, WhatCannotBeWrittenToItsFileIsAllInAnotherOne) {
    MakeManager({.lock_wait = 20ms});
    fs::create_directory(folder_ / "tmp");
    setenv("TMPDIR", (folder_ / "tmp").c_str(), 1);
    sqlite3* holder = nullptr;
    constexpr int kEnd = 6;
    const struct {
        const char* name;
        std::vector<int> steps;  ///< before which the trouble comes
        std::function<void(const std::string& path)> trouble;
        const char* reason = "database is locked";
        const char* other = "";  ///< folder of the other file
    } cases[] = {
        {"text",
         {0},
         [&](auto&) { folder_.Write("text.db", std::string(5000, 'x')); },
         "file is not a database"},
        {"folder", {0}, [](auto& path) { fs::create_directory(path); }, "unable to open database file"},
        {"file/x", {0}, [&](auto&) { folder_.Write("file", "x"); }, "the folder cannot be made", "tmp/"},
        {"locked", {0}, [&](auto& path) { Hold(holder, path, "BEGIN EXCLUSIVE"); }},
        {"read",
         {0},
         [&](auto& path) { RunWholeTest("read"), Hold(holder, path, "BEGIN; SELECT * FROM Project"); }},
        {"written", {1, 3, 5, kEnd}, [&](auto& path) { Hold(holder, path, "BEGIN IMMEDIATE"); }}};
    for (const auto& bad : cases) {
        for (const int step : bad.steps) {
            SCOPED_TRACE(bad.name + std::to_string(step));
            const LogCatcher log;
            const std::string name = bad.name + (step == 0 ? "" : std::to_string(step));
            const std::string path = folder_ / (name + ".db");
            RunWholeTest(name, step, [&] { bad.trouble(path); });
            sqlite3_close(std::exchange(holder, nullptr));
            const std::string other =
                folder_ / (bad.other + fs::path(name).stem().string() + ".recovered-1.db");
            ExpectErrors(log, path, bad.reason);
            EXPECT_THAT(Manager().GetErrorText(), testing::EndsWith("are in " + other));
            EXPECT_EQ(Manager().GetDatabasePath(), other);
            const Reader reader(other);
            EXPECT_EQ(reader.Get("SELECT count(*), RootNode, TestCommand = Handle, EndTime > StartTime FROM "
                                 "DataSets, TestCommand"),
                      "1 " + std::to_string(Project().GetHandle()) + " 1 0");
            EXPECT_EQ(reader.Get("SELECT (SELECT count(*) > 0 FROM Project), (SELECT count(*) > 1 FROM "
                                 "SampleResult) + (SELECT count(*) FROM PackedResult), count(*), min(Name) "
                                 "FROM DataSetDescriptions"),
                      "1 2 3 EndTime");

            RunWholeTest("good");
            EXPECT_EQ(Manager().GetErrorText(), "");
            EXPECT_EQ(Manager().GetDatabasePath(), folder_ / "good.db");
        }
    }
    unsetenv("TMPDIR");
    EXPECT_EQ(Reader(folder_ / "good.db").Get("SELECT count(*) FROM DataSets WHERE EndTime IS NOT NULL"),
              "9");
}

/// A program of its own, which runs a test. Returns the id of the process.
pid_t StartProgram(const std::string& path) {
    struct Program : ResultsTest {
        explicit Program(const std::string& path) {
            Begin("", path);
            Manager().SetTestCommand(MakeCommand("c"));
            Manager().SaveResults(MakeResults(3));
            Manager().Finalise();
            if (!Manager().GetErrorText().empty()) throw COrvRunTimeError(Manager().GetErrorText());
        }
        void TestBody() override {}
    };
    const pid_t child = fork();
    if (child != 0) return child;
    _exit(ThrownBy<std::exception>([&] { Program program(path); }) == "nothing thrown" ? 0 : 1);
}

TEST(ProgramTest, ProgramsThatMakeOneFileTogetherAllWriteToIt) {
    const Folder folder;
    std::vector<pid_t> children;
    for (int i = 0; i < 12; ++i) children.push_back(StartProgram(folder / "new"));
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_THAT(folder.List(), ElementsAre("new.db"));
    const Reader reader(folder / "new.db");
    EXPECT_EQ(reader.Get("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(reader.Get("SELECT max(DataSetId), count(EndTime) FROM DataSets"), "12 12");
    EXPECT_EQ(reader.Get("SELECT count(*), count(DISTINCT DataSetId) FROM SampleResult"), "36 12");
}

TEST_F(FailureTest, WhatFillsAlsoTheOtherFileEndsThere) {
    const LogCatcher log;
    Begin();
    Manager().SaveConfiguration(true);
    Manager().SaveResults(MakeResults(10, "kept"));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{4 << 20, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    for (int group = 0; group < 20; ++group) SaveResults(20, std::string(20000, 'x'));
    Manager().Finalise();
    setrlimit(RLIMIT_FSIZE, &before);
    ExpectErrors(log, folder_ / "test.db", "disk I/O error", 2);

    const Reader reader(folder_ / "test.recovered-1.db");
    EXPECT_EQ(reader.Get("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(reader.Get("SELECT count(*) FROM SampleResult WHERE Text = 'kept'"), "10");
    EXPECT_EQ(reader.Get("SELECT count(*) % 20 FROM SampleResult WHERE Text <> 'kept'"), "0");
    EXPECT_EQ(reader.Get("SELECT EndTime IS NULL FROM DataSets"), "1");
}

TEST_F(FailureTest, ResultsWithoutATestAreAnErrorAndNoException) {
    const LogCatcher log;
    Manager().SaveResults(MakeResults(1));
    Manager().SaveObjects({});
    Manager().SetRootNode(Project());
    Manager().Finalise();
    ExpectErrors(log, "", "no data set");
}

}  // namespace
