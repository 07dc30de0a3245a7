// What live runs are made of, one by one.
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <rapidcheck.h>

#include <algorithm>

#include "emulated_network.h"
#include "host_stacks.h"
#include "il/fake_timeline.h"
#include "live/sample_frames.h"
#include "neighbours.h"
#include "next_hops.h"
#include "orv/il/port_fault.h"
#include "orv/live/frame.h"
#include "orv/live/stream_packet.h"
#include "query_gate.h"
#include "reception.h"
#include "sequence_counter.h"
#include "thrown.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using IFSETUP_1_bll::InterfaceTypeList_t, IFSETUP_1_bll::NetworkInterfaceStack_s;
using namespace orv::live;  // NOLINT
using namespace orv::nic;   // NOLINT: a test
using orv::il::kMillisecond, orv::il::kNever, orv::il::Packets;

std::string text_of(const std::vector<Host>& hosts) {
    std::string text;
    for (const Host& host : hosts) {
        text += fmt::format("{}{:02x} {}", text.empty() ? "" : "; ", fmt::join(host.address.mac.bytes, ":"),
                            host.address.ip.ToString());
        for (const auto& tag : host.address.vlan.Get())
            text += fmt::format(" {:04x}/{:04x}", tag.type, tag.control);
        if (!host.gateway.IsUnspecified()) text += " via " + host.gateway.ToString();
        if (host.gateway_mac) text += fmt::format(" {:02x}", fmt::join(host.gateway_mac->bytes, ":"));
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
        text_of(hosts_of(5, stack())));
    const auto v6 = stack_of({host(1, "2001:db8::1"), host(2, "2001:db8::2")});
    EXPECT_EQ("02:00:00:00:00:01 2001:db8::1; 02:00:00:00:00:02 2001:db8::2", text_of(hosts_of(5, v6)));

    // What has no list, or a list of one, is the same for all.
    NetworkInterfaceStack_s single = stack();
    single.VlanInterfaceList[0].IdList = {};
    single.VlanInterfaceList[0].VlanId = 9;
    single.VlanInterfaceList[0].Tpid = 0;
    single.VlanInterfaceList[1].IdList = {200};
    EXPECT_EQ(
        "02:00:00:00:00:01 10.0.0.1 88a8/00c8 8100/b009; 02:00:00:00:00:02 10.0.0.2 88a8/00c8 8100/b009",
        text_of(hosts_of(5, single)));
    single.Ipv4InterfaceList[0].AddrList = {};
    single.Ipv4InterfaceList[0].Address = {{10, 9, 9, 9}};
    single.EthIIInterfaceList[0].SrcMacList = {};
    single.EthIIInterfaceList[0].SourceMac.address = {2, 9, 9, 9, 9, 9};
    EXPECT_EQ("02:09:09:09:09:09 10.9.9.9 88a8/00c8 8100/b009", text_of(hosts_of(5, single)));
}

TEST(HostStacks, KnowWhereTheirPacketsGo) {
    const auto with_gateway = [](std::vector<HostAddress> hosts, const std::string& gateway,
                                 std::uint8_t prefix_length) {
        NetworkInterfaceStack_s made = stack_of(hosts);
        const auto set = [&](auto& layer) {
            layer.PrefixLength = prefix_length;
            std::ranges::copy(ip(gateway).GetBytes(), layer.Gateway.address);
        };
        hosts[0].ip.IsV6() ? set(made.Ipv6InterfaceList[0]) : set(made.Ipv4InterfaceList[0]);
        return made;
    };
    // the host, its prefix and gateway, a destination, and where packets to it go first
    const std::tuple<std::string, std::uint8_t, std::string, std::string, std::string> cases[] = {
        {"10.0.0.1", 24, "10.0.0.254", "10.0.0.9", "10.0.0.9"},
        {"10.0.0.1", 24, "10.0.0.254", "10.0.1.9", "10.0.0.254"},
        {"10.0.0.1", 23, "10.0.0.254", "10.0.1.9", "10.0.1.9"},
        {"10.0.0.1", 23, "10.0.0.254", "10.0.2.9", "10.0.0.254"},
        {"10.0.0.1", 24, "0.0.0.0", "10.0.1.9", "10.0.1.9"},
        {"10.0.0.1", 32, "10.0.0.254", "10.0.0.2", "10.0.0.254"},
        {"10.0.0.1", 0, "10.0.0.254", "192.0.2.1", "192.0.2.1"},
        {"2001:db8::1", 64, "fe80::1", "2001:db8::9", "2001:db8::9"},
        {"2001:db8::1", 64, "fe80::1", "2001:db8:0:1::9", "fe80::1"},
        {"2001:db8::1", 128, "fe80::1", "fe80::9", "fe80::9"},
        {"2001:db8::1", 64, "::", "2001:db8:0:1::9", "2001:db8:0:1::9"}};
    for (const auto& [own, prefix, gateway, destination, expected] : cases) {
        const auto hosts = hosts_of(5, with_gateway({host(1, own)}, gateway, prefix));
        EXPECT_EQ(expected, next_hop(hosts.at(0), ip(destination)).ToString())
            << own << '/' << int{prefix} << " via " << gateway << " to " << destination;
    }

    NetworkInterfaceStack_s both = with_gateway({host(1, "10.0.0.1"), host(2, "10.0.0.2")}, "10.0.0.254", 24);
    auto& layer = both.Ipv4InterfaceList[0];
    layer.GatewayMac.address = {2, 0, 0, 0, 0, 9};
    EXPECT_EQ(
        "02:00:00:00:00:01 10.0.0.1 via 10.0.0.254 02:00:00:00:00:09; "
        "02:00:00:00:00:02 10.0.0.2 via 10.0.0.254 02:00:00:00:00:09",
        text_of(hosts_of(5, both)));
    layer.ResolveGatewayMac = true;
    layer.GatewayList = {{{10, 0, 0, 253}}, {{0, 0, 0, 0}}};
    EXPECT_EQ("02:00:00:00:00:01 10.0.0.1 via 10.0.0.253; 02:00:00:00:00:02 10.0.0.2",
              text_of(hosts_of(5, both)));
}

TEST(HostStacks, SaysWhatIsWrong) {
    const auto with_layer = [](InterfaceTypeList_t type) {
        return [type](NetworkInterfaceStack_s& stack) { stack.ifDescriptors.push_back({type, 0}); };
    };
    const std::pair<std::function<void(NetworkInterfaceStack_s&)>, std::string> cases[] = {
        {[](auto& s) { s.ifDescriptors.erase(s.ifDescriptors.begin()); }, "has no IP layer"},
        {[](auto& s) { s.ifDescriptors.pop_back(); }, "has no Ethernet layer"},
        {with_layer(InterfaceTypeList_t::IPv4), "has more than one IP layer"},
        {with_layer(InterfaceTypeList_t::VLAN), "has more than 2 VLANs"},
        {with_layer(InterfaceTypeList_t::PPP), "has a PPP session, which is not offered by live ports"},
        {with_layer(InterfaceTypeList_t::PPPOE), "has a PPP session, which is not offered by live ports"},
        {with_layer(InterfaceTypeList_t::GRE),
         "has a layer other than IP, VLAN and Ethernet, which is not offered by live ports"},
        {[](auto& s) { s.VlanInterfaceList[0].Tpid = 0x9200; },
         "has a VLAN tag of type 0x9200; live ports offer 0x8100, 0x88a8 and 0x9100"},
        {[](auto& s) { s.ifDescriptors[1].indexInList = 2; }, "names a layer that it does not have"},
        {[](auto& s) { s.VlanInterfaceList[0].IdList.push_back(3); },
         "has 2 entries for one of its layers and 3 for another"},
        {[](auto& s) { s.EthIIInterfaceList[0].SrcMacList[1].address.pop_back(); },
         "has a MAC address of 5 bytes"},
        {[](auto& s) { s.EthIIInterfaceList[0].SrcMacList[1].address[0] = 3; },
         "has a host with a multicast MAC address"},
        {[](auto& s) { s.Ipv4InterfaceList[0].AddrList[1].address[0] = 224; },
         "has a host with the address 224.0.0.2"},
        {[](auto& s) {
             s.Ipv4InterfaceList[0].GatewayList.resize(1),
                 s.Ipv4InterfaceList[0].GatewayList[0].address[0] = 224;
         },
         "has a host with the gateway 224.0.0.0"},
        {[](auto& s) { s.Ipv4InterfaceList[0].GatewayList.resize(3); },
         "has 3 entries for one of its layers and 2 for another"},
        {[](auto& s) { s.Ipv4InterfaceList[0].PrefixLength = 33; }, "has a prefix of 33 bits"},
        {[](auto& s) { s.Ipv4InterfaceList[0].GatewayMac.address.resize(3, 2); },
         "has a MAC address of 3 bytes"}};
    for (const auto& [spoil, text] : cases) {
        NetworkInterfaceStack_s spoilt = stack();
        spoil(spoilt);
        EXPECT_EQ("interface 5 " + text, ThrownBy<orv::il::PortFault>([&] { hosts_of(5, spoilt); }));
    }
}

struct LastFrame : orv::nic::FrameSink {
    bool send(std::span<const std::byte> frame) override {
        hex = hex_text(frame);
        return ++frames > 0;
    }
    std::string hex;
    int frames = 0;
};

TEST(Neighbours, AnswersForItsHosts) {
    orv::nic::Neighbours neighbours;
    for (const bool is_v6 : {false, true}) {
        neighbours.add(host_of(0, {}, is_v6));
        neighbours.add(host_of(1, {100}, is_v6));
        neighbours.add(host_of(2, {100, 7}, is_v6));
    }
    // which host answers, by the last byte of its address; 0 for none
    const std::tuple<std::string, std::vector<std::uint16_t>, int> cases[] = {
        {"10.0.0.1", {}, 1},        {"10.0.0.2", {100}, 2},        {"10.0.0.3", {100, 7}, 3},
        {"10.0.0.1", {100}, 0},     {"10.0.0.2", {}, 0},           {"10.0.0.2", {101}, 0},
        {"10.0.0.3", {7, 100}, 0},  {"10.0.0.4", {}, 0},           {"2001:db8::1", {}, 1},
        {"2001:db8::2", {100}, 2},  {"2001:db8::3", {100, 7}, 3},  {"2001:db8::3", {}, 0},
        {"fe80::ff:fe00:1", {}, 1}, {"fe80::ff:fe00:1", {100}, 0}, {"fe80::ff:fe00:3", {100, 7}, 3}};
    std::array<std::byte, kMaxFrameLength> frame;
    const auto answer_to = [&](const HostAddress& asker, const IpAddress& target) {
        const std::size_t length = target.IsV6() ? WriteNeighborSolicitation(frame, asker, target)
                                                 : WriteArpRequest(frame, asker, target);
        LastFrame sink;
        neighbours.on_frame(ParseFrame(std::span(frame).first(length)).value(), 0, sink);
        return sink.hex;
    };
    for (const auto& [about, vlans, answers] : cases) {
        SCOPED_TRACE(about);
        const IpAddress target = ip(about);
        const HostAddress asker = host_of(200, vlans, target.IsV6());
        std::string expected;
        if (answers > 0) {
            const HostAddress own{host_of(static_cast<std::uint8_t>(answers - 1)).mac, target, asker.vlan};
            const std::size_t length = target.IsV6()
                                           ? WriteNeighborAdvertisement(frame, own, asker.mac, asker.ip)
                                           : WriteArpReply(frame, own, asker.mac, asker.ip);
            expected = hex_text(std::span(frame).first(length));
            EXPECT_EQ("", answer_to(own, target))
                << "a host's own announcement, received back, is not a request";
        }
        EXPECT_EQ(expected, answer_to(asker, target));
    }
    neighbours.clear();
    EXPECT_EQ("", answer_to(host_of(200), host_of(0).ip));
}

TEST(Neighbours, AnswersNoFlood) {
    orv::nic::Neighbours neighbours;
    neighbours.add(host_of(0));
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length = WriteArpRequest(frame, host_of(200), host_of(0).ip);
    const auto question = *ParseFrame(std::span(frame).first(length));
    LastFrame sink;
    for (int i = 0; i < 10'000; ++i) neighbours.on_frame(question, i * 10'000, sink);  // 100 ms
    EXPECT_EQ(1000, sink.frames);
}

/// Frames by the time at which they were sent, and what came of the requests.
struct NextHopsTest : ::testing::Test, orv::nic::FrameSink {
    bool send(std::span<const std::byte> frame) override {
        sent_.push_back(hex_text(frame));
        times_ms_.push_back(static_cast<int>(timeline_.GetNow() / orv::il::Nanoseconds(kMillisecond)));
        return true;
    }
    void Resolve(const HostAddress& asker, const std::string& hop) {
        hops_.resolve(asker, ip(hop), [this](const auto& mac) {
            told_.push_back(mac ? fmt::format("{:02x}", mac->bytes[5]) : "nobody");
        });
    }
    template <class Message>
    void Hear(const HostAddress& on_link, const Message& message) {
        ParsedFrame frame;
        frame.vlan = on_link.vlan;
        frame.content = message;
        hops_.on_frame(frame);
    }
    static MacAddress Mac(std::uint8_t last) { return {{2, 0, 0, 0, 1, last}}; }
    void RunTo(int time_ms) { timeline_.RunTo(std::chrono::milliseconds(time_ms)); }

    FakeTimeline timeline_;
    orv::nic::NextHops hops_{timeline_, *this};
    std::vector<std::string> sent_, told_;
    std::vector<int> times_ms_;
};

TEST_F(NextHopsTest, OneRequestServesAllOfALink) {
    for (const bool is_v6 : {false, true}) {
        SCOPED_TRACE(is_v6);
        const HostAddress asker = host_of(0, {100, 7}, is_v6);
        const std::string hop = is_v6 ? "fe80::fe" : "10.0.0.254";
        const auto hear = [&](const HostAddress& where, std::uint8_t mac, bool is_override) {
            is_v6 ? Hear(where, NeighborAdvertisement{ip(hop), Mac(mac), true, is_override})
                  : Hear(where, ArpReply{Mac(mac), ip(hop)});
        };
        sent_.clear();
        told_.clear();
        hear(asker, 1, true);  // nobody has asked
        Resolve(asker, hop);
        Resolve(host_of(1, {100, 7}, is_v6), hop);
        std::array<std::byte, kMaxFrameLength> frame;
        const std::size_t length =
            is_v6 ? WriteNeighborSolicitation(frame, asker, ip(hop)) : WriteArpRequest(frame, asker, ip(hop));
        const std::string request = hex_text(std::span(frame).first(length));
        EXPECT_EQ(std::vector{request}, sent_);
        hear(host_of(0, {100, 8}, is_v6), 1, true);  // on another link
        Hear(asker, ArpReply{{{3, 0, 0, 0, 0, 1}}, ip(hop)});
        Hear(asker, NeighborAdvertisement{ip(hop), {{0x33, 0x33, 0, 0, 0, 1}}, true, true});
        EXPECT_EQ(std::vector<std::string>(), told_);
        hear(asker, 9, false);
        Resolve(asker, hop);
        hear(asker, 10, false);  // not allowed to replace what is known
        Resolve(asker, hop);
        hear(asker, 11, true);
        Resolve(asker, hop);
        EXPECT_EQ((std::vector<std::string>{"09", "09", "09", is_v6 ? "09" : "0a", "0b"}), told_);
        EXPECT_EQ(std::vector{request}, sent_);
        EXPECT_EQ(0u, timeline_.GetPending());
        hops_.forget();
        RunTo(is_v6 ? 10'001 : 1);
        Resolve(asker, hop);
        EXPECT_EQ((std::vector{request, request}), sent_);
        hops_.forget();
        RunTo(is_v6 ? 20'000 : 10'000);
        EXPECT_EQ(5u, told_.size());
    }
    Resolve(host_of(0), "10.0.0.253");
    Hear(host_of(0), ArpRequest{Mac(9), ip("10.0.0.253"), ip("10.0.0.253")});  // an announcement
    EXPECT_EQ("09", told_.back());
}

TEST_F(NextHopsTest, GivesUpAfterThreeRequests) {
    Resolve(host_of(0), "10.0.0.254");
    RunTo(500);
    Resolve(host_of(1), "10.0.0.254");
    RunTo(2'999);
    EXPECT_EQ((std::vector{0, 1'000, 2'000}), times_ms_);
    EXPECT_EQ(std::vector<std::string>(), told_);
    RunTo(3'000);
    EXPECT_EQ((std::vector<std::string>{"nobody", "nobody"}), told_);
    Resolve(host_of(0), "10.0.0.254");
    RunTo(4'000);
    EXPECT_EQ((std::vector{0, 1'000, 2'000, 3'000, 4'000}), times_ms_);
}

TEST_F(NextHopsTest, ThousandsOfLinksAreAskedOneAfterTheOther) {
    constexpr std::uint16_t kLinks = 2'500;
    for (std::uint16_t id = 0; id < kLinks; ++id) Resolve(host_of(0, {id}), "10.0.0.254");
    EXPECT_EQ(1u, sent_.size());
    RunTo(999);
    EXPECT_EQ(1'000u, sent_.size());
    RunTo(20'000);
    EXPECT_EQ(3u * kLinks, sent_.size());
    EXPECT_EQ(std::vector<std::string>(kLinks, "nobody"), told_);
    for (std::size_t i = 1'001; i < times_ms_.size(); ++i)
        ASSERT_LE(1'000, times_ms_[i] - times_ms_[i - 1'000]);
}

TEST(QueryGate, LetsPassWhatSaysMoreThanTheOneBefore) {
    using Version = MembershipVersion;
    // the time and the longest response time, ms
    const std::tuple<int, Version, int, bool> steps[] = {
        {0, Version::Igmp3, 1000, true},
        {1, Version::Igmp3, 1000, false},
        {2, Version::Igmp3, 9000, false},
        {3, Version::Igmp3, 900, true},
        {52, Version::Igmp3, 1000, false},
        {53, Version::Igmp3, 1000, true},
        {54, Version::Igmp2, 1000, true},
        // As often as 20 times a second in the long run, and five times at once.
        {2000, Version::Igmp3, 90, true},
        {2000, Version::Igmp3, 80, true},
        {2000, Version::Igmp3, 70, true},
        {2000, Version::Igmp3, 60, true},
        {2000, Version::Igmp3, 50, true},
        {2000, Version::Igmp3, 40, false},
        {2049, Version::Igmp3, 30, false},
        {2050, Version::Igmp3, 20, true}};
    orv::nic::QueryGate gate;
    for (const auto& [time, version, response_time, passes] : steps) {
        MembershipQuery query;
        query.version = version;
        query.max_response_time = milliseconds(response_time);
        EXPECT_EQ(passes, gate.lets_pass(query, time * kMillisecond)) << time << ", " << response_time;
    }
}

/// "3 received, 1 lost": what there is.
std::string text_of(const Packets& packets) {
    std::string text = fmt::format("{} received", packets.received);
    for (const auto& [count, what] : {std::pair(packets.lost, "lost"),
                                      {packets.reordered, "reordered"},
                                      {packets.duplicate, "duplicate"},
                                      {packets.late, "late"},
                                      {packets.payload_errors, "damaged"}})
        if (count > 0) text += fmt::format(", {} {}", count, what);
    return text;
}

struct ReceptionTest : ::testing::Test {
    /// One millisecond after the last one.
    bool add(Reception& reception, std::span<const std::byte> payload, const std::string& source = "10.0.0.1",
             std::uint16_t port = 5004) {
        return reception.add(now_ += kMillisecond, {ip(source), ip("239.1.1.1"), port, 5004, payload})
            .has_value();
    }
    bool add_signed(Reception& reception, std::uint64_t sequence, std::uint32_t stream = 1,
                    const std::string& source = "10.0.0.1", bool is_damaged = false) {
        std::vector<std::byte> payload(orv::live::kStreamPayloadLength);
        orv::live::WriteStreamPacket(payload, {stream, sequence, {}});
        if (is_damaged) payload[100] ^= std::byte{1};
        return add(reception, payload, source);
    }
    void add_rtp(Reception& reception, std::uint16_t sequence, std::uint8_t ssrc = 1,
                 std::uint16_t port = 5004) {
        std::vector<std::byte> payload(20);
        payload[0] = std::byte{0x80};
        payload[2] = static_cast<std::byte>(sequence >> 8);
        payload[3] = static_cast<std::byte>(sequence);
        payload[11] = std::byte{ssrc};
        EXPECT_TRUE(add(reception, payload, "10.0.0.1", port));
    }
    orv::il::Time now_ = 0;
};

TEST_F(ReceptionTest, SignedPackets) {
    Reception reception(Numbering::Signature);
    add_signed(reception, 100);
    add_signed(reception, 103);
    EXPECT_EQ("2 received, 2 lost", text_of(reception.packets()));
    // Another stream, and the same one of another sender, have numbers of their own.
    add_signed(reception, 7, 2);
    add_signed(reception, 500, 1, "10.0.0.2");
    add_signed(reception, 501, 1, "10.0.0.2");
    EXPECT_EQ("5 received, 2 lost", text_of(reception.packets()));
    // What is damaged elsewhere has its place; damaged numbers make neither losses nor a new count.
    add_signed(reception, 104, 1, "10.0.0.1", true);
    add_signed(reception, 90'000, 1, "10.0.0.1", true);
    add_signed(reception, 90'001, 1, "10.0.0.1", true);
    add_signed(reception, 5, 99, "10.0.0.1", true);
    add_signed(reception, 105);
    EXPECT_EQ("10 received, 2 lost, 4 damaged", text_of(reception.packets()));
    const orv::il::Time last = reception.last();
    EXPECT_FALSE(add(reception, std::vector<std::byte>(1316)));
    EXPECT_EQ("10 received, 2 lost, 4 damaged", text_of(reception.packets()));
    EXPECT_EQ(last, reception.last());
    // After a time without listeners nothing is missing.
    reception.restart();
    add_signed(reception, 200);
    EXPECT_EQ("11 received, 2 lost, 4 damaged", text_of(reception.packets()));
}

TEST_F(ReceptionTest, ForeignPackets) {
    Reception reception(Numbering::Rtp);
    for (const std::uint16_t sequence : {65534, 65535, 1, 0}) add_rtp(reception, sequence);
    EXPECT_EQ("4 received, 1 reordered", text_of(reception.packets()));
    add_rtp(reception, 3000, 2);
    add_rtp(reception, 3005, 1, 6000);
    add_rtp(reception, 3, 1);
    EXPECT_EQ("7 received, 1 lost, 1 reordered", text_of(reception.packets()));
    EXPECT_TRUE(add(reception, std::vector<std::byte>(1316, std::byte{0x47})));  // a bare transport stream
    EXPECT_TRUE(add_signed(reception, 4));
    EXPECT_EQ("9 received, 1 lost, 1 reordered", text_of(reception.packets()));
}

TEST_F(ReceptionTest, OfManySourcesAtATimeSixteenHaveNumbers) {
    Reception reception(Numbering::Signature);
    for (std::uint32_t stream = 0; stream < 100; ++stream) {
        add_signed(reception, 10, stream);
        add_signed(reception, 12, stream);
    }
    EXPECT_EQ("200 received, 16 lost", text_of(reception.packets()));
    // One after the other all have: each takes the place of the one that has been silent longest.
    now_ += 990 * kMillisecond;
    add_signed(reception, 14, 15);
    EXPECT_EQ("201 received, 17 lost", text_of(reception.packets()));
    for (std::uint32_t stream = 100; stream < 200; ++stream) {
        now_ += orv::il::kSecond / 10;
        add_signed(reception, 10, stream);
        add_signed(reception, 12, stream);
        add_signed(reception, 14 + 2 * (stream - 99), 15);
    }
    EXPECT_EQ("501 received, 217 lost", text_of(reception.packets()));
}

TEST_F(ReceptionTest, KnowsWhetherPacketsStillCome) {
    Reception reception(Numbering::Signature);
    EXPECT_FALSE(reception.flows(0));
    EXPECT_EQ(kNever, reception.last());
    for (std::uint64_t i = 0; i < 100; ++i) add_signed(reception, i, 1, "10.0.0.1");
    EXPECT_EQ(100 * kMillisecond, reception.last());
    EXPECT_TRUE(reception.flows(105 * kMillisecond) && !reception.flows(106 * kMillisecond));
    EXPECT_EQ(300 * kMillisecond, reception.quiet_time());
    // A slower stream takes longer to be over.
    for (std::uint64_t i = 100; i < 200; ++i) {
        now_ += 49 * kMillisecond;
        add_signed(reception, i);
    }
    EXPECT_TRUE(reception.flows(now_ + 190 * kMillisecond));
    EXPECT_FALSE(reception.flows(now_ + 210 * kMillisecond));
    // So does one that comes in bursts.
    for (std::uint64_t i = 200; i < 400; ++i) {
        if (i % 40 == 0) now_ += 599 * kMillisecond;
        add_signed(reception, i);
    }
    EXPECT_EQ(1800 * kMillisecond, reception.quiet_time());
    EXPECT_TRUE(reception.flows(now_ + 590 * kMillisecond));
    EXPECT_FALSE(reception.has_paused(now_ + 1700 * kMillisecond));
    EXPECT_TRUE(reception.has_paused(now_ + 1900 * kMillisecond));
    // Time without members does not count as a gap between packets.
    reception.restart();
    now_ += 10 * orv::il::kSecond;
    add_signed(reception, 400);
    EXPECT_EQ(1800 * kMillisecond, reception.quiet_time());
}

Packets count(const std::vector<std::uint64_t>& sequences, bool is_wrapping) {
    SequenceCounter counter;
    Packets packets;
    for (const std::uint64_t sequence : sequences) {
        if (!is_wrapping) counter.add(sequence, packets);
        if (is_wrapping) counter.add_wrapping(static_cast<std::uint16_t>(sequence), 40'000, packets);
    }
    return packets;
}

TEST(SequenceCounter, TellsWhatBecameOfPackets) {
    constexpr std::uint64_t kFar = std::uint64_t{1} << 41, kDays = 1'000'000'000;
    const struct {
        const char* what;
        std::vector<std::uint64_t> sequences;
        const char* text;
        bool also_wrapping = true;
    } cases[] = {{"filled twice", {7, 9, 8, 8}, "4 received, 1 reordered, 1 duplicate"},
                 {"63 behind", {100, 164, 101}, "3 received, 62 lost, 1 reordered"},
                 {"64 behind", {100, 165, 101}, "3 received, 63 lost, 1 late"},
                 {"1023 behind", {100, 1124, 101}, "3 received, 1022 lost, 1 late"},
                 {"forgotten", {100, 1125, 101}, "3 received, 1024 lost, 1 late"},
                 {"old places are free again", {100, 1124, 1125}, "3 received, 1023 lost"},
                 {"before the first", {100, 99, 101, 99}, "4 received, 1 reordered, 1 duplicate"},
                 {"wraps", {65534, 65535, 65536, 65538}, "4 received, 1 lost"},
                 {"wraps back", {65535, 65537, 65536, 65535}, "4 received, 1 reordered, 1 duplicate"},
                 {"anew far behind", {30000, 5, 6, 8}, "4 received, 1 lost, 1 late"},
                 {"a stray far behind", {30000, 5, 30001, 6}, "4 received, 2 late"},
                 {"anew far ahead", {5, kFar, kFar + 1, kFar + 3}, "4 received, 1 lost", false},
                 {"a stray far ahead", {5, kFar, 6, kFar + 1, 7}, "5 received", false},
                 {"two strays", {5, kFar, 2 * kFar, 6}, "4 received", false},
                 {"a long outage", {5, 32772}, "2 received, 32766 lost"},
                 {"an outage of days", {7, kDays, kDays + 1, kDays + 3}, "4 received, 999999993 lost", false},
                 {"the last number", {UINT64_MAX - 1, UINT64_MAX, 0, 1}, "4 received, 1 late", false}};
    for (const auto& [what, sequences, text, also_wrapping] : cases)
        for (const bool is_wrapping : {false, also_wrapping})
            EXPECT_EQ(text, text_of(count(sequences, is_wrapping)))
                << what << (is_wrapping ? ", 16 bits" : "");
}

/// Reference implementation: received numbers are kept in a set.
Packets model(const std::vector<std::uint64_t>& sequences) {
    Packets packets;
    std::set<std::uint64_t> seen;
    const std::uint64_t first = sequences.empty() ? 0 : sequences.front();
    for (const std::uint64_t sequence : sequences) {
        ++packets.received;
        const std::uint64_t highest = seen.empty() ? sequence : *seen.rbegin();
        const bool is_new = seen.insert(sequence).second;
        if (!is_new) ++packets.duplicate;
        if (!is_new || sequence >= highest) continue;
        ++(highest - sequence < 64 ? packets.reordered : packets.late);
    }
    for (std::uint64_t i = first; !seen.empty() && i < *seen.rbegin(); ++i) packets.lost += !seen.contains(i);
    return packets;
}

TEST(SequenceCounter, CountsWhatAPlainModelCounts) {
    struct Copy {
        std::uint64_t place, sequence;
    };
    const bool holds = rc::check([](const std::vector<std::uint16_t>& fates, std::uint16_t start) {
        std::vector<Copy> copies;
        // As many as fill the counter's memory several times.
        constexpr std::uint64_t kRepeats = 30;
        for (std::uint64_t i = 0; i < fates.size() * kRepeats; ++i) {
            const std::uint64_t fate = orv::il::mixed(fates[i % fates.size()] + (i << 16));
            const std::uint64_t delay = fate >> 32;
            if (fate % 10 == 0) continue;
            copies.push_back({i, start + i});
            if (fate % 10 == 1) copies.back().place += delay % 60;
            if (fate % 100 == 2) copies.back().place += delay % 900;
            if (fate % 10 == 3) copies.push_back({i + delay % 60, start + i});
        }
        std::ranges::stable_sort(copies, {}, &Copy::place);
        std::vector<std::uint64_t> sequences;
        for (const Copy& copy : copies) sequences.push_back(copy.sequence);
        const std::string expected = text_of(model(sequences));
        RC_ASSERT(text_of(count(sequences, false)) == expected);
        RC_ASSERT(text_of(count(sequences, true)) == expected);
    });
    EXPECT_TRUE(holds);
}

}  // namespace
