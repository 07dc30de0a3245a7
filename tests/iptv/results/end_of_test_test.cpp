// How a test ends.
#include <algorithm>

#include "control/IptvStopTestCommand.h"
#include "control/IptvWaitForTestCompletionCommand.h"
#include "orv/framework/command_status_manager.h"
#include "orv/framework/task_manager.h"
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using framework::CScriptableCreator;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_aids::Answer;

class EndOfTestTest : public ResultsTest {
  protected:
    static void Yield(int ms = 100) { framework::CTaskManager::Instance().CtmYield(ms); }
    /// The port says that its test has ended.
    static void End(testing_aids::ScriptedPort& port) {
        tm::Message end;
        end.set_request_name("iptvcd_1.EOTNotification");
        port.Notify(end);
        Yield();
    }
    void Report(testing_aids::ScriptedPort& port, const std::vector<stblock_event_s>& blocks) {
        tm::Message message;
        iptvcd_1_bll::create_req_ResultsNotification(&message, blocks, true);
        port.Notify(message);
        Yield();
    }
    bool IsEnabled(common::ClassId command) const {
        return framework::CCommandStatusManager::Instance().GetCommandStatus(a.GetHandle(), command);
    }
    std::string Outcome() {
        const auto* results = project.Root().GetObject(ids::IptvTestResults::CLASS, common::kParentChild);
        return results ? results->Get("TestResult") : "none";
    }
    void Forget() {
        far1.Take();
        far2.Take();
    }
};

TEST_F(EndOfTestTest, TheLastPortToEndEndsTheTest) {
    Start();
    Yield();
    Forget();
    Report(far1, {EventsOf(a, {MakeView(1, 2, 0)})});
    End(far1);
    EXPECT_THAT(far1.Take(), IsEmpty());
    EXPECT_TRUE(iptv::CIptvResultsManager::IsTestRunning());
    End(far2);
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
    EXPECT_EQ(Outcome(), "PASSED");
    EXPECT_TRUE(IsEnabled(ids::IptvStartTestCommand::CLASS));
    EXPECT_FALSE(IsEnabled(ids::IptvStopTestCommand::CLASS));
    Yield();
    EXPECT_THAT(far1.Take(), ElementsAre("Stop", "DeregisterEOTNotify", "DeregisterResultsNotify"));
    EXPECT_THAT(far2.Take(), ElementsAre("Stop", "DeregisterEOTNotify", "DeregisterResultsNotify"));
    EXPECT_TRUE(Manager().GetPreviousViews().IsEmpty());
    Report(far1, {EventsOf(a, {MakeView(1, 2, 5000)})});
    EXPECT_EQ(Manager().GetNetChannelChanges(), 1) << "what comes after the end belongs to no test";
}

TEST_F(EndOfTestTest, AStopReachesEveryPortAndWaitsForTheirEnd) {
    Start();
    Yield();
    End(far1);
    Forget();
    auto& stop = CScriptableCreator().Make<iptv::CIptvStopTestCommand>(&project.Root());
    stop.Execute(false);
    Yield();
    EXPECT_THAT(far1.Take(), ElementsAre("Stop")) << "also where the test has ended already";
    EXPECT_THAT(far2.Take(), ElementsAre("Stop"));
    stop.Execute(false);
    Yield();
    EXPECT_THAT(far2.Take(), IsEmpty()) << "the test is ending already";
    EXPECT_TRUE(iptv::CIptvResultsManager::IsTestRunning());
    End(far2);
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
    EXPECT_EQ(Outcome(), "FAILED") << "no channel change at all is 100 % failed";
}

TEST_F(EndOfTestTest, APortThatRefusesToStopEndsTheTestOnce) {
    Start();
    Yield();
    far1.answer = far2.answer = [](const tm::Message& request) {
        return request.get_request_name() == "iptvcd_1.Stop" ? Answer::Fault : Answer::Respond;
    };
    Manager().EndOfTestProcessing(true);
    Yield();
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
    const Reader reader(DatabasePath());
    EXPECT_EQ(reader.Get("SELECT count(*) FROM IptvTestResults"), "1");
    End(far1);
    End(far2);
    EXPECT_EQ(reader.Get("SELECT count(*) FROM EotResultNode WHERE Name = 'IPTV Test Summary'"), "1");
}

TEST_F(EndOfTestTest, APortThatCannotBeToldToStopIsWaitedForAndNamedInTheLog) {
    Start();
    Yield();
    testing_aids::LogCapture log;
    framework::CRpcManager::Instance().Disconnect(p1.GetMessenger());
    Manager().EndOfTestProcessing(true);
    EXPECT_THAT(log.Take(), Contains(testing::HasSubstr("Error sending IptvStopTest Message on port")));
    End(far2);
    EXPECT_TRUE(iptv::CIptvResultsManager::IsTestRunning());
    // Its end is the last one; its registration can no longer be ended.
    EXPECT_THROW(Manager().EndOfTestProcessing(false), common::COrvRunTimeError);
    EXPECT_THAT(log.Take(), Contains(testing::HasSubstr("Failed to deregister EOT on port")));
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
    EXPECT_EQ(Reader(DatabasePath()).Get("SELECT count(*) FROM IptvTestResults"), "1");
}

TEST_F(EndOfTestTest, APortThatGoesOfflineEndsTheTestOnTheOthersAndNothingIsLost) {
    for (const bool has_ended : {false, true}) {
        SCOPED_TRACE(has_ended ? "it had ended" : "it was running");
        Start();
        Yield();
        Report(far1, {EventsOf(a, {MakeView(1, 2, 0)})});
        if (has_ended) End(far1);
        Forget();
        iptv::CIptvResultsManager::OnPortOffline(p1.GetHandle());
        EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
        Yield();
        EXPECT_THAT(far1.Take(), ElementsAre("DeregisterEOTNotify", "DeregisterResultsNotify"));
        EXPECT_THAT(far2.Take(), ElementsAre("Stop"));
        EXPECT_EQ(Outcome(), "none") << "the other port is still to report";
        Report(far2, {EventsOf(b, {MakeView(1, 12, 0)})});
        End(far2);
        EXPECT_EQ(Outcome(), "PASSED");
        EXPECT_EQ(Manager().GetNetChannelChanges(), 2);
        EXPECT_TRUE(IsEnabled(ids::IptvStartTestCommand::CLASS));
        project.Root().GetObject(ids::IptvTestResults::CLASS, common::kParentChild)->Delete();
    }
    Start();
    iptv::CIptvResultsManager::OnPortOffline(p1.GetHandle());
    iptv::CIptvResultsManager::OnPortOffline(p2.GetHandle());
    EXPECT_EQ(Outcome(), "FAILED") << "nobody is left to report";
    EXPECT_EQ(Reader(DatabasePath()).Get("SELECT count(*) FROM DataSets WHERE EndTime IS NULL"), "0");
}

TEST_F(EndOfTestTest, APortEndsOnceHoweverOftenItSaysSo) {
    Start();
    Yield();
    End(far1);
    End(far1);
    EXPECT_TRUE(iptv::CIptvResultsManager::IsTestRunning());
    End(far2);
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
}

TEST_F(EndOfTestTest, ADatabaseThatCannotBeWrittenKeepsNoTestFromItsEnd) {
    testing_aids::LogCapture log;
    a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    Start();
    manager_db->SetTestResultSetting({"IPTV_Test_Results", "", "/dev/null/folder/test"});
    manager_db->SaveConfiguration(true);
    Manager().SetDatabasePath(manager_db->GetDatabasePath());
    Manager().BinManager({EventsOf(a, std::vector<stbox_event_s>(1000, MakeView(1, 2, 0)))});
    End(far1);
    End(far2);
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
    EXPECT_EQ(Outcome(), "PASSED");
    const auto lines = log.Take();
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) {
                                return line.find(" Error: ") != std::string::npos &&
                                       line.find("/dev/null/folder/test.db") != std::string::npos;
                            }),
              1)
        << "said once, with the path";
}

TEST_F(EndOfTestTest, AStopWithoutAnyTestDoesNotFail) {
    Manager().Prepare({});
    CScriptableCreator().Make<iptv::CIptvStopTestCommand>(&project.Root()).Execute(false);
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
}

TEST_F(EndOfTestTest, EachTestHasItsOwnVerdictAndDataSet) {
    auto failed_view = MakeView(1, 2, 0);
    failed_view.first_mcast_pkt_ts = failed_view.last_mcast_pkt_ts = 0;
    for (const auto& [view, outcome] : {std::pair{failed_view, "FAILED"}, {MakeView(1, 2, 0), "PASSED"}}) {
        Start();
        Yield();
        Report(far1, {EventsOf(a, {view})});
        End(far1);
        End(far2);
        const auto results = project.Root().GetObjects("IptvTestResults", common::kParentChild);
        EXPECT_EQ(results.back()->Get("TestResult"), outcome);
    }
    const Reader reader(DatabasePath());
    EXPECT_EQ(reader.Get("SELECT count(DISTINCT DataSetId) FROM EotResultNode"), "2");
}

TEST_F(EndOfTestTest, TheWaitEndsWithTheTest) {
    auto& wait = CScriptableCreator().Make<iptv::CIptvWaitForTestCompletionCommand>(&project.Root());
    wait.Execute(false);  // no test runs
    Start();
    framework::CTaskManager::Instance().PostAfter(std::chrono::seconds(12), [this] {
        tm::Message end;
        end.set_request_name("iptvcd_1.EOTNotification");
        far1.Notify(end);
        far2.Notify(end);
    });
    const double start = framework::CTimer::GetCurrentSystemTimeInSec();
    wait.Execute(false);
    EXPECT_EQ(framework::CTimer::GetCurrentSystemTimeInSec() - start, 15) << "it looks every five seconds";
}

TEST_F(EndOfTestTest, AWaitThatIsCancelledStopsTheTestOnceAndGoesOnWaiting) {
    Start();
    Yield();
    Forget();
    auto& wait = CScriptableCreator().Make<iptv::CIptvWaitForTestCompletionCommand>(&project.Root());
    auto& tasks = framework::CTaskManager::Instance();
    tasks.PostAfter(std::chrono::seconds(1), [&wait] { wait.Cancel(); });
    tasks.PostAfter(std::chrono::seconds(32), [this] {
        tm::Message end;
        end.set_request_name("iptvcd_1.EOTNotification");
        far1.Notify(end);
        far2.Notify(end);
    });
    wait.Execute(false);
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
    Yield();
    EXPECT_THAT(far1.Take(), ElementsAre("Stop", "DeregisterEOTNotify", "DeregisterResultsNotify"));
}

}  // namespace
