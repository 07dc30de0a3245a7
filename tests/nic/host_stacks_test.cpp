#include "host_stacks.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>

#include <functional>

#include "live/sample_frames.h"
#include "orv/il/port_fault.h"
#include "stacks.h"
#include "thrown.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using IFSETUP_1_bll::InterfaceTypeList_t;
using IFSETUP_1_bll::NetworkInterfaceStack_s;
using orv::live::HostAddress;

std::string text_of(const std::vector<HostAddress>& hosts) {
    std::string text;
    for (const HostAddress& host : hosts) {
        text += fmt::format("{}{:02x} {}", text.empty() ? "" : "; ", fmt::join(host.mac.bytes, ":"),
                            host.ip.ToString());
        for (const auto& tag : host.vlan.Get()) text += fmt::format(" {:04x}/{:04x}", tag.type, tag.control);
    }
    return text;
}

HostAddress host(std::uint8_t last, const std::string& address, std::vector<orv::live::VlanTag> tags = {}) {
    HostAddress made{{{2, 0, 0, 0, 0, last}}, ip(address), {}};
    for (const auto& tag : tags) made.vlan.tags[made.vlan.count++] = tag;
    return made;
}

NetworkInterfaceStack_s stack() {
    return stack_of({host(1, "10.0.0.1", {{0x88a8, 100}, {0x8100, 0xb007}}),
                     host(2, "10.0.0.2", {{0x88a8, 100}, {0x8100, 0xb008}})});
}

TEST(HostStacks, OneEntryPerHost) {
    EXPECT_EQ(
        "02:00:00:00:00:01 10.0.0.1 88a8/0064 8100/b007; 02:00:00:00:00:02 10.0.0.2 88a8/0064 8100/b008",
        text_of(orv::nic::hosts_of(5, stack())));
    const auto v6 = stack_of({host(1, "2001:db8::1"), host(2, "2001:db8::2")});
    EXPECT_EQ("02:00:00:00:00:01 2001:db8::1; 02:00:00:00:00:02 2001:db8::2",
              text_of(orv::nic::hosts_of(5, v6)));

    // What has no list, or a list of one, is the same for all.
    NetworkInterfaceStack_s single = stack();
    single.VlanInterfaceList[0].IdList = {};
    single.VlanInterfaceList[0].VlanId = 9;
    single.VlanInterfaceList[0].Tpid = 0;
    single.VlanInterfaceList[1].IdList = {200};
    EXPECT_EQ(
        "02:00:00:00:00:01 10.0.0.1 88a8/00c8 8100/b009; 02:00:00:00:00:02 10.0.0.2 88a8/00c8 8100/b009",
        text_of(orv::nic::hosts_of(5, single)));
    single.Ipv4InterfaceList[0].AddrList = {};
    single.Ipv4InterfaceList[0].Address = {{10, 9, 9, 9}};
    single.EthIIInterfaceList[0].SrcMacList = {};
    single.EthIIInterfaceList[0].SourceMac.address = {2, 9, 9, 9, 9, 9};
    EXPECT_EQ("02:09:09:09:09:09 10.9.9.9 88a8/00c8 8100/b009", text_of(orv::nic::hosts_of(5, single)));
}

TEST(HostStacks, SaysWhatIsWrong) {
    const auto with_layer = [](InterfaceTypeList_t type) {
        return [type](NetworkInterfaceStack_s& stack) { stack.ifDescriptors.push_back({type, 0}); };
    };
    const struct {
        std::function<void(NetworkInterfaceStack_s&)> spoil;
        const char* text;
    } cases[] = {
        {[](auto& stack) { stack.ifDescriptors.erase(stack.ifDescriptors.begin()); }, "has no IP layer"},
        {[](auto& stack) { stack.ifDescriptors.pop_back(); }, "has no Ethernet layer"},
        {with_layer(InterfaceTypeList_t::IPv4), "has more than one IP layer"},
        {with_layer(InterfaceTypeList_t::VLAN), "has more than 2 VLANs"},
        {with_layer(InterfaceTypeList_t::PPP), "has a PPP session, which is not offered by live ports"},
        {with_layer(InterfaceTypeList_t::PPPOE), "has a PPP session, which is not offered by live ports"},
        {with_layer(InterfaceTypeList_t::GRE),
         "has a layer other than IP, VLAN and Ethernet, which is not offered by live ports"},
        {[](auto& stack) { stack.VlanInterfaceList[0].Tpid = 0x9200; },
         "has a VLAN tag of type 0x9200; live ports offer 0x8100, 0x88a8 and 0x9100"},
        {[](auto& stack) { stack.ifDescriptors[1].indexInList = 2; }, "names a layer that it does not have"},
        {[](auto& stack) { stack.VlanInterfaceList[0].IdList.push_back(3); },
         "has 2 entries for one of its layers and 3 for another"},
        {[](auto& stack) { stack.EthIIInterfaceList[0].SrcMacList[1].address.pop_back(); },
         "has a MAC address of 5 bytes"},
        {[](auto& stack) { stack.EthIIInterfaceList[0].SrcMacList[1].address[0] = 3; },
         "has a host with a multicast MAC address"},
        {[](auto& stack) {
             stack.Ipv4InterfaceList[0].AddrList[1] = {{224, 1, 1, 1}};
         },
         "has a host with the address 224.1.1.1"},
    };
    for (const auto& test : cases) {
        NetworkInterfaceStack_s spoilt = stack();
        test.spoil(spoilt);
        EXPECT_EQ(std::string("interface 5 ") + test.text,
                  ThrownBy<orv::il::PortFault>([&] { orv::nic::hosts_of(5, spoilt); }));
    }
}

}  // namespace
