// What live ports get of a test file: interface stacks, and the streams that their generators send.
#include <fmt/ranges.h>
#include <stdexcept>

#include "app/good_file.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"
#include "orv/framework/logger.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/core_ids.h"
#include "orv/il/simulated_port.h"
#include "orv/live/stream_packet.h"
#include "run/interface_stacks.h"
#include "run/port_link.h"
#include "run/stream_plan.h"
#include "run/task_timeline.h"
#include "thrown.h"

namespace {

using namespace orv;  // NOLINT: a test
using IFSETUP_1_bll::InterfaceTypeList_t, testing::HasSubstr;

/// Projects made of test files.
struct LiveProjectTest : test_file_test::TestFileTest {
    LiveProjectTest() { framework::BLLLoggerFactory::GetInstance().SetConsole(false); }

    /// Makes the objects, which stand below "project:".
    void Build(const std::string& objects) {
        core::CProject& project = host_.NewProject();
        const auto file = Parse("project:\n" + objects);
        ASSERT_EQ(Join(file.GetMistakes()), "");
        ASSERT_EQ(Join(file.Build(project, framework::CSequencer::Instance()).mistakes), "");
    }

    core::CPort& PortOf(const std::string& name) { return Find<core::CPort>(host_.GetProject(), name); }

    template <class T>
    static T& Find(const framework::CScriptable& parent, const std::string& name) {
        framework::ScriptableVec objects;
        parent.GetObjects(objects, T::CLASS_ID(), common::kParentChild);
        for (auto* object : objects) {
            if (object->GetName() == name) return dynamic_cast<T&>(*object);
        }
        throw std::runtime_error("there is no " + name);
    }
};

struct InterfaceStacksTest : LiveProjectTest {
    /// A line for each stack: layers from above, each with the entries of its list.
    std::string Describe(const std::string& port) {
        std::string text;
        const app::InterfaceStacks stacks = app::MakeInterfaceStacks(PortOf(port));
        EXPECT_EQ(stacks.handles.size(), stacks.stacks.size());
        for (std::size_t i = 0; i < stacks.stacks.size(); ++i) {
            const auto& stack = stacks.stacks[i];
            text += fmt::format("{}:", stacks.handles[i]);
            for (const auto& layer : stack.ifDescriptors) text += " " + DescribeLayer(stack, layer);
            text += "\n";
        }
        return text;
    }

    static std::string DescribeLayer(const IFSETUP_1_bll::NetworkInterfaceStack_s& stack,
                                     const IFSETUP_1_bll::NetworkInterfaceDescriptor_s& layer) {
        // The values of all hosts, of which the record holds the first, too.
        const auto describe = [](const std::string& name, const auto& record, const auto& first,
                                 const auto& list, const auto& to_text) {
            std::vector<std::string> values;
            for (const auto& value : list) values.push_back(to_text(value));
            EXPECT_EQ(values.at(0), to_text(first));
            EXPECT_EQ(values.size(), record.NetworkInterface.TotalCount) << name;
            return fmt::format("{} [{}]", name, fmt::join(values, " "));
        };
        using enum InterfaceTypeList_t;
        const auto at = layer.indexInList;
        const auto describe_ip = [&]<class Address>(int version, const auto& ip, Address*) {
            return describe(fmt::format("IPv{}/{}", version, ip.PrefixLength), ip, ip.Address, ip.AddrList,
                            [](const auto& one) { return Address(one.address).ToString(); });
        };
        if (layer.ifType == IPv4)
            return describe_ip(4, stack.Ipv4InterfaceList.at(at), static_cast<common::CIpAddress*>(nullptr));
        if (layer.ifType == IPv6)
            return describe_ip(6, stack.Ipv6InterfaceList.at(at),
                               static_cast<common::CIpv6Address*>(nullptr));
        if (layer.ifType == VLAN) {
            const auto& tag = stack.VlanInterfaceList.at(at);
            return describe(fmt::format("VLAN {:x} {} {}", tag.Tpid, tag.Priority, tag.Cfi), tag, tag.VlanId,
                            tag.IdList, [](auto id) { return std::to_string(id); });
        }
        if (layer.ifType != ETHII) return layer.ifType == PPP ? "PPP" : "PPPoE";
        const auto& link = stack.EthIIInterfaceList.at(at);
        return describe("MAC", link, link.SourceMac, link.SrcMacList, [](const auto& mac) {
            return common::CMacAddress(mac.address.data()).ToString().substr(12);
        });
    }
};

TEST_F(InterfaceStacksTest, HaveAnEntryForEachHost) {
    const auto expect = [&](const char* layers, const char* expected) {
        SCOPED_TRACE(layers);
        Build(fmt::format(
            "  - Port: P\n  - {{EmulatedDevice: D, DeviceCount: 3, AffiliationPort: P, children: [{}]}}\n",
            layers));
        EXPECT_EQ(Describe("P"), expected);
    };
    expect(
        "{EthIIIf: E, SourceMac: 00:10:94:00:00:fe, SrcMacStep: 00:00:00:00:00:02}, {Ipv4If: , Address: "
        "10.0.0.255, PrefixLength: 16, StackedOn: E}",
        "1: IPv4/16 [10.0.0.255 10.0.1.0 10.0.1.1] MAC [00:fe 01:00 01:02]\n");
    // Lists, and values that hosts share.
    expect(
        "{EthIIIf: E, SrcMacRepeatCount: 2}, {VlanIf: V, IdList: [7, 9, 8], Priority: 3, StackedOn: E}, "
        "{Ipv4If: , AddrList: [10.0.0.5, 10.0.0.7, 10.0.0.6], StackedOn: V}",
        "1: IPv4/24 [10.0.0.5 10.0.0.7 10.0.0.6] VLAN 8100 3 0 [7 9 8] MAC [00:01 00:01 00:02]\n");
    // Two tags, the inner one above.
    expect(
        "{EthIIIf: E}, {VlanIf: Outer, VlanId: 4095, IdStep: 2, Tpid: 0x88a8, StackedOn: E}, {VlanIf: Inner, "
        "VlanId: 20, Cfi: 1, StackedOn: Outer}, {Ipv6If: , Address: \"2001:db8::ffff\", StackedOn: Inner}",
        "1: IPv6/64 [2001:db8::ffff 2001:db8::1:0 2001:db8::1:1] VLAN 8100 7 1 [20 20 20] VLAN 88a8 7 0 "
        "[4095 1 3] MAC [00:01 00:02 00:03]\n");
    // Both versions of IP on one link.
    expect(
        "{EthIIIf: E}, {Ipv4If: , Address: 10.0.0.1, StackedOn: E}, {Ipv6If: , Address: \"2001:db8::1\", "
        "StackedOn: E}",
        "1: IPv4/24 [10.0.0.1 10.0.0.2 10.0.0.3] MAC [00:01 00:02 00:03]\n"
        "2: IPv6/64 [2001:db8::1 2001:db8::2 2001:db8::3] MAC [00:01 00:02 00:03]\n");
    // Layers that ports may refuse.
    expect(
        "{EthIIIf: E}, {PppoeIf: S, StackedOn: E}, {PppIf: L, StackedOn: S}, {Ipv4If: , Address: 10.0.0.1, "
        "StackedOn: L}",
        "1: IPv4/24 [10.0.0.1 10.0.0.2 10.0.0.3] PPP PPPoE MAC [00:01 00:02 00:03]\n");
}

TEST_F(InterfaceStacksTest, HaveAGatewayForEachHost) {
    Build(
        "  - Port: P\n  - {EmulatedDevice: D, DeviceCount: 2, AffiliationPort: P, children: [{EthIIIf: E}, "
        "{Ipv4If: , Gateway: 10.0.0.254, GatewayStep: 0.0.1.0, StackedOn: E}, {Ipv6If: , Gateway: "
        "\"fe80::1\", ResolveGatewayMac: false, GatewayMac: 02:00:00:00:00:09, StackedOn: E}]}\n");
    const auto stacks = app::MakeInterfaceStacks(PortOf("P")).stacks;
    const auto& v4 = stacks.at(0).Ipv4InterfaceList.at(0);
    ASSERT_EQ(v4.GatewayList.size(), 2u);
    EXPECT_EQ(common::CIpAddress(v4.GatewayList[0].address).ToString(), "10.0.0.254");
    EXPECT_EQ(common::CIpAddress(v4.GatewayList[1].address).ToString(), "10.0.1.254");
    EXPECT_TRUE(v4.ResolveGatewayMac);
    const auto& v6 = stacks.at(1).Ipv6InterfaceList.at(0);
    EXPECT_EQ(common::CIpv6Address(v6.GatewayList.at(1).address).ToString(), "fe80::1");
    EXPECT_FALSE(v6.ResolveGatewayMac);
    EXPECT_EQ(common::CMacAddress(v6.GatewayMac.address.data()).ToString(), "02:00:00:00:00:09");
}

std::string Device(const std::string& name, const std::string& port, const std::string& more = "") {
    return fmt::format(
        "  - {{EmulatedDevice: {0}, AffiliationPort: {1}{2}, children: [{{EthIIIf: }}, {{Ipv4If: , Address: "
        "10.0.0.{3}, StackedOn: {0}/EthIIIf}}]}}\n",
        name, port, more, name.back());
}

TEST_F(InterfaceStacksTest, AreThoseOfTheActiveDevicesOfThePort) {
    Build("  - Port: P\n  - Port: Q\n" + Device("D1", "P") + Device("D2", "Q") +
          Device("D3", "P", ", LocalActive: false") + Device("D4", "P"));
    EXPECT_EQ(Describe("P"), "1: IPv4/24 [10.0.0.1] MAC [00:01]\n2: IPv4/24 [10.0.0.4] MAC [00:01]\n");
    EXPECT_EQ(Describe("Q"), "1: IPv4/24 [10.0.0.2] MAC [00:01]\n");
    auto& device = Find<core::CEmulatedDevice>(host_.GetProject(), "D4");
    auto* interface = device.GetObject("Ipv4If", common::kParentChild);
    EXPECT_EQ(dynamic_cast<core::CNetworkInterface*>(interface)->GetIlIfHandle(&PortOf("P")), 2u)
        << "what blocks of set-top boxes refer to";
    interface->Set(ids::EmulatedIf::IlMembership, ids::IlMembership::EXCLUDED);
    EXPECT_EQ(Describe("P"), "1: IPv4/24 [10.0.0.1] MAC [00:01]\n");
}

TEST_F(InterfaceStacksTest, AreAcceptedByThePortOrTheRunFails) {
    const auto expect = [&](const char* what, const il::FaultSchedule& faults) {
        SCOPED_TRACE(what);
        Build("  - Port: P\n" + Device("D1", "P"));
        const il::Network network;
        app::TaskTimeline timeline;
        const auto make = [&](const auto& send, const auto& hang_up) {
            il::SimulatedPort::Setup setup{"P", faults};
            return std::make_unique<il::SimulatedPort>(setup, network, timeline, send, hang_up);
        };
        {
            app::PortLink link(PortOf("P"), make, app::PortLink::Calls::UnderTaskLock, nullptr,
                               [](const auto&, const auto&) {});
            const std::string error = testing_aids::ThrownBy<common::COrvRunTimeError>(
                [this] { app::ConfigureInterfaces(PortOf("P")); });
            EXPECT_THAT(error,
                        HasSubstr(*what ? "The interfaces of port \"P\" cannot be configured: " : "nothing"));
        }
        framework::CRpcManager::Instance().Reset();
    };
    expect("", {});
    expect("refused", {{.kind = il::Fault::Kind::Refuse}});
    expect("no answer", {{.kind = il::Fault::Kind::LoseResponse}});
    expect("connection lost",
           {{.kind = il::Fault::Kind::GoOffline, .request = "ConfigInterfacesWithIlHandle"}});
}

/// Of an untagged IPv4 frame, of which all others are multiples in the tests: 14 + 20 + 8 + the payload.
constexpr double kFrameBits = 8.0 * (42 + live::kStreamPayloadLength);

struct Source {
    int hosts = 1, groups = 1;
    const char* block = "";  ///< properties of the stream block
    bool ipv6 = false;
    int vlans = 0;
    const char* destination = "Groups";
    const char* start = "";  ///< property of the groups
};

std::string MakeObjects(const Source& source) {
    std::string layers = "{EthIIIf: L0}";
    for (int i = 1; i <= source.vlans; ++i)
        layers += fmt::format(
            ", {{VlanIf: L{0}, VlanId: {0}00, IdStep: {1}, Priority: {0}, StackedOn: L{1}}}", i, i - 1);
    return fmt::format(
        R"(  - Port: Head end
    children: [{{StreamBlock: Streams, SrcBinding: Sources/{0}If, DstBinding: {1}/NetworkEndpoint, {2}}}]
  - EmulatedDevice: Sources
    DeviceCount: {3}
    AffiliationPort: Head end
    children: [{4}, {{{0}If: , Address: "{5}", StackedOn: L{6}}}]
  - {0}Group: Groups
    children: [{{{0}NetworkBlock: , NetworkCount: {7}, {8}}}]
  - Ipv6Group: Others
)",
        source.ipv6 ? "Ipv6" : "Ipv4", source.destination, source.block, source.hosts, layers,
        source.ipv6 ? "2001:db8::1" : "10.0.0.1", source.vlans, source.groups, source.start);
}

struct StreamPlanTest : LiveProjectTest {
    std::vector<nic::Stream> Plan(const Source& source, double line_rate = 1e9) {
        Build(MakeObjects(source));
        return app::PlanStreams(PortOf("Head end"), line_rate);
    }
};

TEST_F(StreamPlanTest, StreamsPairHostsAndGroupsInOneRowOfNumbers) {
    std::string text;
    const auto streams = Plan({.hosts = 2, .groups = 3});
    for (const nic::Stream& stream : streams)
        text += fmt::format("{}: {} > {}\n", stream.id - streams.front().id, stream.source.ip.ToString(),
                            stream.group.ToString());
    EXPECT_EQ(text,
              "0: 10.0.0.1 > 225.0.0.1\n1: 10.0.0.2 > 225.0.0.2\n2: 10.0.0.1 > 225.0.0.3\n"
              "3: 10.0.0.2 > 225.0.0.1\n4: 10.0.0.1 > 225.0.0.2\n5: 10.0.0.2 > 225.0.0.3\n");
    const auto shared = Plan({.hosts = 2, .groups = 4});
    ASSERT_EQ(shared.size(), 4u);
    EXPECT_EQ(shared[3].source.ip.ToString(), "10.0.0.2");
}

TEST_F(StreamPlanTest, TheLoadIsThatOfEachStream) {
    const auto expect = [&](const Source& source, double packets) {
        SCOPED_TRACE(source.block);
        const auto streams = Plan(source);
        ASSERT_EQ(streams.size(), static_cast<std::size_t>(source.groups));
        for (const nic::Stream& stream : streams)
            EXPECT_NEAR(stream.packets_per_second, packets, 1e-9 * packets);
    };
    expect({}, 1e8 / kFrameBits);
    expect({.groups = 4, .block = "Load: 50"}, 5e8 / 4 / kFrameBits);
    expect({.groups = 4, .block = "Load: 1000, LoadUnit: FRAMES_PER_SECOND"}, 1000);
    expect({.groups = 4, .block = "Load: 1000, LoadUnit: FRAMES_PER_SECOND", .vlans = 1}, 1000);
    expect({.block = "Load: 109600, LoadUnit: BITS_PER_SECOND"}, 109600 / kFrameBits);
    expect({.block = "Load: 8000, LoadUnit: KILOBITS_PER_SECOND"}, 8e6 / kFrameBits);
    expect({.hosts = 2, .groups = 2, .block = "Load: 8, LoadUnit: MEGABITS_PER_SECOND"}, 8e6 / kFrameBits);
    expect({.block = "Load: 8, LoadUnit: MEGABITS_PER_SECOND", .ipv6 = true, .vlans = 2},
           8e6 / (kFrameBits + 8 * (20 + 2 * 4)));
    EXPECT_EQ(Plan({.block = "Load: 0"}).size(), 0u) << "a stream has packets";
    EXPECT_EQ(Plan({.block = "LocalActive: false"}).size(), 0u);
}

TEST_F(StreamPlanTest, ASourceHasTheTagsOfItsHostTheOuterOneFirst) {
    const auto streams = Plan({.hosts = 2, .groups = 2, .ipv6 = true, .vlans = 2});
    ASSERT_EQ(streams.size(), 2u);
    const live::HostAddress& second = streams[1].source;
    EXPECT_EQ(second.mac, (live::MacAddress{{0x00, 0x10, 0x94, 0x00, 0x00, 0x02}}));
    EXPECT_EQ(second.ip.ToString(), "2001:db8::2");
    ASSERT_EQ(second.vlan.count, 2);
    EXPECT_EQ(second.vlan.tags[0], (live::VlanTag{0x8100, 1 << 13 | 100}));
    EXPECT_EQ(second.vlan.tags[1], (live::VlanTag{0x8100, 2 << 13 | 201}));
    EXPECT_TRUE(streams[1].group.IsV6());
}

TEST_F(StreamPlanTest, WhatLivePortsCannotSendIsSaid) {
    const auto expect = [&](const Source& source, const char* problem) {
        SCOPED_TRACE(problem);
        Build(MakeObjects(source));
        EXPECT_THAT(testing_aids::ThrownBy<common::COrvRunTimeError>([this] {
                        app::CheckStreams(Find<l2l3::CStreamBlock>(PortOf("Head end"), "Streams"));
                    }),
                    testing::HasSubstr(problem));
    };
    expect({.block = "LoadUnit: INTER_BURST_GAP"}, "INTER_BURST_GAP is not offered by live ports");
    expect({.vlans = 3}, "has more than 2 VLANs");
    expect({.start = "StartIpList: 10.9.9.9"}, "is no block of multicast groups");
    expect({.destination = "Others"}, "one is IPv4, the other IPv6");
}

}  // namespace
