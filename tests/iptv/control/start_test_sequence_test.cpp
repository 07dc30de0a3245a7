// Whole tests, one after the other: by hand and in a sequence, from the start to the stored results.
#include "control/IptvStartTestCommand.h"
#include "control/IptvWaitForTestCompletionCommand.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"
#include "results/results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using framework::CScriptableCreator;
using framework::CSequencer;
using iptv::CIptvResultsManager;
using testing_aids::Answer;

constexpr int kTestMs = 12000;

class StartSequenceTest : public ResultsTest {
  protected:
    StartSequenceTest() {
        testing_aids::TestProject::LayerOf(device2, "Ipv6If").Set("Address", "2000::99");
        for (testing_aids::ScriptedPort* port : {&far1, &far2}) {
            port->answer = [this, port](const tm::Message& request) {
                if (request.get_request_name() == "iptvcd_1.Start") Run(*port);
                if (request.get_request_name() == "iptvcd_1.Stop") EndLater(*port, 1);
                return Answer::Respond;
            };
        }
    }

    /// The port's test: P1 reports what there is to report after a second; both end of their own accord.
    void Run(testing_aids::ScriptedPort& port) {
        if (&port == &far1) {
            framework::CTaskManager::Instance().PostAfter(std::chrono::seconds(1), [this] {
                if (tests_ >= views_.size()) return;
                tm::Message message;
                iptvcd_1_bll::create_req_ResultsNotification(&message, {EventsOf(a, {views_[tests_++]})},
                                                             true);
                far1.Notify(message);
            });
        }
        running_.insert(&port);
        EndLater(port, kTestMs);
    }
    void EndLater(testing_aids::ScriptedPort& port, int ms) {
        framework::CTaskManager::Instance().PostAfter(std::chrono::milliseconds(ms), [this, &port] {
            if (running_.erase(&port) == 0) return;
            tm::Message end;
            end.set_request_name("iptvcd_1.EOTNotification");
            port.Notify(end);
        });
    }
    iptv::CIptvStartTestCommand& MakeStart(const std::string& name) {
        auto& start = CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root());
        start.Set("TestType", "VERIFICATION");
        start.Set("TestEnv", "REAL_WORLD");
        start.Set("TestName", name);
        start.Set("DatabaseFileName", "test.db");
        return start;
    }
    framework::CCommand& MakeWait() {
        return CScriptableCreator().Make<iptv::CIptvWaitForTestCompletionCommand>(&project.Root());
    }
    static std::vector<std::vector<std::string>> Verdicts(const Reader& reader) {
        return reader
            .Query(
                "SELECT TestName, TestResult, EndTime IS NOT NULL FROM IptvTestResults "
                "JOIN DataSets USING (DataSetId) ORDER BY DataSetId")
            .rows;
    }

    static stbox_event_s FailedView() {
        auto view = MakeView(1, 2, 0);
        view.first_mcast_pkt_ts = view.last_mcast_pkt_ts = 0;
        return view;
    }
    std::vector<stbox_event_s> views_;  ///< what P1 reports in each test
    std::size_t tests_ = 0;

  private:
    std::set<testing_aids::ScriptedPort*> running_;
};

TEST_F(StartSequenceTest, TestsByHandKnowNothingOfEachOther) {
    views_ = {FailedView(), MakeView(1, 2, 0)};
    for (const char* name : {"first", "second"}) {
        MakeStart(name).Execute(false);
        EXPECT_EQ(Manager().GetNetChannelChanges(), 0);
        EXPECT_EQ(Manager().GetFailedJoins(), 0);
        EXPECT_FALSE(Manager().IsFinishing());
        MakeWait().Execute(false);
        EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
        EXPECT_EQ(Manager().GetNetChannelChanges(), 1);
    }
    const Reader reader(DatabasePath());
    EXPECT_EQ(Verdicts(reader),
              (std::vector<std::vector<std::string>>{{"first", "0", "1"}, {"second", "1", "1"}}));
    EXPECT_EQ(reader.Get("SELECT group_concat(n) FROM (SELECT count(*) AS n FROM IptvStbBlockResults "
                         "GROUP BY DataSetId)"),
              "1,1");
}

TEST_F(StartSequenceTest, ASequenceRunsTestAfterTest) {
    views_ = {MakeView(1, 2, 0), FailedView(), MakeView(1, 2, 0)};
    auto& loop = CScriptableCreator().Make<framework::CSequencerLoopCommand>(&project.Root());
    loop.Set("IterationCount", "2");
    auto& start = MakeStart("looped");
    testing_aids::TestProject::Relate(loop, start, common::kParentChild);
    testing_aids::TestProject::Relate(loop, MakeWait(), common::kParentChild);
    std::vector<std::uint32_t> commands{loop.GetHandle(), MakeStart("last").GetHandle(),
                                        MakeWait().GetHandle()};
    CSequencer& sequencer = CSequencer::Instance();
    sequencer.InsertCommands(commands);
    sequencer.Start();
    sequencer.WaitForEnd();
    EXPECT_EQ(sequencer.GetErrorText(), "");
    EXPECT_EQ(sequencer.GetSequencerState(), CSequencer::SEQUENCER_COMPLETED);
    EXPECT_TRUE(Manager().GetRun().sequencer_mode);
    EXPECT_TRUE(start.CanSave());
    const Reader reader(DatabasePath());
    EXPECT_EQ(Verdicts(reader), (std::vector<std::vector<std::string>>{
                                    {"looped", "1", "1"}, {"looped", "0", "1"}, {"last", "1", "1"}}));
}

TEST_F(StartSequenceTest, ASequenceThatIsStoppedInMidTestEndsWithItsResults) {
    views_ = {MakeView(1, 2, 0)};
    std::vector<std::uint32_t> commands{MakeStart("stopped").GetHandle(), MakeWait().GetHandle(),
                                        MakeStart("never").GetHandle()};
    CSequencer& sequencer = CSequencer::Instance();
    sequencer.InsertCommands(commands);
    sequencer.Start();
    framework::CTaskManager::Instance().PostAfter(std::chrono::seconds(4),
                                                  [&sequencer] { sequencer.Stop(); });
    sequencer.WaitForEnd();
    EXPECT_EQ(sequencer.GetSequencerState(), CSequencer::SEQUENCER_STOPPED);
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
    EXPECT_EQ(Verdicts(Reader(DatabasePath())),
              (std::vector<std::vector<std::string>>{{"stopped", "1", "1"}}));
}

}  // namespace
