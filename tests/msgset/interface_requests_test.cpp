// Interface stacks, and the requests about them under the name of the set that offers them.
#include <gmock/gmock.h>

#include "msgset/iptvcd_1.h"

namespace {

using namespace orv::tm;
using namespace IFSETUP_1_bll;

TEST(InterfaceStack, ListsItsLayersInOrderAndTheirRecordsByType) {
    NetworkInterfaceStack_s stack;
    stack.ifDescriptors = {
        {InterfaceTypeList_t::IPv4, 0}, {InterfaceTypeList_t::VLAN, 0}, {InterfaceTypeList_t::ETHII, 0}};
    stack.Ipv4InterfaceList.resize(1);
    stack.VlanInterfaceList.resize(1);
    stack.EthIIInterfaceList.resize(1);
    stack.Ipv4InterfaceList[0].Address.address[3] = 9;
    Tm_prenamed_struct out;
    NetworkInterfaceStack_t_to_struct(&out, &stack, true, nullptr);

    const Tm_array& layers = *out.get_member_array("ifDescriptors");
    const char* const types[] = {"IPv4", "VLAN", "ETHII"};
    ASSERT_EQ(layers.size(), 3U);
    for (int i = 0; i < 3; ++i) {
        EXPECT_STREQ(layers.get_member_struct(i)->get_member_string("ifType"), types[i]);
        EXPECT_EQ(layers.get_member_struct(i)->get_member_uint32("indexInList"), 0U);
    }
    for (std::size_t i = 1; i < out.size(); ++i) {
        const std::string name = out.member_name(i);
        const bool used =
            name == "Ipv4InterfaceList" || name == "VlanInterfaceList" || name == "EthIIInterfaceList";
        EXPECT_EQ(out.get_member_array(name.c_str(), i)->size(), used ? 1U : 0U) << name;
    }
    const Tm_struct& ipv4 = *out.get_member_array("Ipv4InterfaceList")->get_member_struct(0);
    EXPECT_EQ(ipv4.get_member_struct("Address")->get_member_array("address")->get_member_uint8(3), 9);
}

TEST(MacBlock, NamesItsPrefixLengthButDoesNotSendIt) {
    EXPECT_STREQ(ifSetup_1_bll::MacBlock_t_names[3], "PrefixLength");
    EXPECT_EQ(ifSetup_1_bll::MacBlock_t_names[4], nullptr);
    ifSetup_1_bll::MacBlock_s block;
    block.PrefixLength = 48;
    Tm_prenamed_struct out;
    ifSetup_1_bll::MacBlock_t_to_struct(&out, &block, true, nullptr);
    EXPECT_EQ(out.size(), 3U);
    EXPECT_EQ(out.get_member_index("PrefixLength"), -1);

    ifSetup_1_bll::MacBlock_s received;
    ifSetup_1_bll::MacBlock_t_from_struct(&out, &received);
    EXPECT_EQ(received.PrefixLength, 0);
}

TEST(InterfaceRequests, KeepTheNameOfTheMessageAndSwitchTheCatalogOn) {
    Message message;
    message.set_request_name("other_1.Operation");
    IFSETUP_1_bll::create_req_AttachInterfaces(&message, {5, 9}, true);
    EXPECT_EQ(message.get_request_name(), "other_1.Operation");
    EXPECT_TRUE(message.get_use_send_member_string());
    EXPECT_GE(message.catalog(TMG_MEMBERS).find("ifHandleList"), 0);
}

TEST(InterfaceRequests, AttachCarriesOneMember) {
    Message message;
    iptvcd_1_bll::create_req_AttachInterfaces(&message, {5, 9}, true);
    EXPECT_EQ(message.get_request_name(), "iptvcd_1.AttachInterfaces");
    EXPECT_TRUE(message.get_use_send_member_string());
    ASSERT_EQ(message.members(TMG_MEMBERS).size(), 1U);
    const Tm_array& handles = *message.get_member_array(TMG_MEMBERS, "ifHandleList");
    ASSERT_EQ(handles.size(), 2U);
    EXPECT_EQ(handles.get_member_uint32(0), 5U);
    EXPECT_EQ(handles.get_member_uint32(1), 9U);
}

TEST(InterfaceRequests, CatalogHoldsTheNamesOfNestedStructs) {
    std::vector<NetworkInterfaceStack_s> stacks(1);
    stacks[0].VlanInterfaceList.resize(1);
    Message message;
    iptvcd_1_bll::create_req_ConfigInterfaces(&message, stacks, true);
    for (const char* name : {"ifStackList", "VlanInterfaceList", "VlanId", "IsRange"})
        EXPECT_GE(message.catalog(TMG_MEMBERS).find(name), 0) << name;
}

TEST(InterfaceRequests, ParameterTypesTravelByName) {
    Message message;
    iptvcd_1_bll::create_req_GetInterfaceLibParams(&message, {ifSetupLibParamType_t::CREATEDEFAULTROUTE},
                                                   true);
    const Tm_array& types = *message.get_member_array(TMG_MEMBERS, "paramTypeList");
    ASSERT_EQ(types.size(), 1U);
    EXPECT_STREQ(types.get_member_string(0), "CREATEDEFAULTROUTE");
}

}  // namespace
