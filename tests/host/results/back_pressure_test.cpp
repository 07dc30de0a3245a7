// A disk that is slower than the test.
#include <atomic>
#include <thread>

#include "host/log/log_catcher.h"
#include "results_fixture.h"

namespace results_test {
namespace {

class BackPressureTest : public ResultsTest {
  protected:
    BackPressureTest() : ResultsTest(ClockKind::Real) {}

    bool WaitFor(const std::function<bool()>& ready) {
        return CTaskManager::Instance().WaitUntil(ready, std::chrono::seconds(60));
    }
    host_test::LogCatcher log_;
};

TEST_F(BackPressureTest, TheTestWaitsWithoutTheTaskLockAndLosesNoRow) {
    constexpr int kGroups = 60;
    constexpr int kRows = 10;
    constexpr std::size_t kQueue = 1'000'000;
    MakeManager({kQueue, std::chrono::seconds(60)});
    Begin();
    sqlite3* slow = nullptr;
    sqlite3_open((folder_ / "test.db").c_str(), &slow);
    ASSERT_EQ(sqlite3_exec(slow, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);

    std::atomic<int> saved = 0;
    std::atomic<int> others = 0;
    auto& tasks = CTaskManager::Instance();
    tasks.Post("saver", [&] {
        for (int group = 0; group < kGroups; ++group) {
            const ScriptableVec rows = MakeResults(kRows, std::string(10'000, 'x'));
            Manager().SaveResults(rows);
            Destroy(rows);
            ++saved;
        }
    });
    tasks.Post("other", [&] {
        while (saved < kGroups) {
            ++others;
            CTaskManager::Instance().CtmYield(1);
        }
    });
    std::thread reader([&] {
        while (saved < kGroups) {
            EXPECT_EQ(Manager().GetErrorText(), "");
            EXPECT_EQ(Manager().GetDataSetId(), 1u);
            EXPECT_TRUE(Manager().MustFinalise());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_TRUE(WaitFor([&] { return saved >= 2; }));
    // The saver is stuck while the others go on.
    const int then = others;
    EXPECT_TRUE(WaitFor([&] { return others >= then + 50; }));
    EXPECT_LE(saved, static_cast<int>(kQueue / (kRows * 10'000)) + 1);
    EXPECT_EQ(sqlite3_exec(slow, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(slow);
    EXPECT_TRUE(WaitFor([&] { return saved == kGroups; }));
    reader.join();
    Manager().Finalise();

    EXPECT_EQ(Manager().GetErrorText(), "");
    EXPECT_EQ(Reader(folder_ / "test.db").Get("SELECT count(*) FROM SampleResult"),
              std::to_string(kGroups * kRows));
    int warnings = 0;
    for (const auto& record : log_.GetRecords()) {
        warnings += record.text.find("is slower than") != std::string::npos;
    }
    EXPECT_EQ(warnings, 1);
}

}  // namespace
}  // namespace results_test
