// Reports of ports against the end of a test, with real threads.
#include <atomic>
#include <thread>

#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
constexpr int kReports = 60;

class ConcurrencyTest : public ResultsTest {
  protected:
    ConcurrencyTest() : ResultsTest(framework::ClockKind::Real) {
        a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    }

    /// A port's own thread: reports views, one after the other, and says at last that its test has ended.
    void Run(ScriptedPort& port, std::uint32_t block, std::uint16_t channel, bool ends) {
        for (int i = 0; i < kReports; ++i) {
            const std::int64_t start_ms = 1100 * i;
            Report(port, {{block, {MakeView(1, channel, start_ms), MakeView(2, channel, start_ms)}, {}}});
            ++reports_;
        }
        if (ends) SendEnd(port);
    }

    /// Both ports report while `meanwhile` runs under the task lock.
    void RunPorts(bool end, const std::function<void()>& meanwhile) {
        const std::uint32_t block_a = a.GetHandle(), block_b = b.GetHandle();
        std::thread first([&] { Run(far1, block_a, 2, end); });
        std::thread second([&] { Run(far2, block_b, 12, end); });
        meanwhile();
        Yield(1);
        first.join();
        second.join();
        for (int i = 0; i < 6000 && IsRunning(); ++i) Yield(10);
        EXPECT_FALSE(IsRunning());
        // Answers come after all that the ports have sent before.
        std::vector<framework::ErrorMsg> errors;
        framework::CRpcManager::Instance().Wait(errors);
    }
    void ExpectOneEnd() const {
        const Reader reader(DatabasePath());
        EXPECT_EQ(reader.Get("SELECT count(*) FROM IptvTestResults"), "1");
        EXPECT_EQ(reader.Get("SELECT count(*) FROM EotResultNode WHERE Name = 'IPTV Test Summary'"), "1");
    }

    std::atomic<int> reports_ = 0;
};

TEST_F(ConcurrencyTest, PortsEndAtOnce) {
    Start();
    RunPorts(true, [] {});
    EXPECT_EQ(Manager().GetNetChannelChanges(), 4 * kReports) << "each report came before its port's end";
    ExpectOneEnd();
    EXPECT_EQ(Reader(DatabasePath()).Get("SELECT count(*) FROM IptvEventResults"),
              std::to_string(2 * kReports));
}

TEST_F(ConcurrencyTest, AStopComesBetweenReports) {
    Start();
    for (ScriptedPort* port : {&far1, &far2}) On(*port, {{"Stop", [port] { SendEnd(*port); }}});
    RunPorts(false, [this] {
        while (reports_ < kReports) Yield(1);
        Make<iptv::CIptvStopTestCommand>().Execute(false);
    });
    ExpectOneEnd();
    EXPECT_LE(Manager().GetNetChannelChanges(), 4 * kReports);
}

TEST_F(ConcurrencyTest, PortsRefuseToStopWhileTheyReport) {
    Start();
    far1.answer = far2.answer = Refuse("Stop");
    RunPorts(true, [this] { Manager().EndOfTestProcessing(true); });
    ExpectOneEnd();
}

}  // namespace
