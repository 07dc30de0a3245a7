// When the wizard does not begin at all, what it only warns of, and which start command it runs.
#include "orv/framework/task_manager.h"
#include "results/IptvResultsManager.h"
#include "wizard/IptvWizardManager.h"
#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test
using framework::CCommand;
using iptv::CIptvResultsManager;

class WizardRefusalTest : public WizardTest {
  protected:
    WizardRefusalTest() : good{scene} { EXPECT_EQ(scene.Finish(), ""); }

    void ExpectRefusal(const std::string& what) {
        const std::string before = DescribeProjectAndSequence();
        EXPECT_EQ(scene.Finish(), "The IPTV wizard cannot replace " + what);
        EXPECT_EQ(DescribeProjectAndSequence(), before);
    }
    /// Looks at something while a command of several seconds runs.
    static void While(CCommand& command, const std::function<void()>& look) {
        int looked = 0;
        framework::CTaskManager::Instance().PostAfter(std::chrono::seconds(1), [&] {
            EXPECT_EQ(command.GetCommandState(), CCommand::COMMAND_RUNNING);
            look();
            ++looked;
        });
        command.Execute(false);
        EXPECT_EQ(looked, 1);
    }

    Good good;
};

TEST_F(WizardRefusalTest, WhileSomethingRuns) {
    auto& sequencer = CSequencer::Instance();
    sequencer.Set(ids::Sequencer::State, std::uint8_t{CSequencer::SEQUENCER_RUNNING});
    ExpectRefusal("the sequence while it runs. Stop it, or wait for its end.");
    sequencer.Set(ids::Sequencer::State, std::uint8_t{CSequencer::SEQUENCER_IDLE});

    auto& results = *CIptvResultsManager::GetResultsManager();
    results.Prepare({});
    results.SetPortCount(1);
    results.NotePortStarted(good.to.GetHandle());
    results.SetTestRunning(true);
    ExpectRefusal("an IPTV test while it runs. Stop it, or wait for its end.");
    results.EndOfTestProcessing(true);
    ExpectRefusal("an IPTV test whose ports are still stopping. Wait for its end.");
    results.SetTestRunning(false);
    ExpectRefusal("an IPTV test whose ports are still stopping. Wait for its end.");
    CIptvResultsManager::StopRunning();
    EXPECT_EQ(scene.Finish(), "");
}

TEST_F(WizardRefusalTest, WhileACommandIsUnderWayThatWouldGo) {
    auto& loop = scene.Make("SequencerLoopCommand", CSequencer::Instance());
    const std::pair<const char*, CScriptable*> cases[] = {
        {"WaitCommand", &CSequencer::Instance()},
        {"WaitCommand", &loop},
        {"IptvStartTestCommand", &project.Root()},
        {"IptvStopTestCommand", &project.Root()},
        {"IptvWaitForTestCompletionCommand", &project.Root()},
    };
    for (const auto& [class_name, parent] : cases) {
        auto& command = dynamic_cast<CCommand&>(scene.Make(class_name, *parent, {{"Name", "Busy"}}));
        command.Execute(true);
        ExpectRefusal(command.Describe() + " while it is under way. Cancel it, or wait for its end.");
        command.Cancel();
        framework::CTaskManager::Instance().CtmYield(1);
        ASSERT_EQ(command.GetCommandState(), CCommand::COMMAND_CANCELLED);
    }
    auto& in_sequence = dynamic_cast<CCommand&>(
        scene.Make("WaitCommand", CSequencer::Instance(), {{"Name", "Waits"}, {"WaitTime", "5"}}));
    While(in_sequence, [this] {
        ExpectRefusal("WaitCommand \"Waits\" while it is under way. Cancel it, or wait for its end.");
    });
    auto& other = dynamic_cast<CCommand&>(scene.Make("WaitCommand", project.Root(), {{"WaitTime", "5"}}));
    While(other, [this] { EXPECT_EQ(scene.Finish(), "") << "it has nothing to do with a test"; });
}

TEST_F(WizardRefusalTest, InsideTheSequence) {
    auto& sequencer = CSequencer::Instance();
    auto& inside = dynamic_cast<CCommand&>(scene.Make("IptvWizardFinishCommand", sequencer));
    EXPECT_THROW(inside.Execute(false), common::COrvRunTimeError);
    EXPECT_EQ(inside.GetStatus(), "The IPTV wizard replaces the sequence and cannot be a part of it.");
    EXPECT_EQ(sequencer.GetCommands().back(), &inside);
}

TEST_F(WizardRefusalTest, RunsTheStartCommandOfTheProject) {
    auto& manager = *iptv::CIptvWizardManager::GetWizardManager();
    manager.CleanUp();
    const auto& users = scene.Make("IptvStartTestCommand", project.Root());
    manager.SetupIptvSequencer();
    EXPECT_EQ(users.GetParent(), &CSequencer::Instance());

    log.Take();
    const std::string before = DescribeProjectAndSequence();
    EXPECT_THROW(manager.SetupIptvSequencer(), common::COrvRunTimeError) << "it is in the sequence";
    EXPECT_THAT(log.Take(),
                testing::Contains("content.mulvane.iptv Error: BAD OBJECT ERROR: Internal Error. Failed to "
                                  "get object CIptvStartTestCommand from CProject in "
                                  "CIptvWizardManager::SetupIptvSequencer"));
    EXPECT_EQ(DescribeProjectAndSequence(), before);
}

TEST(WizardWarnings, TellOfWhatDoesNotFitTheIpVersion) {
    const auto filter_by_ipv6 = [](Good& g) {
        SetAll(g.sources, {{"SourceFilterEnable", "true"}, {"UseNetworkBlockSources", "true"}});
        g.s.Make("Ipv6NetworkBlock", g.sources, {{"Name", "v6"}});
    };
    const std::string streams =
        "Error: IP version for the source and destination bindings for stream block are not the same. On "
        "Port From";
    const struct {
        std::function<void(Good&)> change;
        std::vector<std::string> told;
        const char* stays;
    } cases[] = {
        {[](Good&) {}, {}, "IgmpHostConfig"},
        {[](Good& g) { g.boxes.Set("IgmpMldVersion", "IGMP_V3"); }, {}, "Version: IGMP_V3"},
        {[](Good& g) { g.boxes.Set("IgmpMldVersion", "MLD_V1"); },
         {"Warn: IptvWizardStbBlock \"Boxes\" on Homes has the version MLD_V1, which does not fit a test of "
          "IPv4."},
         "Version: MLD_V1"},
        {[](Good& g) { g.config.Set("IpVersion", "IPV6"); },
         {streams,
          "Warn: IptvWizardStbBlock \"Boxes\" on Homes uses Ipv4If \"top\", which does not fit a test of "
          "IPv6."},
         "UsesIf -> Ipv4If top"},
        {filter_by_ipv6,
         {"Warn: IptvWizardMcastSources \"Sources\" on From filters by the sources of Ipv6NetworkBlock "
          "\"v6\", "
          "which does not fit a test of IPv4."},
         "Ipv6NetworkBlock #1 (registered)"},
        {[](Good& g) {
             auto& six = g.s.MakeDevice(&g.from, "Six", {.ipv6 = true});
             g.sources.Set("TrafHostList", Handle(six));
         },
         {streams},
         "SrcBinding -> Ipv6If"},
    };
    testing_aids::LogCapture log;
    for (const auto& wanted : cases) {
        testing_aids::TestProject own;
        WizardScene own_scene(own);
        Good good{own_scene};
        own_scene.Child(good.homes, "Ipv4If").Set("Name", std::string("top"));
        wanted.change(good);
        EXPECT_EQ(own_scene.Finish(), "");
        std::vector<std::string> told;
        const std::string user = "user.iptv ";
        for (const std::string& line : log.Take())
            if (line.starts_with(user)) told.push_back(line.substr(user.size()));
        EXPECT_EQ(told, wanted.told);
        EXPECT_THAT(DescribeProjectAndSequence(), testing::HasSubstr(wanted.stays));
    }
}

}  // namespace
