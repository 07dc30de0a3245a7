// How a test ends.
#include "control/IptvWaitForTestCompletionCommand.h"
#include "orv/core/orv_system.h"
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test

const Texts kDeregistered{"DeregisterEOTNotify", "DeregisterResultsNotify"};
const Texts kEnded{"Stop", "DeregisterEOTNotify", "DeregisterResultsNotify"};

struct EndOfTestTest : ResultsTest {
    void Start() {
        ResultsTest::Start();
        Yield();
        Forget();
    }
    void Forget() {
        far1.Take();
        far2.Take();
    }
    void ReportView(ScriptedPort& port, const CScriptable& block, std::uint16_t channel) {
        Report(port, {EventsOf(block, {MakeView(1, channel)})});
        Yield();
    }
    std::string Outcome() { return Results() ? Results()->Get("TestResult") : "none"; }
    std::string Count(const std::string& rows) const {
        return Reader(DatabasePath()).Get("SELECT count(*) FROM " + rows);
    }
};

TEST_F(EndOfTestTest, TheLastPortToEndEndsTheTest) {
    Start();
    ReportView(far1, a, 2);
    End(far1);
    End(far1);  // once more is not once for the other port
    EXPECT_THAT(far1.Take(), IsEmpty());
    EXPECT_TRUE(IsRunning());
    End(far2);
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(Outcome(), "PASSED");
    EXPECT_TRUE(IsEnabled(a, ids::IptvStartTestCommand::CLASS));
    EXPECT_FALSE(IsEnabled(a, ids::IptvStopTestCommand::CLASS));
    EXPECT_EQ(far1.Take(), kEnded);
    EXPECT_EQ(far2.Take(), kEnded);
    EXPECT_TRUE(Manager().GetPreviousViews().IsEmpty());
    for (const char* of_tree : {"EotResultNode", "EotResultViewDefinition"})
        EXPECT_THAT(core::COrvSystem::Instance().GetObjects(of_tree, common::kParentChild), IsEmpty());
    ReportView(far1, a, 2);
    EXPECT_EQ(Manager().GetNetChannelChanges(), 1) << "what comes after the end belongs to no test";
}

TEST_F(EndOfTestTest, AStopReachesEveryPortAndWaitsForTheirEnd) {
    auto& stop = Make<iptv::CIptvStopTestCommand>();
    Manager().Prepare({});
    stop.Execute(false);  // without any test
    Start();
    End(far1);
    Forget();
    stop.Execute(false);
    Yield();
    EXPECT_THAT(far1.Take(), ElementsAre("Stop")) << "also where the test has ended already";
    EXPECT_THAT(far2.Take(), ElementsAre("Stop"));
    stop.Execute(false);
    Yield();
    EXPECT_THAT(far2.Take(), IsEmpty()) << "the test is ending already";
    EXPECT_TRUE(IsRunning());
    End(far2);
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(Outcome(), "FAILED") << "no channel change at all is 100 % failed";
}

TEST_F(EndOfTestTest, APortThatCannotBeToldToStopIsWaitedForAndNamedInTheLog) {
    Start();
    testing_aids::LogCapture log;
    framework::CRpcManager::Instance().Disconnect(p1.GetMessenger());
    Manager().EndOfTestProcessing(true);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("Error sending IptvStopTest Message on port")));
    End(far2);
    EXPECT_TRUE(IsRunning());
    // Its end is the last one; its registration can no longer be ended.
    EXPECT_THROW(Manager().EndOfTestProcessing(false), common::COrvRunTimeError);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("Failed to deregister EOT on port")));
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(Count("IptvTestResults"), "1");
}

TEST_F(EndOfTestTest, APortThatGoesOfflineEndsTheTestOnTheOthersAndNothingIsLost) {
    for (const bool has_ended : {false, true}) {
        SCOPED_TRACE(has_ended ? "it had ended" : "it was running");
        Start();
        ReportView(far1, a, 2);
        if (has_ended) End(far1);
        iptv::CIptvResultsManager::OnPortOffline(p1.GetHandle());
        EXPECT_FALSE(IsRunning());
        Yield();
        EXPECT_EQ(far1.Take(), kDeregistered);
        EXPECT_THAT(far2.Take(), ElementsAre("Stop"));
        EXPECT_EQ(Outcome(), "none") << "the other port is still to report";
        ReportView(far2, b, 12);
        End(far2);
        EXPECT_EQ(Outcome(), "PASSED");
        EXPECT_EQ(Manager().GetNetChannelChanges(), 2);
        EXPECT_TRUE(IsEnabled(a, ids::IptvStartTestCommand::CLASS));
        Results()->Delete();
    }
    Start();
    for (const core::CPort* port : {&p1, &p2}) iptv::CIptvResultsManager::OnPortOffline(port->GetHandle());
    EXPECT_EQ(Outcome(), "FAILED") << "nobody is left to report";
    EXPECT_EQ(Count("DataSets WHERE EndTime IS NULL"), "0");
}

TEST_F(EndOfTestTest, TheWaitEndsWithTheTest) {
    auto& wait = Make<iptv::CIptvWaitForTestCompletionCommand>();
    wait.Execute(false);  // no test runs
    const auto end_after = [this](int seconds) {
        for (ScriptedPort* port : {&far1, &far2}) After(1000 * seconds, [port] { SendEnd(*port); });
    };
    Start();
    end_after(12);
    const double start = framework::CTimer::GetCurrentSystemTimeInSec();
    wait.Execute(false);
    EXPECT_EQ(framework::CTimer::GetCurrentSystemTimeInSec() - start, 15) << "it looks every five seconds";

    // A wait that is cancelled stops the test once, and goes on waiting.
    Start();
    After(1000, [&wait] { wait.Cancel(); });
    end_after(32);
    wait.Execute(false);
    EXPECT_FALSE(IsRunning());
    Yield();
    EXPECT_EQ(far1.Take(), kEnded);
}

}  // namespace
