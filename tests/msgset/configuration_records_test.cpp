// What configuration messages look like to the other side: names, order and kinds of members in particular
// cases.
#include <gmock/gmock.h>

#include "msgset/HwGeneral_1.h"
#include "msgset/iptvcd_1.h"
#include "orv/tm/backed_array.h"

namespace {

using namespace orv::tm;
using namespace iptvcd_1_bll;
using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> names_of(const Tm_struct& in) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < in.size(); ++i) names.emplace_back(in.member_name(i));
    return names;
}

std::vector<int> bytes_of(const Tm_array& array) {
    std::vector<int> bytes;
    for (std::size_t i = 0; i < array.size(); ++i)
        bytes.push_back(array.get_member_uint8(static_cast<int>(i)));
    return bytes;
}

ipAddress_t v4(std::uint8_t last) {
    ipAddress_t address;
    address.v4 = {{192, 0, 2, last}};
    return address;
}

TEST(IpAddress, TravelsAsTheOneMemberOfItsType) {
    struct Case {
        std::uint32_t type;
        const char* member;
        std::vector<int> bytes;
    };
    const Case cases[] = {{0, "v4", {1, 2, 3, 4}},
                          {1, "v6", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}}};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.member);
        ipAddress_t sent;
        sent.type = each.type;
        for (int i = 0; i < 16; ++i) sent.v6.address[i] = static_cast<std::uint8_t>(i + 1);
        Tm_struct out;
        ipAddress_t_to_struct(&out, &sent, true, nullptr);
        ASSERT_THAT(names_of(out), ElementsAre(each.member));
        const Tm_struct& nested = *out.get_member_struct(each.member);
        ASSERT_THAT(names_of(nested), ElementsAre("address"));
        EXPECT_EQ(bytes_of(*nested.get_member_array("address")), each.bytes);

        ipAddress_t received;
        received.type = 1 - each.type;
        ipAddress_t_from_struct(&out, &received);
        EXPECT_TRUE(received == sent);
    }
}

TEST(IpAddress, AnotherTypeTravelsAsNothingAndLeavesTheReceiverAsItWas) {
    ipAddress_t none;
    none.type = 2;
    Tm_struct out;
    ipAddress_t_to_struct(&out, &none, true, nullptr);
    EXPECT_EQ(out.size(), 0U);
    ipAddress_t received = v4(7);
    ipAddress_t_from_struct(&out, &received);
    EXPECT_TRUE(received == v4(7));
}

TEST(IpAddress, EqualityLooksAtTheBytesOfTheType) {
    ipAddress_t a = v4(1);
    ipAddress_t b = v4(1);
    b.v6.address[4] = 9;  // beyond the four bytes
    EXPECT_TRUE(a == b);
    a.type = b.type = 1;
    EXPECT_FALSE(a == b);
    b.v6.address[4] = 0;
    EXPECT_TRUE(a == b);
    b.type = 0;
    EXPECT_FALSE(a == b);
}

TEST(IpAddress, AWrongNumberOfBytesIsRefused) {
    for (int count : {0, 3, 5, 16}) {
        const std::vector<std::uint8_t> bytes(static_cast<std::size_t>(count));
        auto nested = std::make_unique<Tm_struct>();
        nested->add_member_and_own(
            "address", new Tm_backed_array<const std::uint8_t*>(bytes.data(), count, TMV_UINT8), nullptr);
        Tm_struct in;
        in.add_member_and_own("v4", nested.release(), nullptr);
        ipAddress_t received = v4(7);
        EXPECT_THROW(ipAddress_t_from_struct(&in, &received), Tm_exception) << count;
        EXPECT_TRUE(received == v4(7)) << count;
    }
}

TEST(OptionalMember, MoreThanOneElementEndsTheRecordBeforeIt) {
    for (std::size_t elements : {0U, 1U, 2U}) {
        SCOPED_TRACE(elements);
        settopBlockConfig_s block;
        block.rrr_stbConfig.resize(elements);
        block.ppp_index = {4};
        Tm_prenamed_struct out;
        settopBlockConfig_t_to_struct(&out, &block, true, nullptr);
        if (elements == 2) {
            EXPECT_EQ(names_of(out).back(), "udp_source_port_step");
            EXPECT_EQ(out.size(), 16U);
        } else {
            EXPECT_EQ(out.size(), 18U);
            EXPECT_EQ(out.get_member_array("rrr_stbConfig")->size(), elements);
            EXPECT_EQ(out.get_member_array("ppp_index")->get_member_uint16(0), 4);
        }
    }
}

TEST(SimpleArrays, AreCopiedOnlyWhenAskedFor) {
    for (bool copy : {false, true}) {
        SCOPED_TRACE(copy);
        std::vector<std::uint32_t> handles = {1, 2};
        Message message;
        create_req_DeleteProfile(&message, handles, copy);
        handles[1] = 9;
        const Tm_array& array = *message.get_member_array(TMG_MEMBERS, "profile_handle");
        EXPECT_EQ(array.get_member_uint32(1), copy ? 2U : 9U);
    }
}

TEST(SimpleArrays, WithoutElementsAreStillMembers) {
    Message message;
    create_req_DeleteSettopBlock(&message, {}, true);
    const Tm_array& handles = *message.get_member_array(TMG_MEMBERS, "stblock_handle");
    EXPECT_EQ(handles.size(), 0U);
    EXPECT_EQ(handles.element_kind(), TMV_UINT32);

    HwGeneral_1_bll::PortSet_s no_ports;
    Tm_prenamed_struct out;
    HwGeneral_1_bll::PortSet_t_to_struct(&out, &no_ports, true, nullptr);
    EXPECT_EQ(out.get_member_array("members")->size(), 0U);
}

TEST(Enumerations, HaveTheValuesThatPeersExpect) {
    struct Case {
        const tm_enum_map* map;
        int value;
        const char* name;
    };
    const Case cases[] = {
        {em_FilterModeType, 1, "INCLUDE"},
        {em_FilterModeType, 0, "EXCLUDE"},
        {em_MulticastJoinTriggerType, 0, "UNICAST_JOIN_AND_DELAY"},
        {em_MulticastJoinTriggerType, 1, "SBIT_AND_DELAY"},
        {em_UnicastLeaveTriggerType, 0, "UNICAST_JOIN_AND_DELAY"},
        {em_UnicastLeaveTriggerType, 1, "MULTICAST_PKT_AND_DELAY"},
        {HwGeneral_1_bll::em_status_t, 1, "SUCCESS"},
    };
    for (const Case& each : cases) EXPECT_STREQ(tms_enum_to_string(each.value, each.map), each.name);
    EXPECT_STREQ(em_FilterModeType[0].name, "INCLUDE");
}

TEST(Enumerations, AnUnknownNameIsReportedWithItsMember) {
    testConfig_s config;
    Tm_prenamed_struct good;
    testConfig_t_to_struct(&good, &config, true, nullptr);
    Tm_struct in;
    in.add_member("config_handle", std::uint32_t{1}, nullptr);
    in.add_member_and_own("test_type", new Tm_string("ZAP"), nullptr);
    try {
        testConfig_t_from_struct(&in, &config);
        ADD_FAILURE() << "decoded";
    } catch (const Tm_exception& error) {
        EXPECT_THAT(error.what(), testing::AllOf(HasSubstr("'test_type'"), HasSubstr("'ZAP'")));
    }
}

TEST(Arrays, OfAnotherElementKindAreReportedWithTheirMember) {
    std::vector<std::uint16_t> wrong = {1};
    Message message;
    HwGeneral_1_bll::create_req_DeletePortSets(&message, wrong, true);
    message.set_request_name("iptvcd_1.DeleteProfile");
    Message renamed;
    create_req_DeleteProfile(&renamed, {}, true);
    renamed.clear(TMG_MEMBERS);
    renamed.add_member_and_own(TMG_MEMBERS, "profile_handle",
                               message.get_member_array(TMG_MEMBERS, "handles")->clone().release());
    std::vector<std::uint32_t> handles;
    try {
        parse_req_DeleteProfile(&renamed, &handles);
        ADD_FAILURE() << "parsed";
    } catch (const Tm_exception& error) {
        EXPECT_THAT(error.what(), testing::AllOf(HasSubstr("'profile_handle'"), HasSubstr("uint16")));
    }
}

TEST(GetConfig, TheAnswerHasItsOwnNameForTheVlanFilter) {
    Message message;
    create_resp_GetConfig(&message, {}, {}, 0, 0, 0, 0, 0, {}, 0, {}, VlanSubFilter::INNER, 0, 0, {}, {},
                          true, 0, true);
    EXPECT_STREQ(message.get_member_string(TMG_MEMBERS, "vlan_subfilter"), "INNER");
    EXPECT_THAT(names_of(message.members(TMG_MEMBERS)), testing::Not(testing::Contains("vlan_sub_filter")));
}

TEST(SetCutThruRxFilterEnables, CarriesOneStructOfThreeFlags) {
    HwGeneral_1_bll::rxFilterEnables_s all;
    all.allowVeltraSigFrames = all.allowNonVeltraSigFrames = all.allowRxInvalidFrames = true;
    Message message;
    HwGeneral_1_bll::create_req_SetCutThruRxFilterEnables(&message, all, true);
    EXPECT_EQ(message.get_request_name(), "HwGeneral_1.SetCutThruRxFilterEnables");
    ASSERT_THAT(names_of(message.members(TMG_MEMBERS)), ElementsAre("enables"));
    const Tm_struct& enables = *message.get_member_struct(TMG_MEMBERS, "enables");
    ASSERT_THAT(names_of(enables),
                ElementsAre("allowVeltraSigFrames", "allowNonVeltraSigFrames", "allowRxInvalidFrames"));
    for (const std::string& name : names_of(enables)) EXPECT_TRUE(enables.get_member_bool(name.c_str()));
}

}  // namespace
