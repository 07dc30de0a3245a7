// Hosts of a live port that get their addresses from a server, and what the port makes of them.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <map>

#include "emulated_network.h"
#include "live/dhcp4_network.h"
#include "msgset/hostaddr_1.h"
#include "orv/live/frame.h"

namespace {

using namespace testing_aids;    // NOLINT: a test
using namespace hostaddr_1_bll;  // NOLINT
using orv::live::IpAddress;
using Handles = std::vector<std::uint32_t>;

constexpr std::uint32_t kAddresses = 77;

/// Three hosts, of which the third one is never answered. The server gives 10.9.0.<host>, with a lease of 20
/// s.
struct AddressingTest : testing::Test {
    AddressingTest() : live({host_of(0), host_of(1), host_of(2)}) {
        live.network->to_server = [this](const std::vector<std::byte>& frame) { OnFrame(frame); };
        const auto to_port = live.network->to_port;
        live.network->to_port = [this, to_port](const orv::nic::SeenFrame& frame) {
            // Who reports memberships: the source of IGMP.
            if (frame.is_outgoing && Byte(frame.bytes, 12) == 8 && Byte(frame.bytes, 23) == 2)
                reporters.insert(Byte(frame.bytes, 28) * 1000 + Byte(frame.bytes, 29));
            to_port(frame);
        };
        EXPECT_EQ("", live.Configure());
        addressBlock_s block;
        block.handle = kAddresses;
        block.if_handle = LiveScenario::kInterface;
        block.hosts.resize(3);
        block.attempts = 1;
        EXPECT_EQ("", live.peer.FaultOf(create_req_ConfigAddressing, std::vector{block}, true));
    }

    static unsigned Byte(std::span<const std::byte> bytes, std::size_t at) {
        return std::to_integer<unsigned>(bytes[at]);
    }

    void OnFrame(const std::vector<std::byte>& frame) {
        constexpr std::size_t kMessage = 14 + 20 + 8;
        if (frame.size() < kMessage + 244 || Byte(frame, 12) != 8 || Byte(frame, 23) != 17) return;
        const std::span message = std::span(frame).subspan(kMessage);
        const unsigned host = Byte(message, 33), type = Byte(message, 242);
        ++asked[type];
        if (host == 3 || type > 3 || is_dead) return;
        auto answer =
            dhcp4_answer(fmt::format("0a09{:02x}{:02x}", net, host),
                         fmt::format("3501{:02x} 3604 c0000201 3304 00000014 0104 ffff0000 0304 0a090001",
                                     type == 1 ? 2 : 5));
        std::ranges::copy(message.subspan(4, 4), answer.begin() + 4);
        std::ranges::copy(message.subspan(28, 6), answer.begin() + 28);
        orv::live::UdpFlow flow;
        flow.source = {{{2, 0, 0, 0, 9, 9}}, IpAddress::V4(0xc0000201), {}};
        flow.destination = IpAddress::V4(0xffffffff);
        flow.destination_mac.bytes.fill(0xff);
        flow.source_port = 67;
        flow.destination_port = 68;
        std::array<std::byte, orv::live::kMaxFrameLength> out;
        std::ranges::copy(answer, out.begin() + static_cast<std::ptrdiff_t>(UdpPayloadOffset(flow)));
        live.network->Deliver(std::span(out).first(WriteUdpHeaders(out, flow, answer.size())));
    }

    addressCounts_s Count() {
        std::vector<addressCounts_s> counts;
        auto answer = live.peer.Ask(Make(create_req_GetAddressCounts, Handles{kAddresses}, true));
        parse_resp_GetAddressCounts(&answer, &counts);
        return counts.at(0);
    }

    bool AnswersArp(std::uint32_t address) {
        live.network->sent.clear();
        const orv::live::HostAddress asker{{{2, 0, 0, 0, 9, 9}}, IpAddress::V4(0x0a090001), {}};
        std::array<std::byte, orv::live::kMaxFrameLength> out;
        live.network->Deliver(std::span(out).first(WriteArpRequest(out, asker, IpAddress::V4(address))));
        Wait(1);
        return !live.network->sent.empty();
    }
    void Wait(int ms) { live.RunTo(static_cast<int>(live.peer.timeline.GetNow() / milliseconds(1)) + ms); }

    LiveScenario live;
    unsigned net = 0;
    bool is_dead = false;           ///< the server
    std::map<unsigned, int> asked;  ///< messages to the server, by type
    std::set<unsigned> reporters;   ///< by the last two bytes of their address
};

TEST_F(AddressingTest, HostsUseWhatTheyAreGivenAndThoseWithoutViewNothing) {
    EXPECT_FALSE(AnswersArp(0x0a000001));  // what is configured does not matter
    EXPECT_EQ("", live.peer.FaultOf(create_req_BindHosts, Handles{kAddresses}, true));
    Wait(20'000);
    EXPECT_EQ(2u, Count().bound);
    EXPECT_EQ(1u, Count().failed);
    EXPECT_THAT(Count().first_failure, testing::StartsWith("host 3: "));
    EXPECT_TRUE(AnswersArp(0x0a090001));
    EXPECT_FALSE(AnswersArp(0x0a090003));
    EXPECT_EQ("", live.peer.StartAgain());
    Wait(5'000);
    EXPECT_EQ((std::set<unsigned>{1, 2}), reporters);
    // The server gives others when they renew: the test goes on with these.
    net = 7;
    Wait(15'000);
    reporters.clear();
    EXPECT_EQ("", live.peer.StartAgain());
    Wait(5'000);
    EXPECT_EQ((std::set<unsigned>{7001, 7002}), reporters);
    EXPECT_EQ(2u, Count().changed);
    EXPECT_TRUE(AnswersArp(0x0a090701));
    EXPECT_FALSE(AnswersArp(0x0a090001));
    EXPECT_FALSE(live.GetPort().world.give_back_some());
    Wait(1);
    EXPECT_EQ(2, asked[7]);
    EXPECT_EQ(3u, Count().idle);
}

TEST_F(AddressingTest, ATestInProgressFollowsAChangedAddress) {
    live.peer.scenario.test.test_duration = 60'000;
    live.peer.Configure();
    EXPECT_EQ("", live.peer.FaultOf(create_req_BindHosts, Handles{kAddresses}, true));
    Wait(6'000);
    EXPECT_EQ("", live.peer.StartAgain());
    net = 7;
    Wait(20'000);
    reporters.clear();
    Wait(3'000);
    EXPECT_EQ((std::set<unsigned>{7001, 7002}), reporters);
}

TEST_F(AddressingTest, AHostWithoutAnAddressSaysNothingMoreUntilItHasOneAgain) {
    live.peer.scenario.test.test_duration = 90'000;
    live.peer.Configure();
    EXPECT_EQ("", live.peer.FaultOf(create_req_BindHosts, Handles{kAddresses}, true));
    Wait(6'000);
    EXPECT_EQ("", live.peer.StartAgain());
    Wait(5'000);
    is_dead = true;
    Wait(20'000);
    EXPECT_EQ(2u, Count().lost);
    reporters.clear();
    EXPECT_FALSE(AnswersArp(0x0a090001));
    const std::size_t before = live.peer.events.size();
    Wait(10'000);
    EXPECT_EQ((std::set<unsigned>{}), reporters);
    EXPECT_EQ(before, live.peer.events.size());
    is_dead = false;
    net = 7;
    EXPECT_EQ("", live.peer.FaultOf(create_req_BindHosts, Handles{kAddresses}, true));
    Wait(10'000);
    EXPECT_EQ((std::set<unsigned>{7001, 7002}), reporters);
}

TEST_F(AddressingTest, BlocksThatDoNotFitTheirInterfaceAreRefused) {
    const auto refused = [this](const char* why, auto change) {
        addressBlock_s block;
        block.handle = 78;
        block.if_handle = LiveScenario::kInterface;
        block.hosts.resize(3);
        change(block);
        EXPECT_THAT(live.peer.FaultOf(create_req_ConfigAddressing, std::vector{block}, true),
                    testing::HasSubstr(why));
    };
    refused("another block already", [](addressBlock_s&) {});
    EXPECT_EQ("", live.peer.FaultOf(create_req_DeleteAddressing, Handles{kAddresses}, true));
    refused("has 2 hosts, and interface 5 has 3", [](addressBlock_s& block) { block.hosts.resize(2); });
    refused("no interface with handle 6", [](addressBlock_s& block) { block.if_handle = 6; });
    refused("different IP versions", [](addressBlock_s& block) { block.protocol = AddressProtocol::SLAAC; });
    refused("no option 300", [](addressBlock_s& block) { block.options = {{300, {1}}}; });
    refused("host 2: ", [](addressBlock_s& block) { block.hosts[1].options = {{53, {1}}}; });
    // Nothing is left of any of them.
    EXPECT_TRUE(AnswersArp(0x0a000001));
}

}  // namespace
