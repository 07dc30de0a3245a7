// What an STB block takes from around it, and how it notices that something of it changed.
#include <gtest/gtest.h>

#include <functional>

#include "orv/common/exceptions.h"
#include "orv/core/eth_ii_if.h"
#include "orv/core/pppoe_if.h"
#include "orv/core/vlan_if.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"
#include "test_project.h"
#include "thrown.h"

namespace {

using namespace orv;  // NOLINT: a test
using framework::CScriptable;
using framework::CScriptableCreator;
using iptv::CIptvStbBlockConfig;
using iptv::StbBlockValues;
using iptvcd_1_bll::ipAddress_t;
using testing_aids::Stack;
using testing_aids::TestProject;
namespace Id = ids::IptvStbBlockConfig;
namespace Vlan = ids::VlanIf;
using Version = iptvcd_1_bll::IgmpVersion;

constexpr Stack kPlain{}, kIpv6{.ipv6 = true}, kPppoe{.pppoe = true};

constexpr Stack Tagged(int vlans, bool pppoe = false) {
    return {.vlans = vlans, .pppoe = pppoe};
}

/// A block of three set-top boxes with two ranges, and what it depends on.
struct Scene {
    explicit Scene(Stack stack, bool fcc = true) : device(project.MakeDevice(&port, 3, stack)) {
        iptv::RunningTest::SetRules({.fcc_check = fcc});
    }

    core::CNetworkInterface& Layer(const char* name, int nth = 0) {
        return TestProject::LayerOf(device, name, nth);
    }
    core::CNetworkInterface& Top() { return *block.GetMcastIf(); }
    /// Puts a new layer right below IP.
    CScriptable& PutBelowTop(common::ClassId id) {
        CScriptable& layer = *CScriptableCreator().Create(id, &device);
        core::CNetworkInterface& below = *Top().GetLowerInterface();
        Top().RemoveObject(below, ids::relations::StackedOn);
        TestProject::Relate(layer, below, ids::relations::StackedOn);
        TestProject::Relate(Top(), layer, ids::relations::StackedOn);
        return layer;
    }
    void AddTag(std::uint16_t id) { PutBelowTop(core::CVlanIf::CLASS_ID()).Set(Vlan::VlanId, id); }

    TestProject project;
    core::CPort& port = project.MakePort();
    core::CEmulatedDevice& device;
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 20);
    iptv::CIptvViewedChannels& first = project.MakeRange(channels, 1, 5);
    iptv::CIptvViewedChannels& second = project.MakeRange(channels, 6, 10);
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile();
    CIptvStbBlockConfig& block = project.MakeStbBlock(device, profile, {&second, &first}, "Lounge");
};

/// Values that no scene has.
StbBlockValues NobodysValues() {
    StbBlockValues values;
    values.profile_handle = values.settop_count = values.vif_handle = 77777;
    values.has_outer_vlan = values.has_inner_vlan = 77;
    values.outer_vlan_id = values.outer_vlan_step = values.inner_vlan_id = values.inner_vlan_step = 7777;
    values.min_buffer_level = values.fcc_server_port = values.udp_source_port = 7777;
    values.udp_source_port_step = 7777;
    values.channel_handles = {77777};
    values.ppp_sessions = {7777};
    values.igmp_version = Version::MLD_VERSION2;
    values.fcc_server_address.type = 77;
    return values;
}

std::string Filled(const StbBlockValues& values) {
    return DescribeDifference(values, NobodysValues());
}

const std::string kLeadingFour = "FCC server address, FCC server port, UDP source port, UDP source port step";

TEST(StbBlockValues, AllComeFromTheirSources) {
    Scene scene(Tagged(3, true));
    scene.Layer("VlanIf", 0).Set(Vlan::VlanId, std::uint16_t{10});
    scene.Layer("VlanIf", 0).Set(Vlan::IdStep, std::int16_t{-1});
    scene.Layer("VlanIf", 1).Set(Vlan::VlanId, std::uint16_t{20});
    scene.Layer("VlanIf", 1).Set(Vlan::IdStep, std::int16_t{-32768});
    scene.Layer("VlanIf", 2).Set(Vlan::VlanId, std::uint16_t{30});
    scene.Layer("PppoeIf").Set(ids::PppoeIf::SessionId, std::uint16_t{500});
    scene.block.Set(Id::MinBufferLevel, std::uint16_t{8});
    scene.block.Set(Id::FccServerAddrV4, "192.0.2.9");
    scene.block.Set(Id::FccServerPort, std::uint16_t{6000});
    scene.block.Set(Id::UdpSourcePort, std::uint16_t{6100});
    scene.block.Set(Id::UdpSourcePortStep, std::uint16_t{2});
    core::CPort& elsewhere = scene.project.MakePort();
    for (int i = 0; i < 4; ++i) scene.Layer("EthIIIf").GetIlIfHandle(&elsewhere);
    scene.Layer("EthIIIf").GetIlIfHandle(&scene.port);  // takes the number 1 of the port

    StbBlockValues expected;
    expected.profile_handle = scene.profile.GetHandle();
    expected.settop_count = 3;
    expected.has_outer_vlan = expected.has_inner_vlan = 1;
    expected.outer_vlan_id = 10;
    expected.outer_vlan_step = 65535;
    expected.inner_vlan_id = 20;
    expected.inner_vlan_step = 32768;
    // Behind the caller's, in the order in which they were related.
    expected.channel_handles = {77777, scene.second.GetHandle(), scene.first.GetHandle()};
    expected.vif_handle = 2;
    expected.ppp_sessions = {500, 501, 502};
    expected.igmp_version = Version::IGMP_VERSION2;
    expected.min_buffer_level = 8;
    const std::uint8_t server[] = {192, 0, 2, 9};
    std::copy(std::begin(server), std::end(server), expected.fcc_server_address.v4.address);
    expected.fcc_server_port = 6000;
    expected.udp_source_port = 6100;
    expected.udp_source_port_step = 2;
    StbBlockValues values = NobodysValues();
    scene.block.GetNewValues(values);
    EXPECT_EQ(DescribeDifference(values, expected), "");
}

TEST(StbBlockValues, WhatDoesNotApplyKeepsTheCallersValue) {
    const std::string always =
        "profile handle, set-top box count, channel handles, interface handle, PPPoE session ids, group "
        "membership version, minimum buffer level";
    const struct {
        Stack stack;
        bool fcc;
        std::string filled;
    } cases[] = {
        {kPlain, false, always},
        {kPlain, true, always + ", " + kLeadingFour},
        {Tagged(1), false,
         "profile handle, set-top box count, outer VLAN present, outer VLAN id, outer VLAN id step, channel "
         "handles, interface handle, PPPoE session ids, group membership version, minimum buffer level"},
    };
    for (const auto& c : cases) {
        Scene scene(c.stack, c.fcc);
        StbBlockValues values = NobodysValues();
        scene.block.GetNewValues(values);
        EXPECT_EQ(Filled(values), c.filled);
        EXPECT_TRUE(values.ppp_sessions.empty());
    }
}

TEST(StbBlockValues, SessionsThatAreStillSoughtHoldTheRestBack) {
    using namespace ids::ResolveState;
    for (const std::uint8_t state :
         {RESOLVE_DONE, RESOLVE_NEEDED, RESOLVE_FAILED, RESOLVE_IN_PROGRESS, RESOLVE_PARTIALLY_DONE}) {
        SCOPED_TRACE(static_cast<int>(state));
        Scene scene(Tagged(1, true), false);
        scene.Layer("PppoeIf").Set(ids::PppoeIf::SessionResolveState, state);
        StbBlockValues values = NobodysValues();
        scene.block.GetNewValues(values);
        if (state == RESOLVE_NEEDED) {
            EXPECT_EQ(Filled(values),
                      "profile handle, set-top box count, interface handle, PPPoE session ids, group "
                      "membership version, minimum buffer level");
            EXPECT_TRUE(values.ppp_sessions.empty());
        } else {
            EXPECT_EQ(values.ppp_sessions, (std::vector<std::uint16_t>{1, 2, 3}));
            EXPECT_EQ(values.channel_handles.size(), 3u);
        }
    }
}

TEST(StbBlockValues, TheVersionDecidesOnTheServer) {
    using namespace ids::GroupMembershipVersion;
    const struct {
        std::uint8_t version;
        Version expected;
        bool v6;
    } cases[] = {{IGMP_V1, Version::IGMP_VERSION1, false},
                 {IGMP_V2, Version::IGMP_VERSION2, false},
                 {IGMP_V3, Version::IGMP_VERSION3, false},
                 {MLD_V1, Version::MLD_VERSION1, true},
                 {MLD_V2, Version::MLD_VERSION2, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.version));
        Scene scene(Stack{.ipv6 = c.v6});
        scene.block.Set(Id::FccServerAddrV4, "192.0.2.1");
        scene.block.Set(Id::FccServerAddrV6, "2001:db8::1");
        TestProject::McastOf(scene.device).SetVersion(c.version);
        StbBlockValues values;
        scene.block.GetNewValues(values);
        EXPECT_EQ(values.igmp_version, c.expected);
        ipAddress_t server;
        server.type = c.v6 ? ipAddress_t::kV6 : ipAddress_t::kV4;
        if (c.v6) common::CIpv6Address::FromString("2001:db8::1")->CopyTo(server.v6.address);
        if (!c.v6) common::CIpAddress::FromString("192.0.2.1")->CopyTo(server.v4.address);
        EXPECT_TRUE(values.fcc_server_address == server);
    }
}

TEST(StbBlockValues, AMissingObjectIsAnErrorThatLeavesTheRestUnfilled) {
    const common::ClassId odd_pppoe =
        testing_aids::DeclareOddClass<core::CEthIIIf>(0x7f100000, "OddPppoeIf", "PppoeIf");
    const common::ClassId odd_device =
        testing_aids::DeclareOddClass<CScriptable>(0x7f101000, "OddDevice", "EmulatedDevice");
    const std::string until_version = "group membership version, minimum buffer level, " + kLeadingFour;
    const struct {
        const char* object;
        const char* from;
        std::function<void(Scene&)> take_away;
        std::string filled;
    } cases[] = {
        {"IptvViewingProfileConfig", "IptvStbBlockConfig",
         [](Scene& s) { s.block.RemoveObject(s.profile, ids::relations::IptvProfile); }, ""},
        {"MulticastHostConfig", "IptvStbBlockConfig",
         [](Scene& s) {
             s.block.RemoveObject(TestProject::McastOf(s.device), ids::relations::MulticastParam);
         },
         "profile handle, minimum buffer level"},
        {"EmulatedDevice", "IptvStbBlockConfig",
         [&](Scene& s) {
             CScriptable& odd = *CScriptableCreator().Create(odd_device, &s.project.Root());
             TestProject::Relate(odd, s.block, common::kParentChild);
         },
         "profile handle, " + until_version},
        {"NetworkInterface", "MulticastHostConfig",
         [](Scene& s) { TestProject::McastOf(s.device).RemoveObject(s.Top(), ids::relations::UsesIf); },
         "profile handle, set-top box count, " + until_version},
        {"PppoeIf", "nvIt", [&](Scene& s) { s.PutBelowTop(odd_pppoe); },
         "profile handle, set-top box count, interface handle, PPPoE session ids, " + until_version},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.object);
        Scene scene(Tagged(1));
        c.take_away(scene);
        testing_aids::LogCapture log;
        StbBlockValues values = NobodysValues();
        EXPECT_EQ(testing_aids::ThrownBy<common::COrvRunTimeError>([&] { scene.block.GetNewValues(values); }),
                  " BAD OBJECT ERROR: Error accessing Config Objects. " + std::string(c.object) +
                      " associated with Lounge");
        EXPECT_EQ(log.Take().at(0),
                  "content.mulvane.iptv Error: BAD OBJECT ERROR: Internal Error. Failed to get object " +
                      std::string(c.object) + " from " + c.from +
                      " in CIptvPortConfig::OnApplyStbBlockUpdate");
        EXPECT_EQ(Filled(values), c.filled);
    }
}

struct Change {
    std::string differing;
    Stack stack;
    std::function<void(Scene&)> make;
    bool fcc = true;
};

template <class T>
std::function<void(Scene&)> SetOnBlock(common::PropId id, T value) {
    return [=](Scene& s) { s.block.Set(id, value); };
}

template <class T>
std::function<void(Scene&)> SetOnLayer(const char* layer, int nth, common::PropId id, T value) {
    return [=](Scene& s) { s.Layer(layer, nth).Set(id, value); };
}

const Change kChanges[] = {
    {"profile handle", kPlain,
     [](Scene& s) { s.block.SetObjects({&s.project.MakeProfile()}, ids::relations::IptvProfile); }},
    {"set-top box count", kPlain,
     [](Scene& s) { s.device.Set(ids::EmulatedDevice::DeviceCount, std::uint32_t{4}); }},
    {"outer VLAN present", kPlain, [](Scene& s) { s.AddTag(0); }},
    {"outer VLAN id", Tagged(2), SetOnLayer("VlanIf", 0, Vlan::VlanId, std::uint16_t{7})},
    {"outer VLAN id step", Tagged(2), SetOnLayer("VlanIf", 0, Vlan::IdStep, std::int16_t{-1})},
    {"channel handles", kPlain,
     [](Scene& s) {
         TestProject::Relate(s.block, s.project.MakeRange(s.channels, 11, 15), ids::relations::StbChannel);
     }},
    {"channel handles", kPlain,  // another order
     [](Scene& s) {
         s.block.RemoveObject(s.second, ids::relations::StbChannel);
         TestProject::Relate(s.block, s.second, ids::relations::StbChannel);
     }},
    {"interface handle", kPlain,
     [](Scene& s) { s.Top().Set(ids::EmulatedIf::IlMembership, ids::IlMembership::EXCLUDED); }},
    {"PPPoE session ids", kPppoe, SetOnLayer("PppoeIf", 0, ids::PppoeIf::SessionIdStep, std::int16_t{2})},
    {"inner VLAN present", Tagged(1), [](Scene& s) { s.AddTag(0); }},
    {"inner VLAN id", Tagged(2), SetOnLayer("VlanIf", 1, Vlan::VlanId, std::uint16_t{7})},
    {"inner VLAN id step", Tagged(2), SetOnLayer("VlanIf", 1, Vlan::IdStep, std::int16_t{1})},
    {"group membership version", kPlain,
     [](Scene& s) { TestProject::McastOf(s.device).SetVersion(ids::GroupMembershipVersion::IGMP_V3); }},
    {"minimum buffer level", kPlain, SetOnBlock(Id::MinBufferLevel, std::uint16_t{9})},
    {"FCC server address", kPlain, SetOnBlock(Id::FccServerAddrV4, "192.0.2.1")},
    {"FCC server address", kIpv6, SetOnBlock(Id::FccServerAddrV6, "::1")},
    {"FCC server port", kPlain, SetOnBlock(Id::FccServerPort, std::uint16_t{9})},
    {"UDP source port", kPlain, SetOnBlock(Id::UdpSourcePort, std::uint16_t{9})},
    {"UDP source port step", kPlain, SetOnBlock(Id::UdpSourcePortStep, std::uint16_t{9})},
    {"set-top box count, PPPoE session ids", kPppoe,
     [](Scene& s) { s.device.Set(ids::EmulatedDevice::DeviceCount, std::uint32_t{4}); }},
    // Of no interest to a port, or sent in another way.
    {"", kIpv6, SetOnBlock(Id::FccServerAddrV4, "192.0.2.1")},
    {"", kPlain, SetOnBlock(Id::UdpSourcePort, std::uint16_t{9}), false},
    {"", Tagged(3), SetOnLayer("VlanIf", 2, Vlan::VlanId, std::uint16_t{7})},
    {"", kPlain, SetOnBlock(Id::SaveTimeStamps, true)},
};

TEST(StbBlockValues, AChangedValueIsNamedUntilItCountsAsSent) {
    for (const Change& change : kChanges) {
        SCOPED_TRACE(change.differing);
        Scene scene(change.stack, change.fcc);
        EXPECT_TRUE(scene.block.CheckIfAnyRelatedObjectsAreDirty(true)) << "never sent";
        EXPECT_FALSE(scene.block.CheckIfAnyRelatedObjectsAreDirty(true));
        const StbBlockValues sent = scene.block.GetNewValuesForApply();
        change.make(scene);

        const bool differs = !change.differing.empty();
        std::vector<std::string> trace;
        if (differs) {
            trace.push_back(
                "content.mulvane.iptv Debug:  CIptvStbBlockConfig::CheckIfAnyRelatedObjectsAreDirty() for "
                "Lounge. Things are dirty (" +
                change.differing + ")");
        }
        testing_aids::LogCapture log;
        for (const bool update : {false, false, true}) {
            EXPECT_EQ(scene.block.CheckIfAnyRelatedObjectsAreDirty(update), differs);
            EXPECT_EQ(log.Take(), trace);
            const StbBlockValues& applied = scene.block.GetNewValuesForApply();
            EXPECT_EQ(DescribeDifference(applied, sent), update ? change.differing : "");
        }
        EXPECT_FALSE(scene.block.CheckIfAnyRelatedObjectsAreDirty(true));
        EXPECT_EQ(log.Take(), std::vector<std::string>{});
    }
}

}  // namespace
