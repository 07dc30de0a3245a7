// Reports of ports against the end of a test, with real threads.
#include <atomic>
#include <thread>

#include "control/IptvStopTestCommand.h"
#include "orv/framework/task_manager.h"
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using testing_aids::Answer;

constexpr int kReports = 60;

class ConcurrencyTest : public ResultsTest {
  protected:
    ConcurrencyTest() : ResultsTest(framework::ClockKind::Real) {
        a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    }

    /// A port's own thread: reports views, one after the other, and says at last that its test has ended.
    void Run(testing_aids::ScriptedPort& port, std::uint32_t block, std::uint16_t channel, bool ends) {
        for (int i = 0; i < kReports; ++i) {
            stblock_event_s events;
            events.stblock_handle = block;
            for (std::uint32_t settop = 1; settop < 3; ++settop)
                events.events.push_back(MakeView(settop, channel, 1100 * i));
            tm::Message report;
            iptvcd_1_bll::create_req_ResultsNotification(&report, {events}, true);
            port.Notify(report);
            ++reports_;
        }
        if (ends) SendEnd(port);
    }
    static void SendEnd(testing_aids::ScriptedPort& port) {
        tm::Message end;
        end.set_request_name("iptvcd_1.EOTNotification");
        port.Notify(end);
    }

    /// Both ports report while `meanwhile` runs under the task lock.
    void RunPorts(bool end, const std::function<void()>& meanwhile) {
        const std::uint32_t block_a = a.GetHandle();
        const std::uint32_t block_b = b.GetHandle();
        std::thread first([&] { Run(far1, block_a, 2, end); });
        std::thread second([&] { Run(far2, block_b, 12, end); });
        meanwhile();
        framework::CTaskManager::Instance().CtmYield(1);
        first.join();
        second.join();
        for (int i = 0; i < 500 && iptv::CIptvResultsManager::IsTestRunning(); ++i)
            framework::CTaskManager::Instance().CtmYield(10);
        EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
        framework::CTaskManager::Instance().CtmYield(50);
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
    for (testing_aids::ScriptedPort* port : {&far1, &far2}) {
        port->answer = [port](const tm::Message& request) {
            if (request.get_request_name() == "iptvcd_1.Stop") SendEnd(*port);
            return Answer::Respond;
        };
    }
    RunPorts(false, [this] {
        while (reports_ < kReports) framework::CTaskManager::Instance().CtmYield(1);
        framework::CScriptableCreator().Make<iptv::CIptvStopTestCommand>(&project.Root()).Execute(false);
    });
    ExpectOneEnd();
    EXPECT_LE(Manager().GetNetChannelChanges(), 4 * kReports);
}

TEST_F(ConcurrencyTest, PortsRefuseToStopWhileTheyReport) {
    Start();
    for (testing_aids::ScriptedPort* port : {&far1, &far2}) {
        port->answer = [](const tm::Message& request) {
            return request.get_request_name() == "iptvcd_1.Stop" ? Answer::Fault : Answer::Respond;
        };
    }
    RunPorts(true, [this] { Manager().EndOfTestProcessing(true); });
    ExpectOneEnd();
}

}  // namespace
