// The wizard's objects by themselves: settings that are mirrored, and settings that set others.
#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test
using framework::PropertyType;

std::string AnotherValue(const framework::CPropertyMeta& property) {
    const std::map<PropertyType, std::string> others{
        {PropertyType::Ipv4, "230.1.2.3"}, {PropertyType::Ipv6, "ff1e::99"}, {PropertyType::Double, "0.1"}};
    const auto found = others.find(property.type);
    if (property.type != PropertyType::U8) return found == others.end() ? "77" : found->second;
    const auto& values = property.enumeration->values;
    const bool first_is_default = values.front().first == property.Format(property.default_value);
    return (first_is_default ? values.back() : values.front()).first;
}

TEST_F(WizardTest, SettingsOfTheCommandAreThoseOfTheTest) {
    auto& finish = scene.Make("IptvWizardFinishCommand", project.Root(), "Name Finish");
    const auto configs = project.Root().GetObjects("IptvWizardTestConfig", common::kParentChild);
    ASSERT_EQ(configs.size(), 1u) << "the first change of all makes one";
    const CScriptable& config = *configs.front();
    const auto& settings = finish.GetMetaClass()->GetDefinition().own_properties;
    EXPECT_EQ(settings.size(), 15u);
    for (const auto& setting : settings) {
        SCOPED_TRACE(setting.name);
        const char* name = setting.name.c_str();
        const std::string value = AnotherValue(setting);
        // Without any setting the test is the same with and without the command.
        EXPECT_EQ(setting.Format(setting.default_value), config.Get(name));
        EXPECT_NE(value, config.Get(name));
        finish.Set(name, value);
        EXPECT_EQ(config.Get(name), value);
    }
    const std::string before = DescribeProjectAndSequence();
    // A new command shows them.
    auto& another = scene.Make("IptvWizardFinishCommand", project.Root());
    for (const auto& setting : settings)
        EXPECT_EQ(another.Get(setting.name.c_str()), AnotherValue(setting)) << setting.name;
    another.Set("TestEnv", "TESTING");
    EXPECT_EQ(config.Get("TestEnv"), "TESTING") << "a default that is a change";
    another.Set("TestEnv", finish.Get("TestEnv"));
    another.Delete();
    EXPECT_EQ(DescribeProjectAndSequence(), before);
}

TEST_F(WizardTest, ATrafficHostIsListedAsOftenAsItIsSet) {
    auto& sources = scene.MakeSources(scene.MakePort("P"));
    for (const char* host : {"7", "9", "0", "7"}) sources.Set("TrafHost", host);
    EXPECT_EQ(std::as_const(sources).GetTrafHostList(), (std::vector<std::uint32_t>{7, 9, 7}));
}

TEST_F(WizardTest, ChannelsShareTheRateOfAPreset) {
    auto& sources = scene.MakeSources(scene.MakePort("P"));
    // preset, channels, rate
    const std::tuple<const char*, std::uint32_t, double> cases[] = {
        {"MBPS_1_5", 2, 0.75}, {"MBPS_2", 4, 0.5}, {"MBPS_2_5", 4, 0.625}, {"MBPS_3", 4, 0.75},
        {"MBPS_4", 32, 0.125}, {"MBPS_8", 1, 8},   {"MBPS_8", 0, 99},      {"CUSTOM", 4, 99}};
    for (const auto& [preset, channels, rate] : cases) {
        sources.Set("ChannelRatePreset", "CUSTOM");
        sources.Set(ids::IptvWizardMcastSources::NumOfChannels, channels);
        sources.SetChannelRate(99);
        sources.Set("ChannelRatePreset", preset);
        EXPECT_EQ(sources.GetDouble(ids::IptvWizardMcastSources::ChannelRate), rate) << preset;
    }
}

}  // namespace
