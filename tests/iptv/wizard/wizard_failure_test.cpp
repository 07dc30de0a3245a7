// Wizards that cannot finish: their errors, their leftovers, and the next good run.
#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test

const std::string kBadObject = " BAD OBJECT ERROR: Error accessing Config Objects. ";
const std::string kNotGot = "iptv Error: BAD OBJECT ERROR: Internal Error. Failed to get object ";
const std::string kNoChannels = "A viewed channel was configured with no matching channel block.";

using Change = std::function<void(Good&)>;
Change SetSources(const std::string& values) {
    return [values](Good& g) { SetAll(g.sources, values); };
}
Change SetRangeEnd(const char* end) {
    return [end](Good& g) { g.boxes.Set("ChannelRangeEnd", end); };
}

TEST(WizardFailures, AFailureLeavesTheSequenceAndIsCleanedUpByTheNextRun) {
    const Change no_filter = SetSources("SourceFilterEnable false UseNetworkBlockSources false");
    const Change no_generator_config = [](Good& g) {
        CScriptable& generator = g.s.Child(g.from, "Generator");
        generator.Set("Name", std::string("Gen"));
        g.s.Child(generator, "GeneratorConfig").Delete();
    };
    const auto take_top = [](CScriptable& device) { device.SetObjects({}, ids::relations::TopLevelIf); };
    const struct {
        Change spoil;
        Change repair;  ///< none: as in other cases
        std::string text;
        std::string logged;
        std::string last_made;  ///< class of the last object that was made; it stays
    } cases[] = {
        {SetRangeEnd("5"), SetRangeEnd("4"), kNoChannels, "iptv Error: PRECONDITION ERROR: " + kNoChannels,
         "IptvViewedChannels"},
        {SetSources("NumOfChannels 0"), SetSources("NumOfChannels 4"), kNoChannels,
         "user.iptv Warn: IptvWizardMcastSources \"Sources\" on From has no channels.", "IptvViewedChannels"},
        {[](Good& g) { g.s.Child(g.from, "Generator").Delete(); },
         [](Good& g) { g.s.Make("Generator", g.from); }, kBadObject + "Generator associated with From",
         kNotGot + "Generator from Port in", "StreamBlock"},
        {no_generator_config, nullptr, kBadObject + "GeneratorConfig associated with Gen",
         kNotGot + "GeneratorConfig from Generator in", "StreamBlock"},
        {[](Good& g) { g.s.Child(g.to, "Analyzer").Delete(); }, [](Good& g) { g.s.Make("Analyzer", g.to); },
         kBadObject + "Analyzer associated with To", kNotGot + "Analyzer from anaIterator in",
         "IptvStartTestCommand"},
        {SetSources("SourceFilterEnable true"), no_filter, "Failed in relation addition.",
         "Failed adding relation between IptvChannelBlock and EmulatedDevice in", "IptvChannelBlock"},
        {SetSources("SourceFilterEnable true UseNetworkBlockSources true"), no_filter,
         kBadObject + "NetworkBlock associated with Sources",
         kNotGot + "NetworkBlock from IptvWizardMcastSources in", "IptvChannelBlock"},
        {SetSources("TrafHostList 4000000000"),
         [](Good& g) { g.sources.Set("TrafHostList", Handle(g.server)); },
         kBadObject + "EmulatedDevice associated with Sources",
         kNotGot + "EmulatedDevice from TrafHostList in", "IptvChannelBlock"},
        {[&](Good& g) { take_top(g.server); }, nullptr,
         kBadObject + "NetworkInterface associated with Server",
         kNotGot + "NetworkInterface from EmulatedDevice in CIptvWizardMcastSources", "StreamBlock"},
        {[&](Good& g) { take_top(g.homes); }, nullptr, kBadObject + "NetworkInterface associated with Homes",
         kNotGot + "NetworkInterface from EmulatedDevice in CIptvWizardStbBlock", "StreamBlock"},
    };
    LogCapture log;
    for (const auto& wanted : cases) {
        SCOPED_TRACE(wanted.text);
        Good good;
        std::vector<std::uint32_t> users{good.s.Make("WaitCommand", good.project.Root()).GetHandle()};
        CSequencer& sequencer = CSequencer::Instance();
        sequencer.InsertCommands(users);

        wanted.spoil(good);
        log.Take();
        EXPECT_EQ(good.s.Finish(), wanted.text);
        EXPECT_THAT(log.Take(), Contains(HasSubstr(wanted.logged)));
        EXPECT_THAT(DescribeProjectAndSequence(), HasSubstr("  " + wanted.last_made + " #1"));
        ASSERT_EQ(sequencer.GetCommands().size(), 1u);
        EXPECT_EQ(sequencer.GetCommands()[0]->GetHandle(), users[0]);

        if (!wanted.repair) continue;
        wanted.repair(good);
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
