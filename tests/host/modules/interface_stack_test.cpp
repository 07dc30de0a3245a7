// Interface stacks: their order, the values of single hosts, and the numbers under which ports know
// interfaces.
#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>

#include "modules_fixture.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/network_interface_stack_enumerator.h"
#include "orv/core/pppoe_if.h"

namespace orv::test {
namespace {

using testing::ElementsAre;

/// The values of the interfaces of one host, from the top down: addresses and ids that identify the host.
std::string Describe(const std::vector<core::CNetworkInterface*>& interfaces) {
    static const std::pair<common::ClassId, common::PropId> values[] = {
        {ids::Ipv4If::CLASS, ids::Ipv4If::Address},     {ids::Ipv6If::CLASS, ids::Ipv6If::Address},
        {ids::VlanIf::CLASS, ids::VlanIf::VlanId},      {ids::PppoeIf::CLASS, ids::PppoeIf::SessionId},
        {ids::EthIIIf::CLASS, ids::EthIIIf::SourceMac}, {ids::Aal5If::CLASS, ids::Aal5If::Vci},
    };
    std::string text;
    for (const auto* interface : interfaces) {
        for (const auto& [class_id, property] : values) {
            if (!interface->IsTypeOf(class_id)) continue;
            std::string value;
            interface->Get(property, value);
            text += (text.empty() ? "" : " ") + value;
        }
    }
    return text;
}

struct StackCase {
    const char* name;
    std::vector<std::string> layers;  ///< from the link layer up
    /// (layer, property, text)
    std::vector<std::tuple<std::size_t, const char*, const char*>> settings;
    std::vector<std::string> hosts;  ///< what Describe gives for each
};

void PrintTo(const StackCase& stack, std::ostream* out) {
    *out << stack.name;
}

class StackTest : public ModulesTest, public testing::WithParamInterface<StackCase> {};

TEST_P(StackTest, IsListedBottomUpAndEnumeratedTopDownWithTheValuesOfEachHost) {
    const StackCase& expected = GetParam();
    auto& device = MakeDevice(&MakePort(), static_cast<std::uint32_t>(expected.hosts.size()));
    const auto stack = MakeStack(device, expected.layers);
    for (const auto& [layer, property, text] : expected.settings)
        stack[layer]->Set(property, std::string(text));

    std::vector<core::CNetworkInterface*> listed;
    stack.back()->GetNetworkInterfaceStack(listed);
    EXPECT_EQ(listed, stack);

    core::CNetworkInterfaceStackEnumerator enumerator(*stack.back());
    auto top_down = expected.layers;
    std::reverse(top_down.begin(), top_down.end());
    std::vector<std::string> hosts;
    for (std::uint32_t host = 0; host < enumerator.GetEndpointCount(); ++host) {
        EXPECT_EQ(ClassNames(enumerator.GetInterfaceList(host)), top_down);
        hosts.push_back(Describe(enumerator.GetInterfaceList(host)));
    }
    EXPECT_EQ(hosts, expected.hosts);
    // The host asked for last does not change what one asked for again has.
    EXPECT_EQ(Describe(enumerator.GetInterfaceList(0)), expected.hosts.front());
    EXPECT_THROW(enumerator.GetInterfaceList(enumerator.GetEndpointCount()), common::COrvLogicError);
}

const StackCase kStacks[] = {
    {"Ipv4OverVlan",
     {"EthIIIf", "VlanIf", "Ipv4If"},
     {{0, "SourceMac", "00:10:94:00:00:fe"},
      {1, "VlanId", "100"},
      {1, "IdStep", "10"},
      {2, "Address", "10.0.0.255"},
      {2, "AddrStep", "0.0.0.2"}},
     {"10.0.0.255 100 00:10:94:00:00:fe", "10.0.1.1 110 00:10:94:00:00:ff",
      "10.0.1.3 120 00:10:94:00:01:00"}},
    {"DoubleVlanWithNegativeStepAndRepeat",
     {"EthIIIf", "VlanIf", "VlanIf", "Ipv6If"},
     {{0, "SrcMacStep", "00:00:00:00:00:00"},
      {1, "VlanId", "100"},
      {1, "IdStep", "1"},
      {1, "IdRepeatCount", "2"},
      {2, "VlanId", "1"},
      {2, "IdStep", "-1"},
      {3, "Address", "fe80::ffff:ffff"}},
     {"fe80::ffff:ffff 1 100 00:10:94:00:00:01", "fe80::1:0:0 0 100 00:10:94:00:00:01",
      "fe80::1:0:1 4095 101 00:10:94:00:00:01"}},
    {"ListsReplaceStepsAndStartAgainAtTheirEnd",
     {"EthIIIf", "VlanIf", "Ipv4If"},
     {{0, "SrcMacList", "00:00:00:00:00:0a 00:00:00:00:00:0b"},
      {1, "IdList", "7 9"},
      {2, "AddrList", "10.0.0.1 10.0.0.9"}},
     {"10.0.0.1 7 00:00:00:00:00:0a", "10.0.0.9 9 00:00:00:00:00:0b", "10.0.0.1 7 00:00:00:00:00:0a"}},
    {"Pppoe",
     {"EthIIIf", "PppoeIf", "PppIf", "Ipv4If"},
     {{1, "SessionId", "65535"}, {3, "Address", "10.0.0.1"}},
     {"10.0.0.1 65535 00:10:94:00:00:01", "10.0.0.2 0 00:10:94:00:00:02"}},
    {"Atm", {"Aal5If", "Ipv4If"}, {{0, "VciStep", "5"}}, {"192.85.1.3 100", "192.85.1.4 105"}},
};

INSTANTIATE_TEST_SUITE_P(Stacks, StackTest, testing::ValuesIn(kStacks),
                         [](const auto& stack) { return stack.param.name; });

using InterfaceTest = ModulesTest;

TEST_F(InterfaceTest, EnumeratingLeavesTheInterfacesOfTheTreeAsTheyAre) {
    auto& device = MakeDevice(&MakePort(), 3);
    auto* top = MakeStack(device, {"EthIIIf", "Ipv4If"}).back();
    top->SetObjectState(framework::CScriptable::STATE_UNCHANGED);
    core::CNetworkInterfaceStackEnumerator enumerator(*top);
    enumerator.GetInterfaceList(2);
    EXPECT_EQ(top->Get("Address"), "192.85.1.3");
    EXPECT_FALSE(top->IsObjectDirty(false));
    EXPECT_EQ(enumerator.GetInterfaceList(0).front()->GetHandle(), 0u);
}

TEST_F(InterfaceTest, AddressCountIsTheNumberOfHosts) {
    auto& device = MakeDevice(nullptr, 3);
    EXPECT_EQ(Make<core::CIpv4If>(&device).GetAddressCount(), 3u);
    auto& ipv6 = Make<core::CIpv6If>(&device);
    ipv6.Set("AddrList", std::string("fe80::1 fe80::2"));
    EXPECT_EQ(ipv6.GetAddressCount(), 3u);
    EXPECT_EQ(ipv6.GetAddrList().size(), 2u);
}

TEST_F(InterfaceTest, SessionIdsFollowTheListOrTheStep) {
    auto& pppoe = Make<core::CPppoeIf>(&MakeDevice(nullptr, 3));
    pppoe.Set("SessionId", std::string("10"));
    pppoe.Set("SessionIdStep", std::string("-4"));
    EXPECT_THAT(pppoe.GetSessionIdList(), ElementsAre(10, 6, 2));
    pppoe.Set("SessionIdList", std::string("5 8"));
    EXPECT_THAT(pppoe.GetSessionIdList(), ElementsAre(5, 8, 5));
}

TEST_F(InterfaceTest, StackCannotCloseIntoARingAndHasOneLayerBelow) {
    auto& device = MakeDevice(nullptr);
    const auto stack = MakeStack(device, {"EthIIIf", "VlanIf", "Ipv4If"});
    std::string error;
    EXPECT_FALSE(stack[0]->AddObject(*stack[2], ids::relations::StackedOn, &error));
    EXPECT_THAT(error, testing::HasSubstr("cannot be stacked on itself"));
    EXPECT_FALSE(stack[1]->AddObject(*stack[1], ids::relations::StackedOn, &error));
    EXPECT_FALSE(stack[2]->AddObject(*stack[0], ids::relations::StackedOn, &error)) << "a second layer below";
}

TEST_F(InterfaceTest, PortsNumberInterfacesFromOneWithoutGaps) {
    auto& port = MakePort("//127.0.0.1/1/1");
    auto& other = MakePort("//127.0.0.1/1/2");
    auto& device = MakeDevice(&port);
    auto& first = Make<core::CIpv4If>(&device);
    auto& second = Make<core::CIpv4If>(&device);
    auto& third = Make<core::CIpv4If>(&device);
    EXPECT_EQ(first.GetIlIfHandle(nullptr), 0u);
    EXPECT_EQ(second.GetIlIfHandle(&port), 1u);
    EXPECT_EQ(first.GetIlIfHandle(&port, &device), 2u);
    EXPECT_EQ(third.GetIlIfHandle(&port), 3u);
    EXPECT_EQ(third.GetIlIfHandle(&other), 1u) << "each port counts for itself";
    EXPECT_EQ(second.GetIlIfHandle(&port, &first), 1u) << "whoever asks gets the same";
    first.Delete();
    EXPECT_EQ(third.GetIlIfHandle(&port), 3u);
    EXPECT_EQ(Make<core::CIpv4If>(&device).GetIlIfHandle(&port), 2u) << "the number that has become free";
    EXPECT_EQ(Make<core::CIpv4If>(&device).GetIlIfHandle(&port), 4u);
}

}  // namespace
}  // namespace orv::test
