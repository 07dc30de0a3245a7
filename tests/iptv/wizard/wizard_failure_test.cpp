// Wizards that cannot finish: what they say, what they leave, and the next good run.
#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test
using testing::Contains;
using testing::HasSubstr;

const std::string kBadObject = " BAD OBJECT ERROR: Error accessing Config Objects. ";

/// Channels 1 to 4 from one port to the set-top boxes of another.
struct Good {
    WizardScene& s;
    core::CPort& from = s.MakePort("From");
    core::CPort& to = s.MakePort("To");
    core::CEmulatedDevice& server = s.MakeDevice(&from, "Server");
    core::CEmulatedDevice& homes = s.MakeDevice(&to, "Homes");
    CScriptable& config = s.Config();
    CScriptable& sources = s.MakeSources(from, {{"Name", "Sources"}, {"TrafHost", Handle(server)}});
    CScriptable& boxes = s.MakeBoxes(homes, {{"Name", "Boxes"}});
};

struct Case {
    std::function<void(Good&)> spoil;
    std::function<void(Good&)> repair;
    std::string text;
};

TEST(WizardFailures, AFailureLeavesTheSequenceAndIsCleanedUpByTheNextRun) {
    const auto remove = [](const char* parent, const char* child) {
        return [=](Good& g) { g.s.Child(parent == std::string("From") ? g.from : g.to, child).Delete(); };
    };
    const auto add_back = [](const char* parent, const char* child) {
        return [=](Good& g) { g.s.Make(child, parent == std::string("From") ? g.from : g.to); };
    };
    const auto filter = [](Good& g) { SetAll(g.sources, {{"SourceFilterEnable", "true"}}); };
    const auto no_filter = [](Good& g) {
        SetAll(g.sources, {{"SourceFilterEnable", "false"}, {"UseNetworkBlockSources", "false"}});
    };
    const std::vector<Case> cases = {
        {[](Good& g) { g.boxes.Set("ChannelRangeEnd", "5"); },
         [](Good& g) { g.boxes.Set("ChannelRangeEnd", "4"); },
         "A viewed channel was configured with no matching channel block."},
        {remove("From", "Generator"), add_back("From", "Generator"),
         kBadObject + "Generator associated with From"},
        {[](Good& g) { g.s.Child(g.s.Child(g.from, "Generator"), "GeneratorConfig").Delete(); },
         [](Good& g) { g.s.Make("GeneratorConfig", g.s.Child(g.from, "Generator")); },
         kBadObject + "GeneratorConfig associated with Generator"},
        {remove("To", "Analyzer"), add_back("To", "Analyzer"), kBadObject + "Analyzer associated with To"},
        {[](Good& g) { g.config.MarkDelete(true, true); }, [](Good& g) { g.s.Config(); },
         kBadObject + "WizardTestConfig."},
        {filter, no_filter, "Failed in relation addition."},
        {[&](Good& g) {
             filter(g);
             g.sources.Set("UseNetworkBlockSources", "true");
         },
         no_filter, kBadObject + "NetworkBlock associated with Sources"},
        {[](Good& g) { g.sources.Set("TrafHostList", "4000000000"); },
         [](Good& g) { g.sources.Set("TrafHostList", Handle(g.server)); },
         kBadObject + "EmulatedDevice associated with Sources"},
        {[](Good& g) { g.server.SetObjects({}, ids::relations::TopLevelIf); },
         [](Good& g) {
             testing_aids::TestProject::Relate(g.server, g.s.Child(g.server, "Ipv4If"),
                                               ids::relations::TopLevelIf);
         },
         kBadObject + "NetworkInterface associated with Server"},
        {[](Good& g) { g.homes.SetObjects({}, ids::relations::TopLevelIf); },
         [](Good& g) {
             testing_aids::TestProject::Relate(g.homes, g.s.Child(g.homes, "Ipv4If"),
                                               ids::relations::TopLevelIf);
         },
         kBadObject + "NetworkInterface associated with Homes"},
    };
    const testing_aids::LogCapture quiet;
    for (const Case& wanted : cases) {
        SCOPED_TRACE(wanted.text);
        testing_aids::TestProject own;
        WizardScene own_scene(own);
        Good good{own_scene};
        std::vector<std::uint32_t> users{
            own_scene.Make("WaitCommand", own.Root(), {{"Name", "user's"}}).GetHandle()};
        CSequencer::Instance().InsertCommands(users);

        wanted.spoil(good);
        EXPECT_THAT(own_scene.Finish(), testing::StartsWith(wanted.text));
        ASSERT_EQ(CSequencer::Instance().GetCommands().size(), 1u);
        EXPECT_EQ(CSequencer::Instance().GetCommands()[0]->GetHandle(), users[0]);

        wanted.repair(good);
        ASSERT_EQ(own_scene.Finish(), "");
        const std::string tree = DescribeProjectAndSequence();
        for (const char* one :
             {"Ipv4Group", "IptvChannelBlock", "StreamBlock", "IgmpHostConfig", "IptvStbBlockConfig",
              "IptvViewedChannels", "IptvViewingProfileConfig", "GeneratorStopCommand"}) {
            EXPECT_THAT(tree, HasSubstr(std::string("  ") + one + " #1")) << tree;
            EXPECT_THAT(tree, testing::Not(HasSubstr(std::string("  ") + one + " #2"))) << tree;
        }
        EXPECT_THAT(tree, testing::Not(HasSubstr("user's")));
    }
}

TEST_F(WizardTest, ReportsStreamsBetweenIpVersions) {
    Good good{scene};
    auto& six = scene.MakeDevice(&good.from, "Six", {.ipv6 = true});
    good.sources.Set("TrafHostList", Handle(six));
    log.Take();
    EXPECT_EQ(scene.Finish(), "");
    EXPECT_THAT(log.Take(),
                Contains("user.iptv Error: IP version for the source and destination bindings for "
                         "stream block are not the same. On Port From"));
}

TEST_F(WizardTest, LeavesARunningSequenceAndItsOwnSequenceAlone) {
    [[maybe_unused]] const Good good{scene};
    ASSERT_EQ(scene.Finish(), "");
    const std::string before = DescribeProjectAndSequence();
    auto& sequencer = CSequencer::Instance();
    const std::uint8_t running = CSequencer::SEQUENCER_RUNNING;
    const std::uint8_t idle = CSequencer::SEQUENCER_IDLE;
    sequencer.Set(ids::Sequencer::State, running);
    EXPECT_EQ(scene.Finish(),
              "The IPTV wizard cannot replace the sequence while it runs. Stop it, or wait for its end.");
    sequencer.Set(ids::Sequencer::State, idle);
    EXPECT_EQ(DescribeProjectAndSequence(), before);

    auto& inside = dynamic_cast<framework::CCommand&>(scene.Make("IptvWizardFinishCommand", sequencer));
    EXPECT_THROW(inside.Execute(false), common::COrvRunTimeError);
    EXPECT_EQ(inside.GetStatus(), "The IPTV wizard replaces the sequence and cannot be a part of it.");
    EXPECT_EQ(sequencer.GetCommands().back(), &inside);
}

/// Objects that are of a class by the data model only.
TEST(WizardFailures, NamesObjectsOfTheWrongKind) {
    const struct {
        std::uint32_t id;
        const char* base;
        const char* text;
    } cases[] = {
        {0x7d011000, "EmulatedDevice", "EmulatedDevice."},
        {0x7d012000, "Port", "Port."},
        {0x7d013000, "IptvWizardMcastSources", "WizardMcastSources."},
        {0x7d014000, "IptvWizardStbBlock", "WizardStbBlock."},
    };
    const testing_aids::LogCapture quiet;
    for (const auto& wanted : cases) {
        testing_aids::TestProject own;
        WizardScene own_scene(own);
        Good good{own_scene};
        const std::string base = wanted.base;
        CScriptable& parent = base == "IptvWizardMcastSources" ? static_cast<CScriptable&>(good.from)
                              : base == "IptvWizardStbBlock"   ? static_cast<CScriptable&>(good.homes)
                                                               : own.Root();
        const std::string odd = "WizardOdd" + base;
        testing_aids::DeclareOddClass<CScriptable>(common::ClassId(wanted.id), odd, base);
        own_scene.Make(odd, parent);
        EXPECT_EQ(own_scene.Finish(), kBadObject + wanted.text);
    }
}

}  // namespace
