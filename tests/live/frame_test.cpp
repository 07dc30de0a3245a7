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
HostAddress host4(int tags) {
    return host(ip("192.0.2.10"), tags);
}
HostAddress host6(int tags) {
    return host(ip("2001:db8::a"), tags);
}
HostAddress link_local(int tags) {
    return host(LinkLocalAddress(kHostMac), tags);
}

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
    {"arp request",
     [](Out out) { return WriteArpRequest(out, host4(0), ip("192.0.2.1")); },
     "ff ff ff ff ff ff 02 00 00 00 0a 01 08 06 "
     "00 01 08 00 06 04 00 01 02 00 00 00 0a 01 c0 00 02 0a 00 00 00 00 00 00 c0 00 02 01 "},
    {"arp reply two tags",
     [](Out out) { return WriteArpReply(out, host4(2), kRouterMac, ip("192.0.2.1")); },
     "00 16 3e 00 00 01 02 00 00 00 0a 01 88 a8 00 64 81 00 00 c8 08 06 "
     "00 01 08 00 06 04 00 02 02 00 00 00 0a 01 c0 00 02 0a 00 16 3e 00 00 01 c0 00 02 01 "},
    {"solicitation",
     [](Out out) { return WriteNeighborSolicitation(out, host6(0), ip("2001:db8::1")); },
     "33 33 ff 00 00 01 02 00 00 00 0a 01 86 dd "
     "60 00 00 00 00 20 3a ff 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 0a ff 02 00 00 00 00 "
     "00 00 00 00 00 01 ff 00 00 01 "
     "87 00 12 20 00 00 00 00 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 01 01 02 00 00 00 "
     "0a 01 "},
    {"advertisement one tag",
     [](Out out) { return WriteNeighborAdvertisement(out, host6(1), kRouterMac, ip("2001:db8::1")); },
     "00 16 3e 00 00 01 02 00 00 00 0a 01 81 00 60 64 86 dd "
     "60 00 00 00 00 20 3a ff 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 0a 20 01 0d b8 00 00 "
     "00 00 00 00 00 00 00 00 00 01 "
     "88 00 80 62 60 00 00 00 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 0a 02 01 02 00 00 00 "
     "0a 01 "},
    {"advertisement to a host without an address",
     [](Out out) { return WriteNeighborAdvertisement(out, host6(0), kRouterMac, ip("::")); },
     "33 33 00 00 00 01 02 00 00 00 0a 01 86 dd "
     "60 00 00 00 00 20 3a ff 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 0a ff 02 00 00 00 00 "
     "00 00 00 00 00 00 00 00 00 01 "
     "88 00 ef 18 20 00 00 00 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 0a 02 01 02 00 00 00 "
     "0a 01 "},
    {"v1 report",
     [](Out out) { return WriteMembershipReport(out, host4(0), Version::Igmp1, kGroup4); },
     "01 00 5e 01 02 03 02 00 00 00 0a 01 08 00 "
     "45 00 00 1c 00 00 40 00 01 02 c6 51 c0 00 02 0a ef 81 02 03 "
     "12 00 fc 7a ef 81 02 03 "},
    {"v2 report one tag",
     [](Out out) { return WriteMembershipReport(out, host4(1), Version::Igmp2, kGroup4); },
     "01 00 5e 01 02 03 02 00 00 00 0a 01 81 00 60 64 08 00 "
     "46 00 00 20 00 00 40 00 01 02 31 49 c0 00 02 0a ef 81 02 03 94 04 00 00 "
     "16 00 f8 7a ef 81 02 03 "},
    {"v2 leave two tags",
     [](Out out) { return WriteMembershipLeave(out, host4(2), Version::Igmp2, kGroup4); },
     "01 00 5e 00 00 02 02 00 00 00 0a 01 88 a8 00 64 81 00 00 c8 08 00 "
     "46 00 00 20 00 00 40 00 01 02 42 cb c0 00 02 0a e0 00 00 02 94 04 00 00 "
     "17 00 f7 7a ef 81 02 03 "},
    {"v3 report",
     [](Out out) { return WriteRecordReport(out, host4(0), Version::Igmp3, kRecords4); },
     "01 00 5e 00 00 16 02 00 00 00 0a 01 08 00 "
     "46 c0 00 38 00 00 40 00 01 02 41 df c0 00 02 0a e0 00 00 16 94 04 00 00 "
     "22 00 a6 08 00 00 00 02 04 00 00 00 ef 81 02 03 05 00 00 02 e8 01 01 01 c6 33 64 01 c6 33 "
     "64 02 "},
    {"mld1 report",
     [](Out out) { return WriteMembershipReport(out, link_local(0), Version::Mld1, kGroup6); },
     "33 33 80 00 00 01 02 00 00 00 0a 01 86 dd "
     "60 00 00 00 00 20 00 01 fe 80 00 00 00 00 00 00 00 00 00 ff fe 00 0a 01 ff 3e 00 00 00 00 "
     "00 00 00 00 00 00 80 00 00 01 "
     "3a 00 05 02 00 00 01 00 "
     "83 00 76 aa 00 00 00 00 ff 3e 00 00 00 00 00 00 00 00 00 00 80 00 00 01 "},
    {"mld1 done one tag",
     [](Out out) { return WriteMembershipLeave(out, link_local(1), Version::Mld1, kGroup6); },
     "33 33 00 00 00 02 02 00 00 00 0a 01 81 00 60 64 86 dd "
     "60 00 00 00 00 20 00 01 fe 80 00 00 00 00 00 00 00 00 00 ff fe 00 0a 01 ff 02 00 00 00 00 "
     "00 00 00 00 00 00 00 00 00 02 "
     "3a 00 05 02 00 00 01 00 "
     "84 00 f5 e5 00 00 00 00 ff 3e 00 00 00 00 00 00 00 00 00 00 80 00 00 01 "},
    {"mld2 report two tags",
     [](Out out) { return WriteRecordReport(out, link_local(2), Version::Mld2, kRecords6); },
     "33 33 00 00 00 16 02 00 00 00 0a 01 88 a8 00 64 81 00 00 c8 86 dd "
     "60 00 00 00 00 34 00 01 fe 80 00 00 00 00 00 00 00 00 00 ff fe 00 0a 01 ff 02 00 00 00 00 "
     "00 00 00 00 00 00 00 00 00 16 "
     "3a 00 05 02 00 00 01 00 "
     "8f 00 b7 00 00 00 00 01 06 00 00 01 ff 3e 00 00 00 00 00 00 00 00 00 00 80 00 00 01 20 01 "
     "0d b8 00 01 00 00 00 00 00 00 00 00 00 01 "},
    {"udp4 of odd length, one tag",
     [](Out out) { return write_udp(out, host4(1), kGroup4, "616263", 16, 0xb8); },
     "01 00 5e 01 02 03 02 00 00 00 0a 01 81 00 60 64 08 00 "
     "45 b8 00 1f 00 00 40 00 10 11 b6 87 c0 00 02 0a ef 81 02 03 "
     "13 88 13 8c 00 0b 60 d2 61 62 63 "},
    {"udp6",
     [](Out out) { return write_udp(out, host6(0), kGroup6, "61626364", 64, 0); },
     "33 33 80 00 00 01 02 00 00 00 0a 01 86 dd "
     "60 00 00 00 00 0c 11 40 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 0a ff 3e 00 00 00 00 "
     "00 00 00 00 00 00 80 00 00 01 "
     "13 88 13 8c 00 0c 66 f8 61 62 63 64 "},
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
