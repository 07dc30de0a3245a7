// What keeps a test from being started, and which blocks it has.
#include <algorithm>

#include "control/IptvStartTestCommand.h"
#include "orv/core/orv_system.h"
#include "orv/framework/validation.h"
#include "start_test_fixture.h"

namespace testing_aids {
namespace {

using iptv::CIptvStartTestCommand;
using iptv::CIptvStbBlockConfig;
using iptv::StbPortMap;
using Texts = std::vector<std::string>;
using S = StartScene;

const std::string kPrefix = "Error in IptvStartTestCommand: ";
const std::string kRrrEnv =
    kPrefix + "RTP Reliable Retransmission Test does not support running in Test Environment mode";
const std::string kRrrSbit =
    kPrefix + "RTP Reliable Retransmission Test does not support running with S-bit + Delay Join Trigger";
const std::string kRrrMulticast =
    kPrefix + "RTP Reliable Retransmission Test does not support running with Multicast + Delay Join Trigger";
const std::string kFccRrrEnv = kPrefix +
                               "Fast Channel Change With RTP Reliable Retransmission Test must be run in "
                               "Test Environment mode";
const std::string kFccRrrTriggers =
    "UnicastLeaveTrigger and MulticastJoinTrigger must be UNICAST_JOIN_AND_DELAY when using FCC_WITH_RRR "
    "test "
    "type.";
const std::string kChannels = kPrefix +
                              "For a channel zapping test, the number of channels viewed by a STB must be a "
                              "multiple of 4. Boxes (Hosts) does not satisfy this requirement.";
const std::string kProtocol =
    kPrefix +
    "For an IPTV test, the IGMP protocol must be active for every device block. Boxes (Hosts) does not "
    "satisfy this requirement.";
const std::string kAtm =
    "FAST_CHANNEL_CHANGE_TEST, RELIABLE_RETRANSMISSION_TEST, and FCC_WITH_RRR_TEST test types are not "
    "compatible with ATM ports.";
const std::string kNoBlock = kPrefix + "At least 1 Block of STBs needs to be chosen to run a test";
const std::string kDuplicateV4 = kPrefix + "Duplicate Device IPv4 addresses were detected on Port 1.";
const std::string kDuplicateV6 =
    kPrefix + "Duplicate Device IPv6 Link Local addresses were detected on Port 1.";
const std::string kShaping = "Port level IGMP/MLD join/leave shaping could cause problems for IPTV tests.";
const std::string kShared =
    "IPTV Channel Zapping test is inappropriate for multiple hosts on the same layer 2 interface.";

struct Case {
    std::string what;
    std::function<void(S&)> change;
    Texts errors = {};
    Texts warnings = {};  ///< also on the user log
    std::string status = {};
    bool silent_failure = false;  ///< refused without an error
};

/// A rule of the command as a whole: its text is the status too.
Case Refused(std::string what, std::function<void(S&)> change, const std::string& error) {
    return {std::move(what), std::move(change), {error}, {}, error};
}

void Check(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        S scene;
        c.change(scene);
        framework::CBaseValidationContext context;
        LogCapture log;
        EXPECT_EQ(scene.command.Validate(context), c.errors.empty() && !c.silent_failure);
        const auto texts = [](const std::vector<framework::ValidationReport>& reports) {
            Texts found;
            for (const auto& report : reports) {
                found.push_back(report.message);
                EXPECT_THAT(report.source, testing::MatchesRegex(".*\\.cpp[0-9]+"));
            }
            return found;
        };
        EXPECT_EQ(texts(context.GetErrors()), c.errors);
        EXPECT_EQ(texts(context.GetWarnings()), c.warnings);
        EXPECT_EQ(scene.command.GetStatus(), c.status);
        EXPECT_EQ(LinesOf(log.Take(), "user.iptv Warn: "), c.warnings);
        // The caller gets the error, also after warnings.
        if (!c.errors.empty()) {
            EXPECT_EQ(ThrownBy([&] { scene.command.Execute(false); }), c.errors.front());
        }
    }
}

/// Two blocks on one port that have the same address.
void AddTwin(S& s) {
    s.AddBoxes(&s.port, "Twin", {}, "192.85.1.3");
}
void ShapePort(S& s) {
    s.port.GetObject("MulticastPortConfig", common::kParentChild)->Set("RatePps", "10");
}

TEST(StartTestValidation, TheTestTypeGoesWithEnvironmentAndTriggers) {
    constexpr int kRrr = TestType::RELIABLE_RETRANSMISSION;
    constexpr int kBoth = TestType::FCC_WITH_RRR;
    const struct {
        int type, env, join, leave;
        std::string error;
    } rows[] = {
        {kRrr, kTesting, 0, 0, kRrrEnv},
        {kRrr, kTesting, 1, 1, kRrrEnv},
        {kRrr, kRealWorld, 1, 0, kRrrSbit},
        {kRrr, kRealWorld, 1, 1, kRrrSbit},
        {kRrr, kRealWorld, 0, 1, kRrrMulticast},
        {kRrr, kRealWorld, 0, 0, ""},
        {kBoth, kRealWorld, 0, 0, kFccRrrEnv},
        {kBoth, kRealWorld, 1, 1, kFccRrrEnv},
        {kBoth, kTesting, 1, 0, kFccRrrTriggers},
        {kBoth, kTesting, 0, 1, kFccRrrTriggers},
        {kBoth, kTesting, 0, 0, ""},
        {TestType::ZAPPING, kTesting, 1, 1, ""},
        {TestType::VERIFICATION, kRealWorld, 1, 1, ""},
        {TestType::FAST_CHANNEL_CHANGE, kTesting, 1, 1, ""},
        {TestType::FAST_CHANNEL_CHANGE, kRealWorld, 1, 1, ""},
    };
    for (const auto& row : rows) {
        const auto choose = [&row](S& s) { s.Choose(row.type, row.env, row.join, row.leave); };
        Case c{std::to_string(row.type) + " in " + std::to_string(row.env) + " with triggers " +
                   std::to_string(row.join) + " and " + std::to_string(row.leave),
               choose};
        if (!row.error.empty()) c.errors = {row.error};
        if (row.error != kFccRrrTriggers) c.status = row.error;
        Check({c});
    }
}

TEST(StartTestValidation, TheTestTypeSaysWhatOtherValidatorsCheck) {
    for (int type = TestType::ZAPPING; type <= TestType::FCC_WITH_RRR; ++type) {
        for (const int leave : {0, 1}) {
            if (leave == 1 && type > TestType::FAST_CHANNEL_CHANGE) continue;  // refused before
            SCOPED_TRACE(std::to_string(type) + " with leave trigger " + std::to_string(leave));
            S scene;
            const bool uses_server = type >= TestType::FAST_CHANNEL_CHANGE;
            iptv::RunningTest::SetRules(
                {.fcc_check = !uses_server, .trigger_delay_check = !(uses_server && leave == 0)});
            scene.Choose(type, type == TestType::RELIABLE_RETRANSMISSION ? kRealWorld : kTesting, 0, leave);
            framework::CBaseValidationContext context;
            EXPECT_TRUE(scene.command.Validate(context));
            EXPECT_EQ(CIptvStbBlockConfig::m_bFccCheck, uses_server);
            EXPECT_EQ(iptv::CIptvViewingProfileConfig::m_bTriggerDelayCheck, uses_server && leave == 0);
        }
    }
}

TEST(StartTestValidation, BlocksAreFitForTheTest) {
    const auto fcc = [](S& s) { s.Choose(TestType::FAST_CHANNEL_CHANGE, kTesting); };
    const auto six_channels = [](S& s) { s.View(1, 6); };
    const auto protocol_off = [](S& s) { S::SwitchOff(S::ProtocolOf(s.block)); };
    const auto block_off = [](S& s) { S::SwitchOff(s.block); };
    const auto on_atm = [](S& s) { S::PutOnAtm(s.device, 2); };
    Check({
        {"valid", [](S&) {}},
        {"6 channels", six_channels, {kChannels}},
        {"8 channels", [](S& s) { s.View(1, 8); }},
        {"2 and 6 channels",
         [](S& s) {
             s.View(1, 2);
             TestProject::Relate(s.block, s.project.MakeRange(s.channels, 11, 16), relations::StbChannel);
         }},
        {"every second of 8 channels: the step makes no difference",
         [](S& s) {
             s.View(1, 8);
             s.range.Set(ids::IptvViewedChannels::ChannelRangeStep, 4u);
         }},
        {"6 channels in another test", [&](S& s) { fcc(s), six_channels(s); }},
        Refused(
            "6 channels of a block that is off", [&](S& s) { six_channels(s), block_off(s); }, kNoBlock),
        {"protocol off", protocol_off, {kProtocol}},
        {"protocol and block off", [&](S& s) { protocol_off(s), block_off(s); }, {kProtocol}},
        {"channels before protocol", [&](S& s) { six_channels(s), protocol_off(s); }, {kChannels}},
        {"protocol before ATM", [&](S& s) { fcc(s), on_atm(s), protocol_off(s); }, {kProtocol}},
        {"zapping on ATM", on_atm},
        Refused(
            "FCC on ATM", [&](S& s) { fcc(s), on_atm(s); }, kAtm),
        Refused(
            "ATM before activity", [&](S& s) { fcc(s), on_atm(s), block_off(s); }, kAtm),
        Refused("block off", block_off, kNoBlock),
        Refused(
            "only a block that is being deleted",
            [](S& s) {
                s.List({&s.block});
                s.block.MarkDelete(true, true);
            },
            kNoBlock),
        Refused(
            "the test type comes first",
            [&](S& s) {
                s.Choose(TestType::RELIABLE_RETRANSMISSION, kTesting);
                protocol_off(s);
            },
            kRrrEnv),
        {"a block without protocol ends the walk",
         [](S& s) {
             CIptvStbBlockConfig& later = s.AddBoxes(&s.port, "Later", {.vlans = 1});
             S::SwitchOff(S::ProtocolOf(later));
             S::TakeProtocol(s.block);
         }},
        Refused(
            "and those after it do not count",
            [&](S& s) {
                s.AddBoxes(&s.port, "Later");
                S::TakeProtocol(s.block);
                block_off(s);
            },
            kNoBlock),
    });
    // A device that is none to the program has no name that could be told.
    Check({{"odd device",
            [&](S& s) {
                CScriptable& odd = S::MakeOdd(0x7f120000, "EmulatedDevice", s.project.Root());
                TestProject::Relate(odd, s.block, common::kParentChild);
                six_channels(s);
            },
            {},
            {},
            "",
            true}});
}

TEST(StartTestValidation, TheLinkLayersOfAllBlocksAreNoted) {
    const auto check = [](S& s, bool atm, bool ethernet, int encapsulation) {
        framework::CBaseValidationContext context;
        EXPECT_TRUE(s.command.Validate(context));
        const iptv::LinkLayers expected{atm, ethernet, static_cast<std::uint8_t>(encapsulation)};
        EXPECT_EQ(s.command.GetLinkLayers(), expected);
    };
    S scene;
    const LogCapture log;
    check(scene, false, true, 1);
    S::PutOnAtm(scene.device, 2);
    check(scene, true, true, 2);
    TestProject::McastOf(scene.device).RemoveObject(*scene.block.GetMcastIf(), relations::UsesIf);
    check(scene, false, false, 1);
    // The first block that has both settles it.
    S::PutOnAtm(S::DeviceOf(scene.AddBoxes(&scene.port, "More")), 1);
    S::PutOnAtm(S::DeviceOf(scene.AddBoxes(&scene.port, "Most", {}, "10.0.0.78")), 2);
    check(scene, true, true, 1);
}

TEST(StartTestValidation, HostsOfAPortHaveAddressesOfTheirOwn) {
    // Two devices on the port, with two tags each, and what makes them alike or different.
    const auto pair = [](bool ipv6, const char* address, std::uint16_t outer, std::uint16_t inner) {
        return [=](S& s) {
            s.Choose(TestType::VERIFICATION, kTesting);
            for (const bool second : {false, true}) {
                const auto& hosts =
                    S::HostsOf(s.AddBoxes(&s.port, second ? "B" : "A", {.ipv6 = ipv6, .vlans = 2}, address));
                S::SetVlan(hosts, 0, second ? outer : 100);
                S::SetVlan(hosts, 1, second ? inner : 200);
            }
        };
    };
    const auto client = [](const char* class_name, bool active = true) {
        return [=](S& s) {
            AddTwin(s);
            CScriptable& config = S::AddChild(s.device, class_name);
            if (!active) S::SwitchOff(config);
        };
    };
    Check({
        {"same address", AddTwin, {kDuplicateV4}},
        {"same tags", pair(false, "10.0.0.1", 100, 200), {kDuplicateV4}},
        {"another outer tag", pair(false, "10.0.0.1", 101, 200)},
        {"another inner tag", pair(false, "10.0.0.1", 100, 201)},
        {"tags the other way round", pair(false, "10.0.0.1", 200, 100)},
        {"link-local", pair(true, "fe80::1", 100, 200), {kDuplicateV6}},
        {"link-local, another tag", pair(true, "fe80::1", 100, 201)},
        {"global IPv6", pair(true, "2000::1", 100, 200)},
        {"another port", [](S& s) { s.AddBoxes(&s.project.MakePort("Port 2"), "Far", {}, "192.85.1.3"); }},
        {"two hosts of one device",
         [](S& s) {
             s.device.Set(ids::EmulatedDevice::DeviceCount, 2u);
             TestProject::LayerOf(s.device, "Ipv4If").Set("AddrStep", "0.0.0.0");
         },
         {kDuplicateV4}},
        {"DHCP", client("Dhcpv4BlockConfig"), {}, {kShared}, kShared},
        {"DHCP for IPv6", client("Dhcpv6BlockConfig"), {}, {kShared}, kShared},
        {"PPPoE", client("PppoeClientBlockConfig")},
        {"DHCP that is off", client("Dhcpv4BlockConfig", false), {kDuplicateV4}},
        {"a block that is off", [](S& s) { AddTwin(s), S::SwitchOff(s.block); }},
        {"no interface",
         [](S& s) {
             AddTwin(s);
             TestProject::McastOf(s.device).RemoveObject(*s.block.GetMcastIf(), relations::UsesIf);
         }},
    });
}

TEST(StartTestValidation, VlanIdsAreListedFromTheOutermost) {
    S s;
    const auto& hosts = s.MakeHosts(&s.port, "Tagged", {.vlans = 2});
    S::SetVlan(hosts, 0, 100);
    S::SetVlan(hosts, 1, 200);
    std::vector<core::CNetworkInterface*> stack;
    TestProject::LayerOf(hosts, "Ipv4If").GetNetworkInterfaceStack(stack);
    std::reverse(stack.begin(), stack.end());
    EXPECT_EQ(CIptvStartTestCommand::GetVlanIds(stack), "100/200/");
    EXPECT_EQ(CIptvStartTestCommand::GetVlanIds({stack.front()}), "");
}

TEST(StartTestValidation, WarningsLetTheTestStart) {
    const auto shape = [](const char* property, const char* value) {
        return [=](S& s) {
            s.port.GetObject("MulticastPortConfig", common::kParentChild)->Set(property, value);
        };
    };
    const auto zap_on_shared_vlan = [](S& s) { s.AddBoxes(&s.port, "More"); };
    const auto both = [&](S& s) { ShapePort(s), zap_on_shared_vlan(s); };
    const auto vlan_apart = [](S& s) { s.AddBoxes(&s.port, "Apart", {.vlans = 1}); };
    Check({
        {"rate", shape("RatePps", "10"), {}, {kShaping}, kShaping},
        {"burst", shape("MaxBurst", "10"), {}, {kShaping}, kShaping},
        {"once per port",
         [&](S& s) { shape("RatePps", "10")(s), shape("MaxBurst", "10")(s), vlan_apart(s); },
         {},
         {kShaping},
         kShaping},
        {"a shaped port without blocks",
         [](S& s) {
             ShapePort(s);
             s.List({&s.AddBoxes(&s.project.MakePort("Port 2"), "Far")});
         }},
        {"no port configuration",
         [](S& s) { s.port.GetObject("MulticastPortConfig", common::kParentChild)->Delete(); }},
        {"hosts on one layer 2 interface", zap_on_shared_vlan, {}, {kShared}, kShared},
        {"both", both, {}, {kShaping, kShared}, kShared},
        {"another tag", vlan_apart},
        {"another port", [](S& s) { s.AddBoxes(&s.project.MakePort("Port 2"), "Far"); }},
        {"another test",
         [&](S& s) {
             s.Choose(TestType::VERIFICATION, kTesting);
             zap_on_shared_vlan(s);
         }},
        {"an error after a warning is the reason of the failure",
         [](S& s) { ShapePort(s), AddTwin(s); },
         {kDuplicateV4},
         {kShaping},
         kShaping},
    });
}

TEST(StartTestBlocks, AreListedOnceInTheirOrder) {
    S s;
    CIptvStbBlockConfig& second = s.AddBoxes(&s.port, "Second");
    CIptvStbBlockConfig& third = s.AddBoxes(&s.port, "Third");
    S::SwitchOff(third);
    // Six channels for one block at a time: the one that is named is the first of the list.
    s.View(1, 6);
    const struct {
        std::vector<const CScriptable*> list;
        const CScriptable* first;
    } rows[] = {{{&s.project.Root()}, &s.block},
                {{&second, &s.block}, &second},
                {{&third, &S::DeviceOf(second), &s.block}, &second},
                {{&third}, nullptr}};
    for (const auto& row : rows) {
        s.List(row.list);
        std::uint32_t found = 0;
        EXPECT_EQ(s.command.CheckZappingTestRestrictionOnChannels(found), row.first == nullptr);
        EXPECT_EQ(found, row.first ? row.first->GetHandle() : 0u);
    }
}

TEST(StartTestBlocks, AreSortedByPort) {
    S s;
    core::CPort& second_port = s.project.MakePort("Port 2");
    core::CPort& old_port = s.project.MakePort("Port 3");
    CIptvStbBlockConfig& far = s.AddBoxes(&second_port, "Far");
    CIptvStbBlockConfig& near = s.AddBoxes(&s.port, "Near");
    CIptvStbBlockConfig& off = s.AddBoxes(&s.port, "Off");
    CIptvStbBlockConfig& nowhere = s.AddBoxes(nullptr, "Nowhere");
    CIptvStbBlockConfig& odd = s.AddBoxes(&s.port, "Odd");
    CIptvStbBlockConfig& doomed = s.AddBoxes(&s.port, "Doomed");
    S::SwitchOff(off);
    TestProject::Relate(S::MakeOdd(0x7f120000, "EmulatedDevice", s.project.Root()), odd,
                        common::kParentChild);
    doomed.MarkDelete(true, true);
    second_port.Set(ids::Port::Online, false);

    const std::vector<std::uint32_t> handles{
        near.GetHandle(),   far.GetHandle(),    off.GetHandle(),    nowhere.GetHandle(),
        odd.GetHandle(),    doomed.GetHandle(), s.port.GetHandle(), 0,
        s.block.GetHandle()};
    const std::vector<std::uint32_t> here{near.GetHandle(), s.block.GetHandle()};
    const StbPortMap online{{s.port.GetHandle(), here}, {old_port.GetHandle(), {}}};
    StbPortMap all = online;
    all[second_port.GetHandle()] = {far.GetHandle()};

    const auto sort = [&](bool online_only) {
        StbPortMap map{{old_port.GetHandle(), {4711}}};
        CIptvStartTestCommand::CreateStbMap(map, handles, online_only);
        return map;
    };
    LogCapture log;
    EXPECT_EQ(sort(true), online);
    const std::string failed = "BAD OBJECT ERROR: Internal Error. Failed to get object ";
    const std::string where = " in CIptvStartTestCommand::CreateStbMap";
    EXPECT_EQ(LinesOf(log.Take(), "content.mulvane.iptv Error: "),
              (Texts{failed + "Port from EmulatedDevice" + where,
                     failed + "EmulatedDevice from IptvStbBlockConfig" + where}));
    EXPECT_EQ(sort(false), all);
    core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, true);
    EXPECT_EQ(sort(true), all);
}

}  // namespace
}  // namespace testing_aids
