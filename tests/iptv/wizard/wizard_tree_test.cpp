// What the wizard makes of a few objects: the whole project and the sequence, as texts in the folder trees.
// To renew them after a wanted change, run these tests with ORV_RENEW_GOLDEN=1.
#include <cstdlib>
#include <fstream>

#include "orv/framework/validation.h"
#include "wizard/wizard_fixture.h"

namespace {

using namespace wizard_test;  // NOLINT: a test

/// Hosts that need addresses and sessions first, and traffic from two devices.
void BuildIpv4Testing(WizardScene& s) {
    auto &head_end = s.MakePort("Head end"), &viewers = s.MakePort("Viewers");
    auto& plain = s.MakeDevice(&head_end, "Plain");
    auto& tagged = s.MakeDevice(&head_end, "Tagged", {.vlans = 2, .pppoe = true});
    auto& homes = s.MakeDevice(&viewers, "Homes");
    homes.Set(ids::EmulatedDevice::DeviceCount, 10u);
    s.Make("Dhcpv4BlockConfig", homes, "Name DHCP");
    s.Make("PppoeClientBlockConfig", tagged, "Name PPPoE");
    s.Make("PppoaClientBlockConfig", tagged, "Name \"not asked\"");
    SetAll(s.Config(), "SaveResultsPerIteration true");
    auto& sources = s.MakeSources(head_end, "ChannelName News");
    sources.GetTrafHostList() = {tagged.GetHandle(), plain.GetHandle(), tagged.GetHandle()};
    s.MakeBoxes(homes);
}

/// A source filter of a device, another device for the set-top boxes, and protocols switched off.
void BuildIpv6Testing(WizardScene& s) {
    auto& port = s.MakePort("Both");
    auto& server = s.MakeDevice(&port, "Server", {.ipv6 = true});
    auto& homes = s.MakeDevice(&port, "Homes", {.ipv6 = true});
    s.Make("Dhcpv4BlockConfig", homes, "LocalActive false");
    s.Make("Dhcpv6PdBlockConfig", homes, "Name Prefix");
    SetAll(s.Config(), "IpVersion IPV6 GroupAddrIncrement 3 TestType VERIFICATION");
    s.MakeSources(port, "TrafHost " + Handle(server) +
                            " SourceFilterEnable true FilterMode INCLUDE SourceDevice " + Handle(server) +
                            " StartIpv6Address ff3e::10 NumOfChannels 8 ChannelRatePreset MBPS_3");
    s.MakeBoxes(homes, "ChannelRangeStart 2 ChannelRangeEnd 5 IgmpMldVersion MLD_V2");
}

/// Source addresses of a block, and no setting at its default.
void BuildIpv4RealWorld(WizardScene& s) {
    auto &network = s.MakePort("Network"), &viewers = s.MakePort("Viewers");
    auto& homes = s.MakeDevice(&viewers, "Homes");
    s.Make("PppoaClientBlockConfig", homes, "Name PPPoA");
    SetAll(s.Config(),
           "TestName Evening TestType FAST_CHANNEL_CHANGE TestEnv REAL_WORLD TestDuration 7.5 "
           "JoinFailThreshold 3 UdpPortType SOURCE UdpPort 6000 VlanSubFilter INNER DatabaseFileName "
           "evening.db StartDelayStep 20");
    auto& sources =
        s.MakeSources(network, "TrafHost " + Handle(homes) +
                                   " SourceFilterEnable true UseNetworkBlockSources true StartIpv4Address "
                                   "239.1.1.1 ChannelName Films ChannelStart 100 NumOfChannels 50");
    s.Make("Ipv4NetworkBlock", sources,
           "StartIpList \"10.1.1.1 10.2.2.2\" NetworkCount 2 AddrIncrement 5 PrefixLength 24");
    s.MakeBoxes(homes,
                "ZapBehavior ZAP_AND_VIEW ZapDirection DIR_RANDOM ZapIntervalType MTL Interval 1500 "
                "ChangesBeforeView 2 ViewDuration 9 SetTopLeaveJoinDelay 11 JoinLatencyThreshold 600 "
                "LeaveLatencyThreshold 700 InterClientStartDelayStep 12 SaveTimeStamps true IgmpMldVersion "
                "IGMP_V3 ChannelRangeStart 110 ChannelRangeEnd 120");
}

/// Two sources, and two kinds of set-top boxes on one device that also speaks IPv4.
void BuildIpv6RealWorld(WizardScene& s) {
    auto& port = s.MakePort("Port");
    auto& homes = s.MakeDevice(&port, "Homes");
    auto& ipv6 = s.Make("Ipv6If", homes, "Name v6");
    TestProject::Relate(homes, ipv6, ids::relations::TopLevelIf);
    TestProject::Relate(ipv6, s.Child(homes, "EthIIIf"), ids::relations::StackedOn);
    SetAll(s.Config(), "IpVersion IPV6 TestEnv REAL_WORLD");
    s.MakeSources(port, "ChannelName Low");
    auto& high = s.MakeSources(port,
                               "ChannelName High ChannelStart 5 StartIpv6Address ff1e::5 SourceFilterEnable "
                               "true UseNetworkBlockSources true");
    s.Make("Ipv6NetworkBlock", high, "StartIpList 2001::1 NetworkCount 3 PrefixLength 96");
    s.MakeBoxes(homes);
    s.MakeBoxes(homes, "ChannelRangeStart 5 ChannelRangeEnd 8");
}

TEST(WizardTree, IsWhatTheFileSays) {
    for (const auto& [name, build] : {std::pair{"ipv4_testing", &BuildIpv4Testing},
                                      {"ipv6_testing", &BuildIpv6Testing},
                                      {"ipv4_real_world", &BuildIpv4RealWorld},
                                      {"ipv6_real_world", &BuildIpv6RealWorld}}) {
        SCOPED_TRACE(name);
        const LogCapture log;
        TestProject project;
        WizardScene scene{project};
        build(scene);
        ASSERT_EQ(scene.Finish(), kDone);
        const std::string found = DescribeProjectAndSequence();
        const std::string path = std::string(TREES) + "/" + name + ".txt";
        if (std::getenv("ORV_RENEW_GOLDEN")) std::ofstream(path) << found;
        std::ostringstream expected;
        expected << std::ifstream(path).rdbuf();
        EXPECT_EQ(found, expected.str());

        framework::ValidationContext context;
        framework::ValidatorRegistry::Instance().ValidateTree(project.Root(), context);
        for (const auto& report : context.GetErrors())
            ADD_FAILURE() << report.object << ": " << report.message;

        // Once more, with and without an apply in between, and over what a user has added.
        for (const bool applied : {false, true}) {
            if (applied) project.Settle();
            scene.Make("IptvStbBlockConfig", scene.Child(project.Root(), "EmulatedDevice"));
            scene.Make("IptvViewingProfileConfig", project.Root());
            scene.Make("IptvStartTestCommand", project.Root());
            ASSERT_EQ(scene.Finish(), kDone);
            EXPECT_EQ(DescribeProjectAndSequence(), found);
        }
    }
}

TEST_F(WizardTest, RemovesStreamsOfEarlierGroupsButNoOtherStreams) {
    BuildIpv4Testing(scene);
    auto& port = scene.Child(project.Root(), "Port");
    const auto stream_to = [&](const std::string& name, std::vector<CScriptable*> ends) {
        auto& block = scene.Make("StreamBlock", port, "Name \"" + name + "\"");
        for (CScriptable* end : ends) project.Relate(block, *end, ids::relations::DstBinding);
    };
    auto& group = scene.Child(scene.Make("Ipv4Group", project.Root()), "Ipv4NetworkBlock");
    auto& unicast = scene.Child(scene.Child(project.Root(), "EmulatedDevice"), "Ipv4If");
    stream_to("to a group", {&group});
    stream_to("mixed", {&group, &unicast});
    stream_to("unicast", {&unicast});
    stream_to("raw", {});
    ASSERT_EQ(scene.Finish(), kDone);
    std::vector<std::string> left;
    for (const CScriptable* block : port.GetObjects("StreamBlock", common::kParentChild))
        if (!block->IsDeleted() && !block->GetName().starts_with("StreamBlock"))
            left.push_back(block->GetName());
    EXPECT_THAT(left, ElementsAre("mixed", "unicast", "raw"));
}

}  // namespace
