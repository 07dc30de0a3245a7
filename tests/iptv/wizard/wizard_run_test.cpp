// A wizard's test from its sequence to the stored verdict, on scripted ports.
#include "orv/core/orv_system.h"
#include "orv/core/result.h"
#include "orv/framework/task_manager.h"
#include "results/IptvResultsHandler.h"
#include "results/results_fixture.h"
#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test
namespace fs = std::filesystem;
using results_test::Reader;
using testing_aids::Answer;

/// The set-top boxes and channels of the fixture are the user's own, which the wizard replaces.
class WizardRunTest : public results_test::ResultsTest {
  protected:
    WizardRunTest() {
        auto& server = scene.MakeDevice(&p2, "Server");
        testing_aids::TestProject::LayerOf(server, "Ipv4If").Set("Address", "10.9.9.9");
        testing_aids::TestProject::McastOf(device1).Delete();
        scene.Make("Dhcpv4BlockConfig", device1);
        SetAll(scene.Config(), {{"TestName", "wizard's"}, {"DatabaseFileName", "test.db"}});
        scene.MakeSources(p2, {{"TrafHost", Handle(server)}});
        scene.MakeBoxes(device1);
        far1.answer = [this](const tm::Message& request) {
            if (request.get_request_name() == "iptvcd_1.Start") Play();
            return Answer::Respond;
        };
    }
    /// Port 1's test: one view, and the end.
    void Play() {
        auto& tasks = framework::CTaskManager::Instance();
        tasks.PostAfter(std::chrono::seconds(1), [this] {
            auto* block = dynamic_cast<iptv::CIptvStbBlockConfig*>(
                device1.GetObject("IptvStbBlockConfig", common::kParentChild));
            tm::Message message;
            iptvcd_1_bll::create_req_ResultsNotification(
                &message, {EventsOf(*block, {results_test::MakeView(1, 2, 0)})}, true);
            far1.Notify(message);
        });
        tasks.PostAfter(std::chrono::seconds(10), [this] {
            tm::Message end;
            end.set_request_name("iptvcd_1.EOTNotification");
            far1.Notify(end);
        });
    }
    void Run() {
        CSequencer& sequencer = CSequencer::Instance();
        sequencer.Start();
        sequencer.WaitForEnd();
        EXPECT_EQ(sequencer.GetErrorText(), "");
        EXPECT_EQ(sequencer.GetSequencerState(), CSequencer::SEQUENCER_COMPLETED);
    }

    testing_aids::LogCapture log;
    WizardScene scene{project};
};

TEST_F(WizardRunTest, TheSequenceEndsWithAVerdict) {
    // The second wizard takes what has been applied and has results back from the port.
    for (const char* data_set : {"1", "2"}) {
        ASSERT_EQ(scene.Finish(), "");
        Run();
        const Reader reader(DatabasePath());
        const std::string of_test = std::string(" WHERE DataSetId = ") + data_set;
        EXPECT_EQ(reader.Get("SELECT TestName || ' ' || TestResult FROM IptvTestResults" + of_test),
                  "wizard's 1");
        EXPECT_EQ(reader.Get("SELECT sum(NumOfChannelChanges) FROM IptvStbBlockResults" + of_test), "1.0");
    }
    for (const char* generator_or_analyzer : {"Generator", "Analyzer"})
        for (const CScriptable* port : {&p1, &p2})
            EXPECT_EQ(scene.Child(*port, generator_or_analyzer).Get("State"), "STOPPED");
    EXPECT_EQ(scene.Child(device1, "Dhcpv4BlockConfig").Get("BlockState"), "IDLE");
}

TEST_F(WizardRunTest, EveryIterationHasAFolderOfItsOwn) {
    auto& handlers = core::CResultModule::Instance();
    if (handlers.GetHandlers().empty())  // they stay registered until the process ends
        handlers.RegisterResultHandler(iptv::CIptvResultsHandler::Instance(), false);
    scene.Config().Set("SaveResultsPerIteration", "true");
    ASSERT_EQ(scene.Finish(), "");
    Run();
    Run();  // what the first run has written stays
    for (const char* name : {"IPTV-Iter-1", "IPTV-Iter-1-2"}) {
        const fs::path folder = folder_ / name;
        const Reader test((folder / "iptvTest.db").string());
        EXPECT_EQ(test.Get("SELECT TestName || ' ' || TestResult FROM IptvTestResults"), "wizard's 1");
        const Reader iteration((folder / "IPTV-Iter-1.db").string());
        EXPECT_EQ(iteration.Get("SELECT Path FROM IterationDatabases"), (folder / "iptvTest.db").string());
        EXPECT_EQ(
            iteration.Get("SELECT n.Name FROM EotResultNode n JOIN DataSets d ON n.Handle = d.RootNode"),
            "IPTV Iteration 1");
        EXPECT_EQ(iteration.Get("SELECT StreamCount FROM StreamBlock"), "4");
    }
    EXPECT_FALSE(fs::exists(folder_ / "iptvTest.db"));
    const auto& system = core::COrvSystem::Instance();
    for (const char* left : {"EotResultNode", "EotResultViewDefinition"})
        EXPECT_TRUE(system.GetObjects(left, common::kParentChild).empty()) << left;
}

}  // namespace
