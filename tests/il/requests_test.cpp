// Configuration requests, what is rejected, and faults that are wanted.
#include <gmock/gmock.h>

#include "msgset/HwGeneral_1.h"
#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::tm::Message, testing::HasSubstr;
using Handles = std::vector<std::uint32_t>;
using orv::il::Fault;
using Kind = Fault::Kind;

TEST(Requests, WhatMakesNoSenseIsRefusedByName) {
    channelBlockConfig_s no_channels = Scenario().channels;
    no_channels.channel_count = 0;
    auto other_profile = Scenario().blocks, few = other_profile, many = other_profile;
    other_profile[0].profile_handle = 71;
    few[0].settop_count = 3;
    few[0].ppp_index = {1, 2};
    many[0].settop_count = 0xffffffff;
    Message unnamed = Make(create_req_Stop), malformed = Make(create_req_GetProfile, kProfile, true);
    unnamed.set_request_name("iptvcd_1.Fly");
    malformed.set_request_name("iptvcd_1.UpdateProfile");
    Peer peer{Scenario()};
    peer.Configure();
    const auto refused = [&peer](const char* why, auto create, const auto&... values) {
        EXPECT_THAT(peer.FaultOf(create, values...), HasSubstr(why));
    };
    const char *const no_test = "no test configuration with handle 8",
                      *const no_block = "no STB block with handle 8",
                      *const no_profile = "no viewing profile with handle 8",
                      *const no_block_of_channels = "no channel block with handle 8";
    refused("GetConfig: there is no test configuration with handle 8", create_req_GetConfig, 8u, true);
    refused(no_test, create_req_DeleteConfig, 8u, true);
    refused(no_profile, create_req_GetProfile, 8u, true);
    refused(no_profile, create_req_DeleteProfile, Handles{kProfile, 8}, true);
    refused(no_block_of_channels, create_req_GetChannelBlock, 8u, true);
    refused(no_block_of_channels, create_req_DeleteChannelBlock, Handles{kChannels, 8}, true);
    refused(no_block, create_req_GetSettopBlock, 8u, true);
    refused(no_block, create_req_DeleteSettopBlock, Handles{kBlock, 8}, true);
    refused(no_profile, create_req_AssignProfile, kBlock, 8u, true);
    refused(no_block_of_channels, create_req_AssignChannelBlock, kBlock, 8u, true);
    refused("channel block 2 has 0 channels", create_req_UpdateChannelBlock, std::vector{no_channels}, true);
    refused("no viewing profile with handle 71", create_req_UpdateSettopBlock, other_profile, true);
    refused("STB block 3: 2 PPP sessions for 3 STBs", create_req_UpdateSettopBlock, few, true);
    refused("STB block 3: 4294967295 STBs", create_req_UpdateSettopBlock, many, true);
    refused(no_block, create_req_RegisterResultsNotify, Handles{kBlock, 8}, 1000u, true);
    refused(no_test, create_req_Start, 8u, Handles{kBlock}, 0u, true);
    refused(no_block, create_req_Start, kTest, Handles{kBlock, 8}, 0u, true);
    refused("STB block 3 comes twice", create_req_Start, kTest, Handles{kBlock, kBlock}, 0u, true);
    const std::vector<ipAddress_t> two(2);
    const char* const unequal = "the lists of the stream map are not equally long";
    refused(unequal, create_req_UpdateStreamMap, two, two, Handles{1}, true);
    refused("no interface with handle 8", create_req_GetInterfaces, Handles{8}, true);
    refused("no interface with handle 8", create_req_DeleteInterfaces, Handles{8}, true);
    EXPECT_THAT(peer.FaultOf(std::move(unnamed)), HasSubstr("no such request: 'iptvcd_1.Fly'"));
    EXPECT_THAT(peer.FaultOf(std::move(malformed)), HasSubstr("config"));
    // Rejected requests have changed nothing.
    EXPECT_EQ("", peer.StartAgain());
    EXPECT_EQ("iptvcd_1.Start: a test is running", peer.StartAgain());
    peer.RunTo(10'000);
    EXPECT_EQ(10u, peer.events.size());
}

// A profile may go before the STB blocks that used it get another; only a start needs it.
TEST(Requests, ADeletedProfileIsMissedAtTheStart) {
    Peer peer{Scenario()};
    peer.Configure();
    EXPECT_EQ("", peer.FaultOf(create_req_DeleteProfile, Handles{kProfile}, true));
    EXPECT_EQ("iptvcd_1.Start: there is no viewing profile with handle 1", peer.StartAgain());
}

// Channel blocks that are not sent to the port are not viewed; an STB block without any just waits.
TEST(Requests, UnknownChannelBlocksAreSkipped) {
    for (const Handles& handles : {Handles{kChannels}, {72, kChannels}, {kChannels, 72}, {72}, {}}) {
        Scenario scenario;
        scenario.blocks[0].channel_handle = handles;
        std::vector<int> viewed, expected;
        for (const auto& event : RunAll(scenario)) viewed.push_back(event.viewed_channel);
        if (std::ranges::count(handles, kChannels) > 0) expected = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
        EXPECT_EQ(expected, viewed);
    }
}

TEST(Requests, RecordsAreGivenBackAsTheyWereSent) {
    Peer peer{Scenario()};
    peer.scenario.blocks[0].ppp_index = {4};
    peer.scenario.channels.source_list.resize(2);
    peer.scenario.test.max_sbit_delay = 77;
    peer.Configure();
    const auto number_of = [&peer](auto create, std::uint32_t handle, const char* member) {
        return peer.Ask(Make(create, handle, true)).get_member_uint32(orv::tm::TMG_MEMBERS, member);
    };
    EXPECT_EQ(10u, number_of(create_req_GetChannelBlock, kChannels, "channel_count"));
    EXPECT_EQ(3000u, number_of(create_req_GetProfile, kProfile, "view_duration"));
    EXPECT_EQ(77u, number_of(create_req_GetConfig, kTest, "max_sbit_delay"));
    const Message block = peer.Ask(Make(create_req_GetSettopBlock, kBlock, true));
    EXPECT_EQ(4, block.get_member_array(orv::tm::TMG_MEMBERS, "ppp_index")->get_member_uint16(0));

    EXPECT_EQ("", peer.FaultOf(create_req_Reset));
    EXPECT_NE("", peer.FaultOf(create_req_GetProfile, kProfile, true));
}

TEST(Requests, InterfacesAreKept) {
    Peer peer{Scenario()};
    IFSETUP_1_bll::NetworkInterfaceStack_s stack;
    stack.ifDescriptors.push_back({IFSETUP_1_bll::InterfaceTypeList_t::VLAN, 0});
    const std::vector stacks{stack, stack};
    const auto configure = create_req_ConfigInterfacesWithIlHandle;
    EXPECT_EQ("", peer.FaultOf(configure, Handles{2, 7}, stacks, Handles{}, true));
    EXPECT_NE("", peer.FaultOf(configure, Handles{2}, stacks, Handles{}, true));
    Handles handles;
    Message answer = peer.Ask(Make(create_req_ConfigInterfaces, stacks, true));
    iptvcd_1_bll::parse_resp_ConfigInterfaces(&answer, &handles);
    EXPECT_EQ((Handles{1, 3}), handles);  // 2 is taken
    EXPECT_EQ("", peer.FaultOf(create_req_AttachInterfaces, Handles{1, 40}, true));
    EXPECT_EQ("", peer.FaultOf(create_req_DetachInterfaces, Handles{1, 40}, true));

    EXPECT_EQ("", peer.FaultOf(create_req_DeleteInterfaces, Handles{3}, true));
    std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> found;
    answer = peer.Ask(Make(create_req_GetStackedInterfaces, Handles{7, 1}, true));
    iptvcd_1_bll::parse_resp_GetStackedInterfaces(&answer, &handles, &found);
    EXPECT_EQ((Handles{7, 1}), handles);
    EXPECT_EQ(stacks, found);
    EXPECT_NE("", peer.FaultOf(create_req_GetInterfaces, Handles{3}, true));

    using Type = IFSETUP_1_bll::ifSetupLibParamType_t;
    std::vector<IFSETUP_1_bll::ifSetupLibParam_t> parameters{{Type::CREATEDEFAULTROUTE, 1}}, read;
    EXPECT_EQ("", peer.FaultOf(create_req_SetInterfaceLibParams, parameters, true));
    answer = peer.Ask(Make(create_req_GetInterfaceLibParams, std::vector{Type::CREATEDEFAULTROUTE}, true));
    iptvcd_1_bll::parse_resp_GetInterfaceLibParams(&answer, &read);
    EXPECT_EQ(parameters, read);
}

TEST(Requests, HardwareSettingsAreKept) {
    namespace hw = HwGeneral_1_bll;
    Peer peer{Scenario()};
    const hw::rxFilterEnables_s enables{true, false, true};
    const auto read = [&peer] {
        const Message answer = peer.Ask(Make(hw::create_req_GetCutThruRxFilterEnables));
        hw::rxFilterEnables_s found;
        hw::parse_resp_GetCutThruRxFilterEnables(&answer, &found);
        return found;
    };
    EXPECT_EQ("", peer.FaultOf(hw::create_req_SetCutThruRxFilterEnables, enables, true));
    EXPECT_EQ("", peer.FaultOf(create_req_Reset));  // of the IPTV side only
    EXPECT_EQ(enables, read());
    EXPECT_EQ("", peer.FaultOf(hw::create_req_Reset));
    EXPECT_EQ(hw::rxFilterEnables_s{}, read());

    peer.Ask(Make(hw::create_req_UpdatePortSets, std::vector{hw::PortSet_s{5, {1, 2}}}, true));
    const std::vector<std::uint16_t> port_sets{5};
    for (const bool there : {true, false}) {
        const Message answer = peer.Ask(Make(hw::create_req_DeletePortSets, port_sets, true));
        EXPECT_EQ(there, answer.get_member_bool(orv::tm::TMG_MEMBERS, "deleteSuccessful"));
    }
}

TEST(Requests, OnlyRequestsAreAnswered) {
    Peer peer{Scenario()};
    peer.port->Receive(Make(create_resp_EOTNotification).encode());
    std::vector<std::byte> bytes = peer.StartRequest().encode();
    for (std::size_t length = 0; length < bytes.size(); ++length)
        peer.port->Receive({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length)});
    EXPECT_TRUE(peer.sent.empty());
}

TEST(Faults, EndOfTest) {
    const std::pair<Fault, std::vector<int>> cases[] = {
        {{.kind = Kind::LateEndOfTest, .delay_ms = 250}, {10'250}},
        {{.kind = Kind::RepeatEndOfTest}, {10'000, 10'000}},
        {{.kind = Kind::MissEndOfTest}, {}},
        {{.kind = Kind::MissEndOfTest, .occurrence = 2}, {10'000}}};
    for (auto [fault, ends] : cases) {
        Scenario scenario;
        scenario.faults = {fault};
        Peer peer(scenario, 11'000);
        EXPECT_EQ(ends, peer.end_times);
        EXPECT_EQ(10u, peer.events.size());
        // An end that was missed comes with the stop, once.
        for (int times = 0; times < 2; ++times) peer.Stop();
        if (ends.empty()) ends.emplace_back(11'000);
        EXPECT_EQ(ends, peer.end_times);
        // The next test of the port is not affected.
        if (fault.occurrence > 1) continue;
        EXPECT_EQ("", peer.StartAgain());
        peer.RunTo(22'000);
        EXPECT_EQ(ends.size() + 1, peer.end_times.size());
        peer.port.reset();
        EXPECT_EQ(0, peer.timeline.GetVainCancels()) << "an end that has been told is kept";
    }
}

TEST(Faults, Requests) {
    Scenario scenario;
    scenario.faults = {{.kind = Kind::Refuse, .request = "Start"},
                       {.kind = Kind::LoseResponse, .request = "Start", .occurrence = 2},
                       {.kind = Kind::Refuse, .occurrence = 2}};
    Peer peer(scenario);
    EXPECT_EQ("", peer.FaultOf(create_req_UpdateProfile, std::vector{scenario.profile}, true));
    EXPECT_NE("", peer.FaultOf(create_req_GetProfile, kProfile, true));  // the second of all
    peer.Configure();
    EXPECT_EQ("iptvcd_1.Start was refused on purpose", peer.StartAgain());
    EXPECT_EQ("", peer.Ask(peer.StartRequest()).get_request_name());
    EXPECT_EQ("iptvcd_1.Start: a test is running", peer.StartAgain());
}

TEST(Faults, GoingOffline) {
    const std::pair<Fault, std::size_t> cases[] = {{{.kind = Kind::GoOffline, .occurrence = 3}, 2},
                                                   {{.kind = Kind::GoOffline, .request = "GetProfile"}, 1}};
    for (const auto& [fault, reports] : cases) {
        Scenario scenario;
        scenario.faults = {fault};
        Peer peer(scenario, 1500);
        peer.Ask(Make(create_req_GetProfile, kProfile, true));
        peer.RunTo(12'000);
        EXPECT_NE("", peer.hang_up_reason);
        EXPECT_EQ(reports, peer.reports.size());
        EXPECT_TRUE(peer.end_times.empty());
        EXPECT_EQ("", peer.Ask(peer.StartRequest()).get_request_name());
        EXPECT_EQ(0u, peer.timeline.GetPending());
    }
}

TEST(Faults, SpoiltNotification) {
    Scenario scenario, spoiling;
    spoiling.faults = {{.kind = Kind::SpoilNotification, .occurrence = 2}};
    Peer clean(scenario), spoilt(spoiling);
    for (Peer* peer : {&clean, &spoilt}) {
        peer->Start();
        peer->RunTo(10'000);
    }
    ASSERT_EQ(clean.sent.size(), spoilt.sent.size());
    std::size_t different = 0;
    for (std::size_t i = 0; i < clean.sent.size(); ++i) different += clean.sent[i] != spoilt.sent[i];
    EXPECT_EQ(1u, different);
    EXPECT_EQ(clean.end_times, spoilt.end_times);
}

}  // namespace
