// Configuration requests, and what is rejected.
#include <gtest/gtest.h>

#include <functional>

#include "msgset/HwGeneral_1.h"
#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::tm::Message;
using Handles = std::vector<std::uint32_t>;

template <class... Arguments, class... Values>
Message Make(void (*create)(Message*, Arguments...), Values&&... values) {
    Message message;
    create(&message, std::forward<Values>(values)...);
    return message;
}

TEST(Requests, WhatMakesNoSenseIsRefusedByName) {
    channelBlockConfig_s no_channels = Scenario().channels;
    no_channels.channel_count = 0;
    settopBlockConfig_s other_profile = Scenario().blocks[0], few_sessions = other_profile,
                        too_many = other_profile;
    other_profile.profile_handle = 71;
    few_sessions.settop_count = 3;
    few_sessions.ppp_index = {1, 2};
    too_many.settop_count = 0xffffffff;
    Message unnamed = Make(create_req_Stop);
    unnamed.set_request_name("iptvcd_1.Fly");
    Message malformed = Make(create_req_GetProfile, kProfile, true);
    malformed.set_request_name("iptvcd_1.UpdateProfile");

    const std::pair<std::function<Message()>, const char*> cases[] = {
        {[&] { return Make(create_req_GetConfig, 8u, true); },
         "iptvcd_1.GetConfig: there is no test configuration with handle 8"},
        {[&] { return Make(create_req_DeleteConfig, 8u, true); }, "no test configuration with handle 8"},
        {[&] { return Make(create_req_GetProfile, 8u, true); }, "no viewing profile with handle 8"},
        {[&] {
             return Make(create_req_DeleteProfile, Handles{kProfile, 8}, true);
         },
         "no viewing profile with handle 8"},
        {[&] { return Make(create_req_GetChannelBlock, 8u, true); }, "no channel block with handle 8"},
        {[&] {
             return Make(create_req_DeleteChannelBlock, Handles{kChannels, 8}, true);
         },
         "no channel block with handle 8"},
        {[&] { return Make(create_req_GetSettopBlock, 8u, true); }, "no STB block with handle 8"},
        {[&] {
             return Make(create_req_DeleteSettopBlock, Handles{kBlock, 8}, true);
         },
         "no STB block with handle 8"},
        {[&] { return Make(create_req_AssignProfile, kBlock, 8u, true); },
         "no viewing profile with handle 8"},
        {[&] { return Make(create_req_AssignChannelBlock, kBlock, 8u, true); },
         "no channel block with handle 8"},
        {[&] { return Make(create_req_UpdateChannelBlock, std::vector{no_channels}, true); },
         "channel block 2 has 0 channels"},
        {[&] { return Make(create_req_UpdateSettopBlock, std::vector{other_profile}, true); },
         "no viewing profile with handle 71"},
        {[&] { return Make(create_req_UpdateSettopBlock, std::vector{few_sessions}, true); },
         "STB block 3: 2 PPP sessions for 3 STBs"},
        {[&] { return Make(create_req_UpdateSettopBlock, std::vector{too_many}, true); },
         "STB block 3: 4294967295 STBs"},
        {[&] {
             return Make(create_req_RegisterResultsNotify, Handles{kBlock, 8}, 1000u, true);
         },
         "no STB block with handle 8"},
        {[&] { return Make(create_req_Start, 8u, Handles{kBlock}, 0u, true); },
         "no test configuration with handle 8"},
        {[&] {
             return Make(create_req_Start, kTest, Handles{kBlock, 8}, 0u, true);
         },
         "no STB block with handle 8"},
        {[&] {
             return Make(create_req_Start, kTest, Handles{kBlock, kBlock}, 0u, true);
         },
         "STB block 3 comes twice"},
        {[&] {
             return Make(create_req_UpdateStreamMap, std::vector<ipAddress_t>(2), std::vector<ipAddress_t>(2),
                         Handles{1}, true);
         },
         "the lists of the stream map are not equally long"},
        {[&] { return Make(create_req_GetInterfaces, Handles{8}, true); }, "no interface with handle 8"},
        {[&] { return Make(create_req_DeleteInterfaces, Handles{8}, true); }, "no interface with handle 8"},
        {[&] { return std::move(unnamed); }, "no such request: 'iptvcd_1.Fly'"},
        {[&] { return std::move(malformed); }, "config"},
    };
    Peer peer{Scenario()};
    peer.Configure();
    for (const auto& [make, why] : cases) {
        const std::string text = peer.FaultOf(make());
        EXPECT_NE(std::string::npos, text.find(why)) << '"' << text << "\" instead of " << why;
    }
    // Rejected requests have changed nothing.
    EXPECT_EQ("", peer.FaultOf(peer.StartRequest()));
    EXPECT_EQ("iptvcd_1.Start: a test is running", peer.FaultOf(peer.StartRequest()));
    peer.RunTo(milliseconds(10'000));
    EXPECT_EQ(10u, peer.events.size());
}

// A profile may go before the STB blocks that used it get another; only a start needs it.
TEST(Requests, ADeletedProfileIsMissedAtTheStart) {
    Peer peer{Scenario()};
    peer.Configure();
    EXPECT_EQ("", peer.FaultOf(Make(create_req_DeleteProfile, Handles{kProfile}, true)));
    EXPECT_EQ("iptvcd_1.Start: there is no viewing profile with handle 1", peer.FaultOf(peer.StartRequest()));
}

// Channel blocks that are not sent to the port are not viewed; an STB block without any just waits.
TEST(Requests, UnknownChannelBlocksAreSkipped) {
    const std::pair<Handles, std::size_t> cases[] = {
        {{kChannels}, 10}, {{72, kChannels}, 10}, {{kChannels, 72}, 10}, {{72}, 0}, {{}, 0}};
    std::vector<std::uint16_t> channels;
    for (const auto& [handles, views] : cases) {
        SCOPED_TRACE(handles.size());
        Scenario scenario;
        scenario.blocks[0].channel_handle = handles;
        std::vector<std::uint16_t> viewed;
        for (const auto& event : RunAll(scenario)) viewed.push_back(event.viewed_channel);
        ASSERT_EQ(views, viewed.size());
        if (channels.empty()) channels = viewed;
        if (views > 0) {
            EXPECT_EQ(channels, viewed);
        }
    }
}

TEST(Requests, RecordsAreGivenBackAsTheyWereSent) {
    Peer peer{Scenario()};
    peer.scenario.blocks[0].ppp_index = {4};
    peer.scenario.blocks[0].vlan_inner_tag = 12;
    peer.scenario.channels.source_list.resize(2);
    peer.scenario.test.max_sbit_delay = 77;
    peer.Configure();

    const Message channels = peer.Ask(Make(create_req_GetChannelBlock, kChannels, true));
    EXPECT_EQ(10u, channels.get_member_uint32(orv::tm::TMG_MEMBERS, "channel_count"));
    EXPECT_EQ(2u, channels.get_member_array(orv::tm::TMG_MEMBERS, "source_list")->size());
    const Message block = peer.Ask(Make(create_req_GetSettopBlock, kBlock, true));
    EXPECT_EQ(12, block.get_member_uint16(orv::tm::TMG_MEMBERS, "vlan_inner_tag"));
    EXPECT_EQ(4, block.get_member_array(orv::tm::TMG_MEMBERS, "ppp_index")->get_member_uint16(0));
    const Message profile = peer.Ask(Make(create_req_GetProfile, kProfile, true));
    EXPECT_EQ(3000u, profile.get_member_uint32(orv::tm::TMG_MEMBERS, "view_duration"));
    const Message test = peer.Ask(Make(create_req_GetConfig, kTest, true));
    EXPECT_EQ(77u, test.get_member_uint32(orv::tm::TMG_MEMBERS, "max_sbit_delay"));

    EXPECT_EQ("", peer.FaultOf(Make(create_req_Reset)));
    EXPECT_NE("", peer.FaultOf(Make(create_req_GetProfile, kProfile, true)));
}

TEST(Requests, InterfacesAreKept) {
    Peer peer{Scenario()};
    IFSETUP_1_bll::NetworkInterfaceStack_s stack;
    stack.ifDescriptors.push_back({IFSETUP_1_bll::InterfaceTypeList_t::VLAN, 0});
    const std::vector stacks{stack, stack};
    EXPECT_EQ("", peer.FaultOf(
                      Make(create_req_ConfigInterfacesWithIlHandle, Handles{2, 7}, stacks, Handles{}, true)));
    EXPECT_NE(
        "", peer.FaultOf(Make(create_req_ConfigInterfacesWithIlHandle, Handles{2}, stacks, Handles{}, true)));
    Handles handles;
    Message answer = peer.Ask(Make(create_req_ConfigInterfaces, stacks, true));
    iptvcd_1_bll::parse_resp_ConfigInterfaces(&answer, &handles);
    EXPECT_EQ((Handles{1, 3}), handles);  // 2 is taken
    EXPECT_EQ("", peer.FaultOf(Make(create_req_AttachInterfaces, Handles{1, 40}, true)));
    EXPECT_EQ("", peer.FaultOf(Make(create_req_DetachInterfaces, Handles{1, 40}, true)));

    EXPECT_EQ("", peer.FaultOf(Make(create_req_DeleteInterfaces, Handles{3}, true)));
    std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> found;
    answer = peer.Ask(Make(create_req_GetStackedInterfaces, Handles{7, 1}, true));
    iptvcd_1_bll::parse_resp_GetStackedInterfaces(&answer, &handles, &found);
    EXPECT_EQ((Handles{7, 1}), handles);
    EXPECT_EQ(stacks, found);
    EXPECT_NE("", peer.FaultOf(Make(create_req_GetInterfaces, Handles{3}, true)));

    using IFSETUP_1_bll::ifSetupLibParam_t;
    using Type = IFSETUP_1_bll::ifSetupLibParamType_t;
    const std::vector<ifSetupLibParam_t> parameters{{Type::CREATEDEFAULTROUTE, 1}};
    EXPECT_EQ("", peer.FaultOf(Make(create_req_SetInterfaceLibParams, parameters, true)));
    answer = peer.Ask(Make(create_req_GetInterfaceLibParams, std::vector{Type::CREATEDEFAULTROUTE}, true));
    std::vector<ifSetupLibParam_t> read;
    iptvcd_1_bll::parse_resp_GetInterfaceLibParams(&answer, &read);
    EXPECT_EQ(parameters, read);
}

TEST(Requests, HardwareSettingsAreKept) {
    namespace hw = HwGeneral_1_bll;
    Peer peer{Scenario()};
    const hw::rxFilterEnables_s enables{true, false, true};
    EXPECT_EQ("", peer.FaultOf(Make(hw::create_req_SetCutThruRxFilterEnables, enables, true)));
    EXPECT_EQ("", peer.FaultOf(Make(create_req_Reset)));  // of the IPTV side only
    Message answer = peer.Ask(Make(hw::create_req_GetCutThruRxFilterEnables));
    hw::rxFilterEnables_s read;
    hw::parse_resp_GetCutThruRxFilterEnables(&answer, &read);
    EXPECT_EQ(enables, read);
    EXPECT_EQ("", peer.FaultOf(Make(hw::create_req_Reset)));
    answer = peer.Ask(Make(hw::create_req_GetCutThruRxFilterEnables));
    hw::parse_resp_GetCutThruRxFilterEnables(&answer, &read);
    EXPECT_EQ(hw::rxFilterEnables_s{}, read);

    peer.Ask(Make(hw::create_req_UpdatePortSets, std::vector{hw::PortSet_s{5, {1, 2}}}, true));
    for (const bool there : {true, false}) {
        answer = peer.Ask(Make(hw::create_req_DeletePortSets, std::vector<std::uint16_t>{5}, true));
        EXPECT_EQ(there, answer.get_member_bool(orv::tm::TMG_MEMBERS, "deleteSuccessful"));
    }
}

TEST(Requests, OnlyRequestsAreAnswered) {
    Peer peer{Scenario()};
    Message acknowledgement;
    create_resp_EOTNotification(&acknowledgement);
    peer.port->Receive(acknowledgement.encode());
    std::vector<std::byte> bytes = peer.StartRequest().encode();
    for (std::size_t length = 0; length < bytes.size(); ++length)
        peer.port->Receive({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)});
    EXPECT_TRUE(peer.sent.empty());
}

}  // namespace
