// What cannot be written, and programs that are killed.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <functional>

#include "../services/log_catcher.h"
#include "results_fixture.h"

namespace results_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class FailureTest : public ResultsTest {
  protected:
    /// One error in the log, which is the manager's error text.
    void ExpectOneError(const services_test::LogCatcher& log, const std::string& path,
                        const std::string& reason) {
        EXPECT_THAT(Manager().GetErrorText(), AllOf(HasSubstr(path), HasSubstr(reason)));
        int errors = 0;
        for (const auto& record : log.GetRecords()) {
            if (record.level != LogLevelType::Error) continue;
            ++errors;
            EXPECT_EQ(record.text, Manager().GetErrorText());
        }
        EXPECT_EQ(errors, 1);
    }
    void RunWholeTest(const std::string& name) {
        Begin(name);
        Manager().SaveConfiguration(true);
        Manager().SaveResults(MakeResults(2));
        Manager().SaveObjects({ids::Project::CLASS});
        Manager().SetRootNode(Project());
        Manager().Finalise();
    }
};

TEST_F(FailureTest, AFileThatCannotBeOpenedIsOneErrorAndTheNextTestStartsAfresh) {
    MakeManager({.lock_wait = std::chrono::milliseconds(50)});
    sqlite3* holder = nullptr;
    const struct {
        const char* name;
        std::function<void(const std::string& path)> prepare;
        const char* reason;
    } cases[] = {
        {"text", [](const auto& path) { std::ofstream(path) << std::string(5000, 'x'); },
         "file is not a database"},
        {"folder", [](const auto& path) { fs::create_directory(path); }, "unable to open database file"},
        {"no_folder/x", [&](const auto&) { std::ofstream(folder_ / "no_folder") << "x"; },
         "the folder cannot be made"},
        {"locked",
         [&](const auto& path) {
             sqlite3_open(path.c_str(), &holder);
             EXPECT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
         },
         "database is locked"},
    };
    for (const auto& bad : cases) {
        SCOPED_TRACE(bad.name);
        const services_test::LogCatcher log;
        const std::string path = folder_ / (std::string(bad.name) + ".db");
        bad.prepare(path);
        RunWholeTest(bad.name);
        ExpectOneError(log, path, bad.reason);
        EXPECT_EQ(Manager().GetDatabasePath(), "");
        EXPECT_EQ(Manager().GetDataSetId(), 0u);
        EXPECT_FALSE(Manager().MustFinalise());

        RunWholeTest("good");
        EXPECT_EQ(Manager().GetErrorText(), "");
    }
    sqlite3_close(holder);
    EXPECT_EQ(Reader(folder_ / "good.db").Get("SELECT count(*) FROM DataSets WHERE EndTime IS NOT NULL"),
              "4");
}

TEST_F(FailureTest, AFullDiskEndsTheWritingAndLeavesWhatIsThere) {
    const services_test::LogCatcher log;
    Begin();
    Manager().SaveConfiguration(true);
    Manager().SaveResults(MakeResults(10, "kept"));
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{4 << 20, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    for (int group = 0; group < 20; ++group) {
        const ScriptableVec rows = MakeResults(20, std::string(20000, 'x'));
        Manager().SaveResults(rows);
        Destroy(rows);
    }
    Manager().Finalise();
    setrlimit(RLIMIT_FSIZE, &before);
    ExpectOneError(log, folder_ / "test.db", "disk I/O error");

    const Reader reader(folder_ / "test.db");
    EXPECT_EQ(reader.Get("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(reader.Get("SELECT count(*) FROM SampleResult WHERE Text = 'kept'"), "10");
    EXPECT_EQ(reader.Get("SELECT count(*) % 20 FROM SampleResult WHERE Text <> 'kept'"), "0");
    EXPECT_EQ(reader.Get("SELECT EndTime IS NULL FROM DataSets"), "1");
}

TEST_F(FailureTest, ResultsWithoutATestAreAnErrorAndNoException) {
    const services_test::LogCatcher log;
    Manager().SaveResults(MakeResults(1));
    Manager().SaveObjects({});
    Manager().SetRootNode(Project());
    Manager().Finalise();
    ExpectOneError(log, "", "no data set");
}

/// Saves groups of 50 rows until it is killed.
class KilledProgram : public ResultsTest {
  public:
    explicit KilledProgram(const std::string& path) {
        Begin("", path);
        for (;;) {
            const ScriptableVec rows = MakeResults(50, std::string(200, 'x'));
            Manager().SaveResults(rows);
            Destroy(rows);
        }
    }
    void TestBody() override {}
};

TEST(KillTest, AfterAKillInMidTestCommittedGroupsAreWhole) {
    const Folder folder;
    const std::string path = folder / "killed.db";
    const pid_t child = fork();
    if (child == 0) {
        try {
            KilledProgram program(folder / "killed");
        } catch (...) {
        }
        _exit(1);
    }
    ASSERT_GT(child, 0);
    int seen = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (seen < 1000 && std::chrono::steady_clock::now() < deadline) {
        usleep(20000);
        sqlite3* connection = nullptr;
        sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr);
        const auto take = [](void* count, int, char** values, char**) {
            *static_cast<int*>(count) = std::stoi(values[0]);
            return 0;
        };
        // Fails while the file is not there yet.
        sqlite3_exec(connection, "SELECT count(*) FROM SampleResult", take, &seen, nullptr);
        sqlite3_close(connection);
    }
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the program ended by itself";
    ASSERT_GE(seen, 1000);

    const Reader reader(path);
    EXPECT_EQ(reader.Get("PRAGMA integrity_check"), "ok");
    EXPECT_GE(std::stoi(reader.Get("SELECT count(*) FROM SampleResult")), seen);
    EXPECT_EQ(reader.Get("SELECT count(*) % 50 FROM SampleResult"), "0");
}

}  // namespace
}  // namespace results_test
