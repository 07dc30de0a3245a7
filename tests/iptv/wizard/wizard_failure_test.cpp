// Wizards that cannot finish: their errors, their leftovers, and the next good run.
#include "wizard/IptvWizardManager.h"
#include "wizard/WizardObjects.h"
#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test
using testing::Contains;
using testing::HasSubstr;

const std::string kBadObject = " BAD OBJECT ERROR: Error accessing Config Objects. ";
const std::string kBadAllocation = " BAD ALLOCATION ERROR: Error in Memory Allocation. ";
const std::string kDevLog = "content.mulvane.iptv Error: ";
const std::string kNotGot = kDevLog + "BAD OBJECT ERROR: Internal Error. Failed to get object ";
const std::string kSources = "CIptvWizardMcastSources::";
const std::string kManager = "CIptvWizardManager::";

struct Case {
    std::function<void(Good&)> spoil;
    std::function<void(Good&)> repair;
    std::string text;
    std::string logged;
    std::string last_made;  ///< class of the last object that was made; it stays
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
         "A viewed channel was configured with no matching channel block.",
         kDevLog + "PRECONDITION ERROR: A viewed channel was configured with no matching channel block.",
         "IptvViewedChannels"},
        {[](Good& g) { g.sources.Set("NumOfChannels", "0"); },
         [](Good& g) { g.sources.Set("NumOfChannels", "4"); },
         "A viewed channel was configured with no matching channel block.",
         "user.iptv Warn: IptvWizardMcastSources \"Sources\" on From has no channels.", "IptvViewedChannels"},
        {remove("From", "Generator"), add_back("From", "Generator"),
         kBadObject + "Generator associated with From",
         kNotGot + "Generator from Port in " + kSources + "SetupStreamBlock", "StreamBlock"},
        {[](Good& g) {
             g.s.Child(g.from, "Generator").Set("Name", std::string("Gen"));
             g.s.Child(g.s.Child(g.from, "Generator"), "GeneratorConfig").Delete();
         },
         [](Good& g) { g.s.Make("GeneratorConfig", g.s.Child(g.from, "Generator")); },
         kBadObject + "GeneratorConfig associated with Gen",
         kNotGot + "GeneratorConfig from Generator in " + kSources + "SetupStreamBlock", "StreamBlock"},
        {remove("To", "Analyzer"), add_back("To", "Analyzer"), kBadObject + "Analyzer associated with To",
         kNotGot + "Analyzer from anaIterator in " + kManager + "SetupIptvSequencer", "IptvStartTestCommand"},
        {filter, no_filter, "Failed in relation addition.",
         kDevLog +
             "BAD ARGUMENT ERROR: Failed adding relation between IptvChannelBlock and EmulatedDevice in " +
             kSources + "SetupChannelBlock",
         "IptvChannelBlock"},
        {[&](Good& g) {
             filter(g);
             g.sources.Set("UseNetworkBlockSources", "true");
         },
         no_filter, kBadObject + "NetworkBlock associated with Sources",
         kNotGot + "NetworkBlock from IptvWizardMcastSources in " + kSources + "SetupChannelBlock",
         "IptvChannelBlock"},
        {[](Good& g) { g.sources.Set("TrafHostList", "4000000000"); },
         [](Good& g) { g.sources.Set("TrafHostList", Handle(g.server)); },
         kBadObject + "EmulatedDevice associated with Sources",
         kNotGot + "EmulatedDevice from TrafHostList in " + kSources + "SetupStreamBlock",
         "IptvChannelBlock"},
        {[](Good& g) { g.server.SetObjects({}, ids::relations::TopLevelIf); },
         [](Good& g) {
             testing_aids::TestProject::Relate(g.server, g.s.Child(g.server, "Ipv4If"),
                                               ids::relations::TopLevelIf);
         },
         kBadObject + "NetworkInterface associated with Server",
         kNotGot + "NetworkInterface from EmulatedDevice in " + kSources + "SetupStreamBlock", "StreamBlock"},
        {[](Good& g) { g.homes.SetObjects({}, ids::relations::TopLevelIf); },
         [](Good& g) {
             testing_aids::TestProject::Relate(g.homes, g.s.Child(g.homes, "Ipv4If"),
                                               ids::relations::TopLevelIf);
         },
         kBadObject + "NetworkInterface associated with Homes",
         kNotGot + "NetworkInterface from EmulatedDevice in CIptvWizardStbBlock::SetupMcastHostConfig",
         "StreamBlock"},
    };
    testing_aids::LogCapture log;
    for (const Case& wanted : cases) {
        SCOPED_TRACE(wanted.text);
        testing_aids::TestProject own;
        WizardScene own_scene(own);
        Good good{own_scene};
        std::vector<std::uint32_t> users{
            own_scene.Make("WaitCommand", own.Root(), {{"Name", "user's"}}).GetHandle()};
        CSequencer::Instance().InsertCommands(users);

        wanted.spoil(good);
        log.Take();
        EXPECT_EQ(own_scene.Finish(), wanted.text);
        EXPECT_THAT(log.Take(), Contains(wanted.logged));
        EXPECT_THAT(DescribeProjectAndSequence(), HasSubstr("  " + wanted.last_made + " #1"));
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

TEST_F(WizardTest, WithoutConfigurationNothingIsMade) {
    const Good good{scene};
    good.config.MarkDelete(true, true);
    const std::string before = DescribeProjectAndSequence();
    EXPECT_THROW(iptv::CIptvWizardManager::GetWizardManager()->SetupTest(), common::COrvRunTimeError);
    EXPECT_THAT(log.Take(),
                Contains(kNotGot + "IptvWizardTestConfig from CProject in " + kManager + "GetWizTestConfig"));
    EXPECT_EQ(DescribeProjectAndSequence(), before);
    EXPECT_EQ(scene.Finish(), "") << "the command makes a configuration";
}

/// Objects that are of a class by the data model only.
TEST(WizardFailures, NamesObjectsOfTheWrongKind) {
    const struct {
        std::uint32_t id;
        const char* base;
        const char* text;
        const char* logged;
    } cases[] = {
        {0x7d011000, "EmulatedDevice", "EmulatedDevice.", "EmulatedDevice from DeviceIterator in CleanUp"},
        {0x7d012000, "Port", "Port.", "Port from PortIterator in CleanUp"},
        {0x7d013000, "IptvWizardMcastSources", "WizardMcastSources.",
         "IptvWizardMcastSources from wizardMcastSourceIterator in ProcessWizardMcastSources"},
        {0x7d014000, "IptvWizardStbBlock", "WizardStbBlock.",
         "IptvWizardStbBlock from wizardStbBlockIterator in SetupStbBlocks"},
    };
    testing_aids::LogCapture log;
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
        std::string logged = wanted.logged;
        logged.insert(logged.rfind(' ') + 1, kManager);
        EXPECT_THAT(log.Take(), Contains(kNotGot + logged));
    }
}

TEST(WizardFailures, NamesWhatCannotBeMade) {
    const struct {
        const char* class_name;
        std::string logged;  ///< begins with what is thrown
        const char* ip_version = "IPV4";
    } cases[] = {
        {"Ipv4Group", "Ipv4Group in " + kSources + "SetupChannelBlocknMcastGroup"},
        {"Ipv6Group", "Ipv6Group in " + kSources + "SetupChannelBlocknMcastGroup", "IPV6"},
        {"IptvChannelBlock", "IptvChannelBlock in " + kSources + "SetupChannelBlock"},
        {"StreamBlock", "StreamBlock in " + kSources + "SetupStreamBlock"},
        {"IgmpHostConfig", "MulticastHostConfig in CIptvWizardStbBlock::SetupMcasthostConfig"},
        {"MldHostConfig", "MldHostConfig in CIptvWizardStbBlock::SetupMcasthostConfig", "IPV6"},
        {"SetRelativesCommand", "SetRelativesCommand"},
        {"IptvStbBlockConfig", "IptvStbBlockConfig in CIptvWizardStbBlock::ExpandWizStbBlock"},
        {"IptvViewedChannels", "IptvViewedChannels in CIptvWizardStbBlock::SetupViewedChannels"},
        {"IptvViewingProfileConfig",
         "IptvViewingProfileConfig in CIptvWizardStbBlock::SetupViewingProfileConfig"},
        {"IptvStartTestCommand", "IptvStartTestCommand"},
        {"AnalyzerStopCommand", "AnalyzerStopCommand"},
    };
    testing_aids::LogCapture log;
    for (const auto& wanted : cases) {
        SCOPED_TRACE(wanted.class_name);
        testing_aids::TestProject own;
        WizardScene own_scene(own);
        const Good good{own_scene};
        good.config.Set("IpVersion", wanted.ip_version);
        {
            const testing_aids::NoOther none(wanted.class_name);
            EXPECT_EQ(own_scene.Finish(),
                      kBadAllocation + wanted.logged.substr(0, wanted.logged.find(' ')) + ".");
        }
        EXPECT_THAT(log.Take(),
                    Contains(kDevLog + "MEMORY ALLOCATION ERROR: for object: " + wanted.logged + " "));
        EXPECT_EQ(own_scene.Finish(), "");
    }
}

}  // namespace
