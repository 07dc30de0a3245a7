#include "emulated_network.h"

#include <gtest/gtest.h>

#include <utility>

#include "channel_ssrc.h"
#include "live/sample_frames.h"
#include "live/sent_frames.h"
#include "orv/live/frame.h"
#include "orv/live/stream_packet.h"

namespace testing_aids {

using namespace orv::live;  // NOLINT: frames are what this file is about
using orv::nic::SeenFrame;
using orv::nic::ssrc_of;

namespace {

constexpr auto kNever = EmulatedNetwork::Nanoseconds::max();

/// The tags of a frame, taken out of its bytes.
VlanTags take_tags(std::vector<std::byte>& frame) {
    VlanTags vlan;
    while (number_at(frame, 12) == 0x8100 || number_at(frame, 12) == 0x88a8) {
        vlan.tags[vlan.count++] = {number_at(frame, 12), number_at(frame, 14)};
        frame.erase(frame.begin() + 12, frame.begin() + 16);
    }
    return vlan;
}

}  // namespace

bool EmulatedNetwork::send(std::span<const std::byte> frame) {
    timeline_.PostAfter(
        kWay, [this, bytes = std::vector<std::byte>(frame.begin(), frame.end())] { OnLeft(bytes); });
    return true;
}

void EmulatedNetwork::OnLeft(const std::vector<std::byte>& frame) {
    std::vector<std::byte> untagged = frame;
    Sent left{timeline_.GetNow(), {}, {}, take_tags(untagged)};
    const bool is_to_broadcast = std::to_integer<unsigned>(untagged[0]) == 0xff;  // ARP, DHCP
    const bool is_about_groups = !is_to_broadcast && (std::to_integer<unsigned>(untagged[0]) & 1) != 0;
    if (is_about_groups) left.text = sent_text(untagged);
    for (std::size_t i = 0; i < MacAddress::kLength; ++i)
        left.host.bytes[i] = std::to_integer<std::uint8_t>(frame[6 + i]);
    if (!lost_text.empty() && left.text == lost_text) return;
    sent.push_back(left);
    if (to_port) to_port({frame, left.time.count(), true, {}});
    if (left.text.empty()) {  // to a neighbour
        if (to_server) to_server(untagged);
        return;
    }

    const std::size_t begin = left.text.find(' ') + 1;
    Flow& flow = flows_[{left.vlan, left.text.substr(begin, left.text.find(' ', begin) - begin)}];
    // The reports that hosts of these tests send.
    const std::set<std::string> joins{"report", "TO_EX", "ALLOW", "IS_EX", "IS_IN"};
    if (joins.contains(left.text.substr(0, begin - 1))) {
        if (!std::exchange(is_sending_, true) && !is_silent)
            timeline_.PostAfter(kGap - left.time % kGap, [this] { Tick(); });
        if (flow.members.empty()) {
            if (left.time > flow.until || flow.until == Nanoseconds{}) flow.from = left.time + join_delay;
            flow.until = kNever;
        }
        flow.members.insert(left.host);
    } else if (flow.members.erase(left.host) > 0 && flow.members.empty()) {
        flow.until = left.time + leave_delay;
    }
}

void EmulatedNetwork::Tick() {
    const Nanoseconds now = timeline_.GetNow();
    const auto number = static_cast<std::uint64_t>(now / kGap);
    for (const auto& [key, flow] : flows_) {
        if (now < flow.from || now > flow.until) continue;
        for (int left = copies(number, key.second); left > 0; --left)
            for (const std::string& source : sources) SendPacket(key.first, ip(key.second), source, number);
    }
    timeline_.PostAfter(kGap, [this] { Tick(); });
}

void EmulatedNetwork::SendPacket(const VlanTags& vlan, const IpAddress& group, const std::string& source,
                                 std::uint64_t number) {
    UdpFlow flow;
    flow.source = {{{2, 0, 0, 0, 9, 1}}, ip(source), vlan};
    flow.destination = group;
    flow.destination_mac = MulticastMac(group);
    flow.source_port = flow.destination_port = 5004;
    std::array<std::byte, kMaxFrameLength> frame;
    const auto payload = std::span(frame).subspan(UdpPayloadOffset(flow));
    std::size_t length = WriteStreamPacket(payload, {7, number, timeline_.GetNow()}, ssrc_of(group));
    if (is_foreign) length -= 188;
    Deliver(std::span(frame).first(WriteUdpHeaders(frame, flow, length)));
}

void EmulatedNetwork::Deliver(std::span<const std::byte> frame, const ReceiveInfo& info) {
    if (to_port) to_port({frame, timeline_.GetNow().count(), false, info});
}

std::size_t EmulatedNetwork::CountSent(const std::string& text) const {
    return static_cast<std::size_t>(std::ranges::count_if(sent, [&](const Sent& frame) {
        return (' ' + frame.text + ' ').find(' ' + text + ' ') != std::string::npos;  // a record among others
    }));
}

std::set<std::string> EmulatedNetwork::GetMemberships() const {
    std::set<std::string> groups;
    for (const auto& [key, flow] : flows_)
        if (!flow.members.empty()) groups.insert(key.second);
    return groups;
}

EmulatedPort::EmulatedPort(const orv::nic::LivePort::Setup& setup, orv::il::ITimeline& timeline,
                           EmulatedNetwork& network, Send send, HangUp hang_up)
    : world(
          setup,
          {timeline, network, figures, 1500, [this](const std::string& what) { complaints.push_back(what); },
           [](const orv::nic::Listening&) {}},
          [this] { ++runs_over; }),
      core("Port 1", {}, 1, world, timeline, std::move(send), std::move(hang_up)) {
    network.to_port = [this](const SeenFrame& frame) { world.on_seen(frame, frame.stamp); };
}

void EmulatedPort::Receive(const std::vector<std::byte>& bytes) {
    core.receive(bytes);
    world.know_hosts(core.configuration().interfaces);
}

LiveScenario::LiveScenario(std::vector<HostAddress> some, const orv::nic::MembershipSettings& settings,
                           const orv::nic::UnicastSettings& unicast)
    : hosts(std::move(some)),
      peer(Scenario(), [&, this](orv::il::ITimeline& timeline, auto send, auto hang_up) {
          network = std::make_unique<EmulatedNetwork>(static_cast<FakeTimeline&>(timeline));
          const orv::nic::LivePort::Setup setup{
              .name = "Port 1", .interface = {}, .membership = settings, .unicast = unicast};
          return std::make_unique<EmulatedPort>(setup, timeline, *network, std::move(send),
                                                std::move(hang_up));
      }) {
    settopBlockConfig_s& block = peer.scenario.blocks[0];
    block.settop_count = static_cast<std::uint32_t>(hosts.size());
    block.vif_handle = kInterface;
    if (hosts[0].ip.IsV6()) network->sources = {"2001:db8::99"};
    Speak(hosts[0].ip.IsV6() ? IgmpVersion::MLD_VERSION2 : IgmpVersion::IGMP_VERSION2);
}

void LiveScenario::Speak(IgmpVersion version) {
    peer.scenario.blocks[0].igmp_version = version;
    if (!hosts[0].ip.IsV6()) return;
    auto& channels = peer.scenario.channels;
    channels.channel_ip_start = {1, {.v6 = {{0xff, 0x1e, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}}}};
    channels.channel_ip_step = {1, {.v6 = {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}}}};
}

std::string LiveScenario::Configure() {
    const std::vector<std::uint32_t> handle{kInterface}, none;
    const std::string fault = peer.FaultOf(iptvcd_1_bll::create_req_ConfigInterfacesWithIlHandle, handle,
                                           std::vector{stack_of(hosts)}, none, true);
    peer.Configure();
    return fault;
}

void LiveScenario::Start() {
    EXPECT_EQ("", Configure());
    EXPECT_EQ("", peer.StartAgain());
}

void LiveScenario::RunAll() {
    Start();
    for (int second = 1; peer.end_times.empty() && second < 60; ++second) RunTo(1000 * second);
    EXPECT_EQ(1u, peer.end_times.size());
    RunTo(static_cast<int>(peer.timeline.GetNow() / milliseconds(1)) + 1000);
    EXPECT_EQ(1u, peer.end_times.size());
}

HostAddress host_of(std::uint8_t index, const std::vector<std::uint16_t>& vlans, bool is_v6) {
    const std::string last = std::to_string(index + 1);
    HostAddress host{{{2, 0, 0, 0, 0, static_cast<std::uint8_t>(index + 1)}},
                     ip((is_v6 ? "2001:db8::" : "10.0.0.") + last),
                     {}};
    for (const std::uint16_t id : vlans) host.vlan.tags[host.vlan.count++] = {0x8100, id};
    return host;
}

IFSETUP_1_bll::NetworkInterfaceStack_s stack_of(const std::vector<HostAddress>& hosts) {
    using IFSETUP_1_bll::InterfaceTypeList_t;
    IFSETUP_1_bll::NetworkInterfaceStack_s stack;
    const bool is_v6 = hosts.front().ip.IsV6();
    stack.ifDescriptors.push_back({is_v6 ? InterfaceTypeList_t::IPv6 : InterfaceTypeList_t::IPv4, 0});
    const auto add_addresses = [&hosts](auto& layer) {
        for (const auto& host : hosts)
            std::ranges::copy(host.ip.GetBytes(), layer.AddrList.emplace_back().address);
    };
    is_v6 ? add_addresses(stack.Ipv6InterfaceList.emplace_back())
          : add_addresses(stack.Ipv4InterfaceList.emplace_back());
    const std::uint32_t tags = hosts.front().vlan.count;
    for (std::uint32_t i = 0; i < tags; ++i) {
        const std::size_t tag = tags - 1 - i;  // the inner one first
        stack.ifDescriptors.push_back({InterfaceTypeList_t::VLAN, i});
        auto& layer = stack.VlanInterfaceList.emplace_back();
        for (const auto& host : hosts) layer.IdList.push_back(host.vlan.tags[tag].GetId());
        layer.Priority = static_cast<std::uint8_t>(hosts.front().vlan.tags[tag].control >> 13);
        layer.Cfi = hosts.front().vlan.tags[tag].control >> 12 & 1;
        layer.Tpid = hosts.front().vlan.tags[tag].type;
    }
    stack.ifDescriptors.push_back({InterfaceTypeList_t::ETHII, 0});
    auto& layer = stack.EthIIInterfaceList.emplace_back();
    for (const auto& host : hosts)
        layer.SrcMacList.push_back({{host.mac.bytes.begin(), host.mac.bytes.end()}});
    return stack;
}

}  // namespace testing_aids
