// When the wizard does not begin at all, what it only warns of, and what is left when it cannot finish.
#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test
using framework::CCommand, iptv::CIptvResultsManager;

struct WizardRefusalTest : testing::Test {
    WizardRefusalTest() { EXPECT_EQ(good.s.Finish(), kDone); }

    void ExpectRefusal(const std::string& what) {
        const std::string before = DescribeProjectAndSequence();
        EXPECT_EQ(good.s.Finish(), "The IPTV wizard cannot replace " + what);
        EXPECT_EQ(DescribeProjectAndSequence(), before);
    }
    void ExpectRefusalFor(const CCommand& command) {
        ExpectRefusal(command.Describe() + " while it is under way. Cancel it, or wait for its end.");
    }
    CCommand& MakeCommand(const std::string& class_name, CScriptable& parent,
                          const std::string& values = "") {
        return dynamic_cast<CCommand&>(good.s.Make(class_name, parent, values));
    }
    /// Looks at something while a command of several seconds runs.
    static void While(CCommand& command, const std::function<void()>& look) {
        int looked = 0;
        After(1000, [&] {
            EXPECT_EQ(command.GetCommandState(), CCommand::COMMAND_RUNNING);
            look();
            ++looked;
        });
        command.Execute(false);
        EXPECT_EQ(looked, 1);
    }

    LogCapture log;
    Good good;
    CSequencer& sequencer = CSequencer::Instance();
    CScriptable& root = good.project.Root();
};

TEST_F(WizardRefusalTest, WhileSomethingRuns) {
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
    EXPECT_EQ(good.s.Finish(), kDone);
}

TEST_F(WizardRefusalTest, WhileACommandIsUnderWayThatWouldGo) {
    CScriptable& loop = good.s.Make("SequencerLoopCommand", sequencer);
    for (const auto& [class_name, parent] : {std::pair<const char*, CScriptable*>{"WaitCommand", &sequencer},
                                             {"WaitCommand", &loop},
                                             {"IptvStartTestCommand", &root},
                                             {"IptvStopTestCommand", &root},
                                             {"IptvWaitForTestCompletionCommand", &root}}) {
        CCommand& command = MakeCommand(class_name, *parent, "Name Busy");
        command.Execute(true);
        ExpectRefusalFor(command);
        command.Cancel();
        Yield(1);
        ASSERT_EQ(command.GetCommandState(), CCommand::COMMAND_CANCELLED);
    }
    CCommand& in_sequence = MakeCommand("WaitCommand", sequencer, "WaitTime 5");
    While(in_sequence, [&] { ExpectRefusalFor(in_sequence); });
    While(MakeCommand("WaitCommand", root, "WaitTime 5"),
          [this] { EXPECT_EQ(good.s.Finish(), kDone) << "it has nothing to do with a test"; });
}

TEST_F(WizardRefusalTest, InsideTheSequence) {
    CCommand& inside = MakeCommand("IptvWizardFinishCommand", sequencer);
    EXPECT_THROW(inside.Execute(false), common::COrvRunTimeError);
    EXPECT_EQ(inside.GetStatus(), "The IPTV wizard replaces the sequence and cannot be a part of it.");
    EXPECT_EQ(sequencer.GetCommands().back(), &inside);
}

using Change = std::function<void(Good&)>;
const auto SetSources = [](const std::string& values) -> Change {
    return [values](Good& g) { SetAll(g.sources, values); };
};
const auto SetBoxes = [](const std::string& values) -> Change {
    return [values](Good& g) { SetAll(g.boxes, values); };
};

TEST(WizardWarnings, TellOfWhatDoesNotFitTheIpVersion) {
    const auto filter_by_ipv6 = [](Good& g) {
        SetAll(g.sources, "SourceFilterEnable true UseNetworkBlockSources true");
        g.s.Make("Ipv6NetworkBlock", g.sources, "Name v6");
    };
    const auto send_from_ipv6 = [](Good& g) {
        g.sources.Set("TrafHostList", Handle(g.s.MakeDevice(&g.from, "Six", {.ipv6 = true})));
    };
    const std::string streams =
        "Error: IP version for the source and destination bindings for stream block are not the same. On "
        "Port From";
    const std::string boxes = "Warn: IptvWizardStbBlock \"Boxes\" on Homes ";
    const std::tuple<Change, Texts, const char*> cases[] = {
        {[](Good&) {}, {}, "IgmpHostConfig"},
        {SetBoxes("IgmpMldVersion IGMP_V3"), {}, "Version: IGMP_V3"},
        {SetBoxes("IgmpMldVersion MLD_V1"),
         {boxes + "has the version MLD_V1, which does not fit a test of IPv4."},
         "Version: MLD_V1"},
        {[](Good& g) { g.config.Set("IpVersion", "IPV6"); },
         {streams, boxes + "uses Ipv4If \"top\", which does not fit a test of IPv6."},
         "UsesIf -> Ipv4If top"},
        {filter_by_ipv6,
         {"Warn: IptvWizardMcastSources \"Sources\" on From filters by the sources of Ipv6NetworkBlock "
          "\"v6\", which does not fit a test of IPv4."},
         "Ipv6NetworkBlock #1 (registered)"},
        {send_from_ipv6, {streams}, "SrcBinding -> Ipv6If"}};
    LogCapture log;
    for (const auto& [change, told, stays] : cases) {
        Good good;
        good.s.Child(good.homes, "Ipv4If").Set("Name", std::string("top"));
        change(good);
        EXPECT_EQ(good.s.Finish(), kDone);
        EXPECT_EQ(LinesOf(log.Take(), "user.iptv "), told);
        EXPECT_THAT(DescribeProjectAndSequence(), HasSubstr(stays));
    }
}

const std::string kNotGot = "iptv Error: BAD OBJECT ERROR: Internal Error. Failed to get object ";
const std::string kNoChannels = "A viewed channel was configured with no matching channel block.";

TEST(WizardFailures, AFailureLeavesTheSequenceAndIsCleanedUpByTheNextRun) {
    const Change no_filter = SetSources("SourceFilterEnable false UseNetworkBlockSources false");
    const Change no_generator_config = [](Good& g) {
        CScriptable& generator = g.s.Child(g.from, "Generator");
        generator.Set("Name", std::string("Gen"));
        g.s.Child(generator, "GeneratorConfig").Delete();
    };
    const auto take_top = [](CScriptable& device) { device.SetObjects({}, ids::relations::TopLevelIf); };
    // spoil, repair (none: as in other cases), the end of the text, a part of what is logged
    const std::tuple<Change, Change, std::string, std::string> cases[] = {
        {SetBoxes("ChannelRangeEnd 5"), SetBoxes("ChannelRangeEnd 4"), kNoChannels,
         "Error: PRECONDITION ERROR: " + kNoChannels},
        {SetSources("NumOfChannels 0"), SetSources("NumOfChannels 4"), kNoChannels,
         "user.iptv Warn: IptvWizardMcastSources \"Sources\" on From has no channels."},
        {[](Good& g) { g.s.Child(g.from, "Generator").Delete(); }, nullptr, "Generator associated with From",
         kNotGot + "Generator from Port in"},
        {no_generator_config, nullptr, "GeneratorConfig associated with Gen",
         kNotGot + "GeneratorConfig from Generator in"},
        {[](Good& g) { g.s.Child(g.to, "Analyzer").Delete(); }, [](Good& g) { g.s.Make("Analyzer", g.to); },
         "Analyzer associated with To", kNotGot + "Analyzer from anaIterator in"},
        {SetSources("SourceFilterEnable true"), no_filter, "Failed in relation addition.",
         "Failed adding relation between IptvChannelBlock and EmulatedDevice in"},
        {SetSources("SourceFilterEnable true UseNetworkBlockSources true"), no_filter,
         "NetworkBlock associated with Sources", kNotGot + "NetworkBlock from IptvWizardMcastSources in"},
        {SetSources("TrafHostList 4000000000"), nullptr, "EmulatedDevice associated with Sources",
         kNotGot + "EmulatedDevice from TrafHostList in"},
        {[&](Good& g) { take_top(g.server); }, nullptr, "NetworkInterface associated with Server",
         kNotGot + "NetworkInterface from EmulatedDevice in CIptvWizardMcastSources"},
        {[&](Good& g) { take_top(g.homes); }, nullptr, "NetworkInterface associated with Homes",
         kNotGot + "NetworkInterface from EmulatedDevice in CIptvWizardStbBlock"}};
    LogCapture log;
    for (const auto& [spoil, repair, text, logged] : cases) {
        SCOPED_TRACE(text);
        Good good;
        std::vector<std::uint32_t> users{good.s.Make("WaitCommand", good.project.Root()).GetHandle()};
        CSequencer& sequencer = CSequencer::Instance();
        sequencer.InsertCommands(users);

        spoil(good);
        log.Take();
        EXPECT_THAT(good.s.Finish(), testing::EndsWith(text));
        EXPECT_THAT(log.Take(), Contains(HasSubstr(logged)));
        ASSERT_EQ(sequencer.GetCommands().size(), 1u);
        EXPECT_EQ(sequencer.GetCommands()[0]->GetHandle(), users[0]);

        if (!repair) continue;
        repair(good);
        ASSERT_EQ(good.s.Finish(), kDone);
        const std::string tree = DescribeProjectAndSequence();
        for (const std::string one :
             {"Ipv4Group", "IptvChannelBlock", "StreamBlock", "IgmpHostConfig", "IptvStbBlockConfig",
              "IptvViewedChannels", "IptvViewingProfileConfig", "GeneratorStopCommand"}) {
            EXPECT_THAT(tree, HasSubstr("  " + one + " #1"));
            EXPECT_THAT(tree, testing::Not(HasSubstr("  " + one + " #2")));
        }
        EXPECT_THAT(tree, testing::Not(HasSubstr("  WaitCommand")));
    }
}

}  // namespace
