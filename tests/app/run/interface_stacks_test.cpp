// The interface stacks that live ports get.
#include "run/interface_stacks.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include "live_project.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/network_interface.h"
#include "orv/framework/rpc_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/il/simulated_port.h"
#include "run/port_link.h"
#include "run/task_timeline.h"

namespace {

using namespace orv;  // NOLINT: a test
using IFSETUP_1_bll::InterfaceTypeList_t;
using testing::HasSubstr;

class InterfaceStacksTest : public testing_aids::LiveProjectTest {
  protected:
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
        std::vector<std::string> values;
        std::uint32_t hosts = 0;
        const auto read = [&](const auto& record, const auto& first, const auto& list, const auto& to_text) {
            hosts = record.NetworkInterface.TotalCount;
            for (const auto& value : list) values.push_back(to_text(value));
            EXPECT_EQ(values.at(0), to_text(first));
        };
        std::string name;
        switch (layer.ifType) {
            case InterfaceTypeList_t::IPv4: {
                const auto& record = stack.Ipv4InterfaceList.at(layer.indexInList);
                read(record, record.Address, record.AddrList,
                     [](const auto& ip) { return common::CIpAddress(ip.address).ToString(); });
                name = fmt::format("IPv4/{}", record.PrefixLength);
                break;
            }
            case InterfaceTypeList_t::IPv6: {
                const auto& record = stack.Ipv6InterfaceList.at(layer.indexInList);
                read(record, record.Address, record.AddrList,
                     [](const auto& ip) { return common::CIpv6Address(ip.address).ToString(); });
                name = fmt::format("IPv6/{}", record.PrefixLength);
                break;
            }
            case InterfaceTypeList_t::VLAN: {
                const auto& record = stack.VlanInterfaceList.at(layer.indexInList);
                read(record, record.VlanId, record.IdList, [](auto id) { return std::to_string(id); });
                name = fmt::format("VLAN {:x} {} {}", record.Tpid, record.Priority, record.Cfi);
                break;
            }
            case InterfaceTypeList_t::ETHII: {
                const auto& record = stack.EthIIInterfaceList.at(layer.indexInList);
                read(record, record.SourceMac, record.SrcMacList, [](const auto& mac) {
                    return common::CMacAddress(mac.address.data()).ToString().substr(12);
                });
                name = "MAC";
                break;
            }
            case InterfaceTypeList_t::PPPOE:
                stack.PppoeInterfaceList.at(layer.indexInList);
                return "PPPoE";
            case InterfaceTypeList_t::PPP:
                stack.PppInterfaceList.at(layer.indexInList);
                return "PPP";
            default:
                return "?";
        }
        EXPECT_EQ(hosts, values.size()) << name;
        return fmt::format("{} [{}]", name, fmt::join(values, " "));
    }
};

TEST_F(InterfaceStacksTest, HaveAnEntryForEachHost) {
    struct Case {
        const char* what;
        const char* layers;
        const char* expected;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"steps",
              "      - EthIIIf: E\n        SourceMac: 00:10:94:00:00:fe\n        SrcMacStep: "
              "00:00:00:00:00:02\n"
              "      - Ipv4If:\n        Address: 10.0.0.255\n        PrefixLength: 16\n        StackedOn: "
              "E\n",
              "1: IPv4/16 [10.0.0.255 10.0.1.0 10.0.1.1] MAC [00:fe 01:00 01:02]\n"},
             {"lists, and values that hosts share",
              "      - EthIIIf: E\n        SrcMacRepeatCount: 2\n"
              "      - VlanIf: V\n        IdList: [7, 9, 8]\n        Priority: 3\n        StackedOn: E\n"
              "      - Ipv4If:\n        AddrList: [10.0.0.5, 10.0.0.7, 10.0.0.6]\n        StackedOn: V\n",
              "1: IPv4/24 [10.0.0.5 10.0.0.7 10.0.0.6] VLAN 8100 3 0 [7 9 8] MAC [00:01 00:01 00:02]\n"},
             {"two tags, the inner one above; IPv6",
              "      - EthIIIf: E\n"
              "      - VlanIf: Outer\n        VlanId: 4095\n        IdStep: 2\n        Tpid: 0x88a8\n"
              "        StackedOn: E\n"
              "      - VlanIf: Inner\n        VlanId: 20\n        Cfi: 1\n        StackedOn: Outer\n"
              "      - Ipv6If:\n        Address: \"2001:db8::ffff\"\n        StackedOn: Inner\n",
              "1: IPv6/64 [2001:db8::ffff 2001:db8::1:0 2001:db8::1:1] VLAN 8100 7 1 [20 20 20] "
              "VLAN 88a8 7 0 [4095 1 3] MAC [00:01 00:02 00:03]\n"},
             {"both versions of IP on one link",
              "      - EthIIIf: E\n"
              "      - Ipv4If:\n        Address: 10.0.0.1\n        StackedOn: E\n"
              "      - Ipv6If:\n        Address: \"2001:db8::1\"\n        StackedOn: E\n",
              "1: IPv4/24 [10.0.0.1 10.0.0.2 10.0.0.3] MAC [00:01 00:02 00:03]\n"
              "2: IPv6/64 [2001:db8::1 2001:db8::2 2001:db8::3] MAC [00:01 00:02 00:03]\n"},
             {"layers that ports may refuse",
              "      - EthIIIf: E\n      - PppoeIf: S\n        StackedOn: E\n      - PppIf: L\n        "
              "StackedOn: S\n"
              "      - Ipv4If:\n        Address: 10.0.0.1\n        StackedOn: L\n",
              "1: IPv4/24 [10.0.0.1 10.0.0.2 10.0.0.3] PPP PPPoE MAC [00:01 00:02 00:03]\n"}}) {
        SCOPED_TRACE(c.what);
        Build(std::string("  - Port: P\n  - EmulatedDevice: D\n    DeviceCount: 3\n    AffiliationPort: P\n"
                          "    children:\n") +
              c.layers);
        EXPECT_EQ(Describe("P"), c.expected);
    }
}

std::string Device(const std::string& name, const std::string& port, const std::string& more = "") {
    return fmt::format(
        "  - EmulatedDevice: {0}\n    AffiliationPort: {1}\n{2}    children:\n      - EthIIIf:\n"
        "      - Ipv4If:\n        Address: 10.0.0.{3}\n        StackedOn: {0}/EthIIIf\n",
        name, port, more, name.back());
}

TEST_F(InterfaceStacksTest, AreThoseOfTheActiveDevicesOfThePort) {
    Build("  - Port: P\n  - Port: Q\n" + Device("D1", "P") + Device("D2", "Q") +
          Device("D3", "P", "    LocalActive: false\n") + Device("D4", "P"));
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
    struct Case {
        const char* what;
        il::FaultSchedule faults;
        const char* error;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"accepted", {}, ""},
             {"refused",
              {{.kind = il::Fault::Kind::Refuse}},
              "The interfaces of port \"P\" cannot be configured: "},
             {"no answer", {{.kind = il::Fault::Kind::LoseResponse}}, "\"P\" cannot be configured: "},
             {"connection lost",
              {{.kind = il::Fault::Kind::GoOffline, .request = "ConfigInterfacesWithIlHandle"}},
              "\"P\" cannot be configured: "}}) {
        SCOPED_TRACE(c.what);
        Build("  - Port: P\n" + Device("D1", "P"));
        const il::Network network;
        app::TaskTimeline timeline;
        const auto make = [&](const auto& send, const auto& hang_up) {
            il::SimulatedPort::Setup setup{"P", c.faults};
            return std::make_unique<il::SimulatedPort>(setup, network, timeline, send, hang_up);
        };
        {
            app::PortLink link(PortOf("P"), make, app::PortLink::Calls::UnderTaskLock, nullptr,
                               [](const auto&, const auto&) {});
            std::string error;
            try {
                app::ConfigureInterfaces(PortOf("P"));
            } catch (const common::COrvRunTimeError& thrown) {
                error = thrown.what();
            }
            EXPECT_THAT(error, HasSubstr(c.error));
            EXPECT_EQ(error.empty(), std::string(c.error).empty()) << error;
        }
        framework::CRpcManager::Instance().Reset();
    }
}

}  // namespace
