// Frames against bytes written by hand.
#include "orv/live/frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <utility>

#include "live/sample_frames.h"

namespace orv::live {
namespace {

using testing_aids::bytes_of;
using testing_aids::hex_text;
using testing_aids::ip;
using Version = MembershipVersion;
using Out = std::span<std::byte>;

const MacAddress kHostMac{{0x02, 0x00, 0x00, 0x00, 0x0a, 0x01}};
const MacAddress kRouterMac{{0x00, 0x16, 0x3e, 0x00, 0x00, 0x01}};
const IpAddress kGroup4 = ip("239.129.2.3");
const IpAddress kGroup6 = ip("ff3e::8000:1");
const std::vector<IpAddress> kSources4 = {ip("198.51.100.1"), ip("198.51.100.2")};
const std::vector<IpAddress> kSources6 = {ip("2001:db8:1::1")};
const std::vector<GroupRecord> kRecords4 = {{RecordType::ChangeToExclude, kGroup4, {}},
                                            {RecordType::AllowNewSources, ip("232.1.1.1"), kSources4}};
const std::vector<GroupRecord> kRecords6 = {{RecordType::BlockOldSources, kGroup6, kSources6}};

HostAddress host(const IpAddress& address, int tags) {
    HostAddress host{kHostMac, address, {}};
    if (tags == 1) host.vlan = {1, {{{0x8100, 0x6064}}}};
    if (tags == 2) host.vlan = {2, {{{0x88a8, 0x0064}, {0x8100, 0x00c8}}}};
    return host;
}
const auto host4 = [](int tags) { return host(ip("192.0.2.10"), tags); };
const auto host6 = [](int tags) { return host(ip("2001:db8::a"), tags); };
const auto link_local = [](int tags) { return host(LinkLocalAddress(kHostMac), tags); };

std::size_t write_udp(Out out, const HostAddress& source, const IpAddress& group, const char* payload,
                      std::uint8_t hop_limit, std::uint8_t traffic_class) {
    const UdpFlow flow{.source = source,
                       .destination_mac = MulticastMac(group),
                       .destination = group,
                       .source_port = 5000,
                       .destination_port = 5004,
                       .traffic_class = traffic_class,
                       .hop_limit = hop_limit};
    const std::vector<std::byte> bytes = bytes_of(payload);
    if (out.size() >= UdpPayloadOffset(flow) + bytes.size()) {
        std::ranges::copy(bytes, out.begin() + static_cast<std::ptrdiff_t>(UdpPayloadOffset(flow)));
    }
    return WriteUdpHeaders(out, flow, bytes.size());
}

struct Case {
    const char* name;
    std::function<std::size_t(Out)> write;
    const char* hex;
};
const Case kCases[] = {
    // clang-format off
    {"arp request", [](Out out) { return WriteArpRequest(out, host4(0), ip("192.0.2.1")); },
     "ffffffffffff 020000000a01 0806  00010800 06040001 02000000 0a01c000 020a0000 00000000 c0000201"},
    {"arp reply two tags", [](Out out) { return WriteArpReply(out, host4(2), kRouterMac, ip("192.0.2.1")); },
     "00163e000001 020000000a01 88a80064 810000c8 0806  00010800 06040002 02000000 0a01c000 020a0016 3e000001 c0000201"},
    {"solicitation", [](Out out) { return WriteNeighborSolicitation(out, host6(0), ip("2001:db8::1")); },
     "3333ff000001 020000000a01 86dd  60000000 00203aff 20010db8 00000000 00000000 0000000a ff020000 00000000 00000001"
     "ff000001  87001220 00000000 20010db8 00000000 00000000 00000001 01010200 00000a01"},
    {"advertisement one tag", [](Out out) { return WriteNeighborAdvertisement(out, host6(1), kRouterMac, ip("2001:db8::1")); },
     "00163e000001 020000000a01 81006064 86dd  60000000 00203aff 20010db8 00000000 00000000 0000000a 20010db8 00000000"
     "00000000 00000001  88008062 60000000 20010db8 00000000 00000000 0000000a 02010200 00000a01"},
    {"advertisement to a host without an address", [](Out out) { return WriteNeighborAdvertisement(out, host6(0), kRouterMac, ip("::")); },
     "333300000001 020000000a01 86dd  60000000 00203aff 20010db8 00000000 00000000 0000000a ff020000 00000000 00000000"
     "00000001  8800ef18 20000000 20010db8 00000000 00000000 0000000a 02010200 00000a01"},
    {"v1 report", [](Out out) { return WriteMembershipReport(out, host4(0), Version::Igmp1, kGroup4); },
     "01005e010203 020000000a01 0800  4500001c 00004000 0102c651 c000020a ef810203  1200fc7a ef810203"},
    {"v2 report one tag", [](Out out) { return WriteMembershipReport(out, host4(1), Version::Igmp2, kGroup4); },
     "01005e010203 020000000a01 81006064 0800  46000020 00004000 01023149 c000020a ef810203 94040000  1600f87a ef810203"},
    {"v2 leave two tags", [](Out out) { return WriteMembershipLeave(out, host4(2), Version::Igmp2, kGroup4); },
     "01005e000002 020000000a01 88a80064 810000c8 0800  46000020 00004000 010242cb c000020a e0000002 94040000  1700f77a"
     "ef810203"},
    {"v3 report", [](Out out) { return WriteRecordReport(out, host4(0), Version::Igmp3, kRecords4); },
     "01005e000016 020000000a01 0800  46c00038 00004000 010241df c000020a e0000016 94040000  2200a608 00000002 04000000"
     "ef810203 05000002 e8010101 c6336401 c6336402"},
    {"mld1 report", [](Out out) { return WriteMembershipReport(out, link_local(0), Version::Mld1, kGroup6); },
     "333380000001 020000000a01 86dd  60000000 00200001 fe800000 00000000 000000ff fe000a01 ff3e0000 00000000 00000000"
     "80000001  3a000502 00000100  830076aa 00000000 ff3e0000 00000000 00000000 80000001"},
    {"mld1 done one tag", [](Out out) { return WriteMembershipLeave(out, link_local(1), Version::Mld1, kGroup6); },
     "333300000002 020000000a01 81006064 86dd  60000000 00200001 fe800000 00000000 000000ff fe000a01 ff020000 00000000"
     "00000000 00000002  3a000502 00000100  8400f5e5 00000000 ff3e0000 00000000 00000000 80000001"},
    {"mld2 report two tags", [](Out out) { return WriteRecordReport(out, link_local(2), Version::Mld2, kRecords6); },
     "333300000016 020000000a01 88a80064 810000c8 86dd  60000000 00340001 fe800000 00000000 000000ff fe000a01 ff020000"
     "00000000 00000000 00000016  3a000502 00000100  8f00b700 00000001 06000001 ff3e0000 00000000 00000000 80000001"
     "20010db8 00010000 00000000 00000001"},
    {"udp4 of odd length, one tag", [](Out out) { return write_udp(out, host4(1), kGroup4, "616263", 16, 0xb8); },
     "01005e010203 020000000a01 81006064 0800  45b8001f 00004000 1011b687 c000020a ef810203  1388138c 000b60d2 616263"},
    {"udp6", [](Out out) { return write_udp(out, host6(0), kGroup6, "61626364", 64, 0); },
     "333380000001 020000000a01 86dd  60000000 000c1140 20010db8 00000000 00000000 0000000a ff3e0000 00000000 00000000"
     "80000001  1388138c 000c66f8 61626364"},
    // clang-format on
};

TEST(FrameTest, FramesAreThoseOfTheStandards) {
    for (const Case& c : kCases) {
        std::vector<std::byte> out(kMaxFrameLength, std::byte{0xee});
        const std::size_t length = c.write(out);
        ASSERT_LE(length, out.size()) << c.name;
        EXPECT_EQ(hex_text(std::span(out).first(length)), hex_text(bytes_of(c.hex))) << c.name;
        EXPECT_TRUE(std::all_of(out.begin() + static_cast<std::ptrdiff_t>(length), out.end(),
                                [](std::byte byte) { return byte == std::byte{0xee}; }))
            << c.name << " writes beyond its end";
    }
}

TEST(FrameTest, ShortBuffersAreRefusedAtEveryLength) {
    for (const Case& c : kCases) {
        for (std::size_t length = 0; length < bytes_of(c.hex).size(); ++length) {
            std::vector<std::byte> out(length);
            EXPECT_THROW(c.write(out), std::length_error) << c.name << " in " << length << " bytes";
        }
    }
}

TEST(FrameTest, WhatCannotBeSentIsRefused) {
    const std::vector<GroupRecord> mixed = {{RecordType::AllowNewSources, kGroup4, kSources6}};
    const std::function<std::size_t(Out)> cases[] = {
        [](Out out) { return WriteArpRequest(out, host6(0), ip("2001:db8::1")); },
        [](Out out) { return WriteNeighborSolicitation(out, host4(0), ip("192.0.2.1")); },
        [](Out out) { return WriteMembershipReport(out, host4(0), Version::Igmp2, ip("192.0.2.1")); },
        [](Out out) { return WriteMembershipReport(out, host4(0), Version::Mld1, kGroup6); },
        [](Out out) {
            return WriteMembershipReport(out, host6(0), Version::Mld1, kGroup6);
        },  // not link-local
        [](Out out) { return WriteMembershipReport(out, host4(0), Version::Igmp3, kGroup4); },
        [](Out out) { return WriteMembershipLeave(out, host4(0), Version::Igmp1, kGroup4); },
        [](Out out) { return WriteRecordReport(out, host4(0), Version::Igmp2, kRecords4); },
        [&](Out out) { return WriteRecordReport(out, host4(0), Version::Igmp3, mixed); },
        [](Out out) { return write_udp(out, host4(0), kGroup6, "", 1, 0); },
        [](Out out) {
            return WriteArpRequest(out, {kHostMac, ip("192.0.2.10"), {3, {}}}, ip("192.0.2.1"));
        },
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        std::vector<std::byte> out(kMaxFrameLength);
        EXPECT_THROW(cases[i](out), std::invalid_argument) << "case " << i;
    }
}

TEST(FrameTest, UdpChecksumThatComesOutAsZeroIsSentAsAllOnes) {
    const UdpFlow flow{.source = host4(0),
                       .destination_mac = MulticastMac(kGroup4),
                       .destination = kGroup4,
                       .source_port = 1,
                       .destination_port = 2};
    std::vector<std::byte> out(UdpPayloadOffset(flow) + 2);
    out[out.size() - 2] = std::byte{0x4c};  // makes the checksum 0
    out[out.size() - 1] = std::byte{0x48};
    WriteUdpHeaders(out, flow, 2);
    EXPECT_EQ(hex_text(std::span(out).last(10)), "00010002000affff4c48");
}

TEST(FrameTest, RecordRoomFillsThePacketAndNoMore) {
    for (const auto& [version, address] :
         {std::pair(Version::Igmp3, host4(0)), std::pair(Version::Mld2, link_local(0))}) {
        const std::size_t room = RecordRoom(version, 1500);
        const std::size_t sources =
            (room - RecordLength(version, 0)) / (RecordLength(version, 1) - RecordLength(version, 0));
        const std::vector<IpAddress> list(sources, IsMld(version) ? kSources6[0] : kSources4[0]);
        const GroupRecord record{RecordType::ModeIsInclude, IsMld(version) ? kGroup6 : kGroup4, list};
        std::vector<std::byte> out(kMaxFrameLength);
        const std::size_t packet =
            WriteRecordReport(out, address, version, {&record, 1}) - kEthernetHeaderLength;
        EXPECT_LE(packet, 1500U);
        EXPECT_GT(packet + RecordLength(version, 1) - RecordLength(version, 0), 1500U);
    }
}

}  // namespace
}  // namespace orv::live
