// A disk that is slower than the test.
#include <atomic>
#include <thread>

#include "results_fixture.h"
#include "results_writer.h"

namespace host_test {
namespace {

class BackPressureTest : public ResultsTest {
  protected:
    BackPressureTest() : ResultsTest(ClockKind::Real) {}

    auto CountWarnings() const { return log_.Count(LogLevelType::Warn, "is slower than"); }

    LogCatcher log_;
};

TEST_F(BackPressureTest, TheTestWaitsWithoutTheTaskLockAndLosesNoRow) {
    constexpr int kGroups = 60, kRows = 10;
    constexpr std::size_t kQueue = 1'000'000;
    MakeManager({kQueue, 60s});
    Begin();
    sqlite3* slow = nullptr;
    sqlite3_open((folder_ / "test.db").c_str(), &slow);
    ASSERT_EQ(sqlite3_exec(slow, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);

    std::atomic<int> saved = 0, others = 0;
    Tasks().Post("saver", [&] {
        for (; saved < kGroups; ++saved) SaveResults(kRows, std::string(10'000, 'x'));
    });
    Tasks().Post("other", [&] {
        for (; saved < kGroups; ++others) Tasks().CtmYield(1);
    });
    std::thread reader([&] {
        while (saved < kGroups) {
            EXPECT_EQ(Manager().GetErrorText(), "");
            EXPECT_EQ(Manager().GetDataSetId(), 1u);
            EXPECT_TRUE(Manager().MustFinalise());
            std::this_thread::yield();
        }
    });
    EXPECT_TRUE(Tasks().WaitUntil([&] { return saved >= 2; }, kTooLong));
    // The saver is stuck while the others go on.
    const int then = others;
    EXPECT_TRUE(Tasks().WaitUntil([&] { return others >= then + 50; }, kTooLong));
    EXPECT_LE(saved, static_cast<int>(kQueue / (kRows * 10'000)) + 1);
    EXPECT_EQ(sqlite3_exec(slow, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(slow);
    EXPECT_TRUE(Tasks().WaitUntil([&] { return saved == kGroups; }, kTooLong));
    reader.join();
    Manager().Finalise();

    EXPECT_EQ(Manager().GetErrorText(), "");
    EXPECT_EQ(Reader(folder_ / "test.db").Get("SELECT count(*) FROM SampleResult"),
              std::to_string(kGroups * kRows));
    EXPECT_EQ(CountWarnings(), 1);

    // A writer warns also when it has not begun a file yet; its first job lasts until the warning has come.
    results::ResultsWriter fresh({.queue_bytes = 1});
    const auto wait_for_warning = [this, deadline = std::chrono::steady_clock::now() + 20s](auto&) {
        while (CountWarnings() < 2 && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
    };
    for (int job = 0; job < 2; ++job) fresh.Push({.bytes = 2, .run = wait_for_warning, .path = ""});
    EXPECT_EQ(CountWarnings(), 2);
}

}  // namespace
}  // namespace host_test
