// Whole tests, one after the other in a sequence, from the start to the stored results.
#include "control/IptvWaitForTestCompletionCommand.h"
#include "orv/framework/sequencer.h"
#include "results/results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using framework::CSequencer;

class StartSequenceTest : public ResultsTest {
  protected:
    StartSequenceTest() {
        SetAddress(device2, "2000::99");
        for (ScriptedPort* port : {&far1, &far2}) {
            const auto end = [this, port] {
                if (running_.erase(port) > 0) SendEnd(*port);
            };
            // A test ends by itself after 12 s.
            const auto run = [this, port, end] {
                if (port == &far1) After(1000, [this] { ReportNext(); });
                running_[port] = true;
                After(12000, end);
            };
            On(*port, {{"Start", run}, {"Stop", [end] { After(1, end); }}});
        }
    }
    /// P1 reports what there is to report in this test.
    void ReportNext() {
        if (tests_ < views_.size()) Report(far1, {EventsOf(a, {views_[tests_++]})});
    }
    iptv::CIptvStartTestCommand& MakeStart(const std::string& name) {
        auto& start = Make<iptv::CIptvStartTestCommand>();
        start.Set("TestType", "VERIFICATION");
        start.Set("TestEnv", "REAL_WORLD");
        start.Set("TestName", name);
        start.Set("DatabaseFileName", "test.db");
        return start;
    }
    CScriptable& MakeWait() { return Make<iptv::CIptvWaitForTestCompletionCommand>(); }
    CSequencer& Begin(std::vector<std::uint32_t> commands) {
        CSequencer::Instance().InsertCommands(commands);
        CSequencer::Instance().Start();
        return CSequencer::Instance();
    }
    Rows Verdicts() const {
        return Reader(DatabasePath())
            .Query(
                "SELECT TestName, TestResult, EndTime IS NOT NULL, sum(NumOfChannelChanges) FROM "
                "IptvTestResults JOIN DataSets USING (DataSetId) JOIN IptvStbBlockResults USING (DataSetId) "
                "GROUP BY DataSetId ORDER BY DataSetId");
    }

    std::vector<stbox_event_s> views_;  ///< what P1 reports in each test

  private:
    std::size_t tests_ = 0;
    std::map<ScriptedPort*, bool> running_;
};

TEST_F(StartSequenceTest, ASequenceRunsTestAfterTest) {
    views_ = {MakeView(1, 2), MakeFailedView(1, 2), MakeView(1, 2)};
    auto& loop = Make<framework::CSequencerLoopCommand>();
    loop.Set("IterationCount", "2");
    auto& start = MakeStart("looped");
    TestProject::Relate(loop, start, common::kParentChild);
    TestProject::Relate(loop, MakeWait(), common::kParentChild);
    CSequencer& sequencer = Begin({loop.GetHandle(), MakeStart("last").GetHandle(), MakeWait().GetHandle()});
    sequencer.WaitForEnd();
    EXPECT_EQ(sequencer.GetErrorText(), "");
    EXPECT_EQ(sequencer.GetSequencerState(), CSequencer::SEQUENCER_COMPLETED);
    EXPECT_EQ(Verdicts(),
              (Rows{{"looped", "1", "1", "1.0"}, {"looped", "0", "1", "1.0"}, {"last", "1", "1", "1.0"}}));
}

TEST_F(StartSequenceTest, ASequenceThatIsStoppedInMidTestEndsWithItsResults) {
    views_ = {MakeView(1, 2)};
    CSequencer& sequencer =
        Begin({MakeStart("stopped").GetHandle(), MakeWait().GetHandle(), MakeStart("never").GetHandle()});
    After(4000, [&sequencer] { sequencer.Stop(); });
    sequencer.WaitForEnd();
    EXPECT_EQ(sequencer.GetSequencerState(), CSequencer::SEQUENCER_STOPPED);
    EXPECT_FALSE(IsRunning());
    EXPECT_EQ(Verdicts(), (Rows{{"stopped", "1", "1", "1.0"}}));
}

}  // namespace
