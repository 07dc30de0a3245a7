// The wizard's objects by themselves: settings that are mirrored, and settings that set others.
#include <utility>

#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test
using framework::PropertyType;

std::vector<CScriptable*> Configs(testing_aids::TestProject& project) {
    return project.Root().GetObjects("IptvWizardTestConfig", common::kParentChild);
}

std::string AnotherValue(const framework::CPropertyMeta& property) {
    switch (property.type) {
        case PropertyType::U8: {
            const auto& values = property.enumeration->values;
            const bool first_is_default = values.front().first == property.Format(property.default_value);
            return (first_is_default ? values.back() : values.front()).first;
        }
        case PropertyType::Ipv4:
            return "230.1.2.3";
        case PropertyType::Ipv6:
            return "ff1e::99";
        case PropertyType::Double:
            return "0.1";
        default:
            return "77";
    }
}

TEST_F(WizardTest, SettingsOfTheCommandAreThoseOfTheTest) {
    auto& finish = scene.Make("IptvWizardFinishCommand", project.Root(), {{"Name", "Finish"}});
    ASSERT_EQ(Configs(project).size(), 1u) << "the first change of all makes one";
    finish.Set("TestName", "Evening");
    const CScriptable& config = *Configs(project).front();
    EXPECT_EQ(config.Get("TestName"), "Evening");

    const auto& settings = finish.GetMetaClass()->GetDefinition().own_properties;
    EXPECT_EQ(settings.size(), 15u);
    for (const auto& setting : settings) {
        const auto* same = config.GetMetaClass()->FindProperty(setting.name);
        ASSERT_TRUE(same) << setting.name;
        const std::string value = AnotherValue(setting);
        // Without any setting the test is the same with and without the command.
        EXPECT_EQ(setting.Format(setting.default_value), same->Format(same->default_value)) << setting.name;
        EXPECT_NE(value, setting.Format(setting.default_value)) << setting.name;
        finish.Set(setting.name.c_str(), value);
        EXPECT_EQ(config.Get(setting.name.c_str()), value) << setting.name;
    }
    EXPECT_EQ(Configs(project).size(), 1u);
}

TEST_F(WizardTest, ANewCommandShowsTheSettingsOfTheTest) {
    CScriptable& config = scene.Config();
    const auto& settings =
        framework::CMetaClassManager::Instance().GetClass("IptvWizardFinishCommand")->GetDefinition();
    for (const auto& setting : settings.own_properties)
        config.Set(setting.name.c_str(), AnotherValue(setting));
    const std::string before = DescribeProjectAndSequence();
    auto& finish = scene.Make("IptvWizardFinishCommand", project.Root());
    for (const auto& setting : settings.own_properties)
        EXPECT_EQ(finish.Get(setting.name.c_str()), AnotherValue(setting)) << setting.name;
    finish.Set("TestEnv", "TESTING");
    EXPECT_EQ(config.Get("TestEnv"), "TESTING") << "a default that is a change";
    config.Set("TestEnv", finish.GetMetaClass()->FindProperty("TestEnv")->enumeration->values.back().first);
    finish.Delete();
    EXPECT_EQ(DescribeProjectAndSequence(), before);
}

TEST_F(WizardTest, ATrafficHostIsListedAsOftenAsItIsSet) {
    auto& sources = scene.MakeSources(scene.MakePort("P"));
    for (const char* host : {"7", "9", "0", "7"}) sources.Set("TrafHost", host);
    EXPECT_EQ(std::as_const(sources).GetTrafHostList(), (std::vector<std::uint32_t>{7, 9, 7}));
}

TEST_F(WizardTest, ChannelsShareTheRateOfAPreset) {
    auto& sources = scene.MakeSources(scene.MakePort("P"));
    const struct {
        const char* preset;
        std::uint32_t channels;
        double rate;
    } cases[] = {
        {"MBPS_1_5", 2, 0.75}, {"MBPS_2", 4, 0.5}, {"MBPS_2_5", 4, 0.625}, {"MBPS_3", 4, 0.75},
        {"MBPS_4", 32, 0.125}, {"MBPS_8", 1, 8},   {"MBPS_8", 0, 99},      {"CUSTOM", 4, 99},
    };
    for (const auto& wanted : cases) {
        sources.Set("ChannelRatePreset", "CUSTOM");
        sources.Set(ids::IptvWizardMcastSources::NumOfChannels, wanted.channels);
        sources.SetChannelRate(99);
        sources.Set("ChannelRatePreset", wanted.preset);
        EXPECT_EQ(sources.GetDouble(ids::IptvWizardMcastSources::ChannelRate), wanted.rate)
            << wanted.preset << " for " << wanted.channels;
    }
}

}  // namespace
