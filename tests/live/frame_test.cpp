// Frames and stream packets: written against bytes from the standards, parsed, and discarded.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "live/sample_frames.h"
#include "orv/live/frame.h"
#include "orv/live/router_advertisement.h"
#include "orv/live/stream_packet.h"

namespace orv::live {
namespace {

using namespace testing_aids;  // NOLINT: a test
using Version = MembershipVersion;
using Out = std::span<std::byte>;
using Bytes = std::vector<std::byte>;

const MacAddress kHostMac{{0x02, 0x00, 0x00, 0x00, 0x0a, 0x01}};
const MacAddress kRouterMac{{0x00, 0x16, 0x3e, 0x00, 0x00, 0x01}};
const IpAddress kGroup4 = ip("239.129.2.3"), kGroup6 = ip("ff3e::8000:1");
const std::vector<IpAddress> kSources4 = {ip("198.51.100.1"), ip("198.51.100.2")};
const std::vector<IpAddress> kSources6 = {ip("2001:db8:1::1")};
const std::vector<GroupRecord> kRecords4 = {{RecordType::ChangeToExclude, kGroup4, {}},
                                            {RecordType::AllowNewSources, ip("232.1.1.1"), kSources4}};
const std::vector<GroupRecord> kRecords6 = {{RecordType::BlockOldSources, kGroup6, kSources6}};

HostAddress host(const IpAddress& address, int tags) {
    HostAddress host{kHostMac, address, {}};
    host.vlan.count = static_cast<std::uint8_t>(tags);
    if (tags == 1) host.vlan = {1, {{{0x8100, 0x6064}}}};
    if (tags == 2) host.vlan = {2, {{{0x88a8, 0x0064}, {0x8100, 0x00c8}}}};
    return host;
}
const auto host4 = [](int tags) { return host(ip("192.0.2.10"), tags); };
const auto host6 = [](int tags) { return host(ip("2001:db8::a"), tags); };
const auto link_local = [](int tags) { return host(LinkLocalAddress(kHostMac), tags); };

std::size_t write_udp(Out out, const HostAddress& source, const IpAddress& group, const char* payload,
                      std::uint8_t hop_limit, std::uint8_t traffic_class) {
    const UdpFlow flow{source, MulticastMac(group), group, 5000, 5004, traffic_class, hop_limit};
    const Bytes bytes = bytes_of(payload);
    if (out.size() >= UdpPayloadOffset(flow) + bytes.size())
        std::ranges::copy(bytes, out.subspan(UdpPayloadOffset(flow)).begin());
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
    {"solicitation of a host without an address, one tag", [](Out out) { return WriteNeighborSolicitation(out, host(ip("::"), 1), ip("2001:db8::1")); },
     "3333ff000001 020000000a01 81006064 86dd  60000000 00183aff 00000000 00000000 00000000 00000000 ff020000 00000000"
     "00000001 ff000001  87004ced 00000000 20010db8 00000000 00000000 00000001"},
    {"router solicitation", [](Out out) { return WriteRouterSolicitation(out, link_local(0)); },
     "333300000002 020000000a01 86dd  60000000 00103aff fe800000 00000000 000000ff fe000a01 ff020000 00000000 00000000"
     "00000002  8500672c 00000000 01010200 00000a01"},
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
        Bytes out(kMaxFrameLength, std::byte{0xee});
        const std::size_t length = c.write(out);
        ASSERT_LE(length, out.size()) << c.name;
        EXPECT_EQ(hex_text(std::span(out).first(length)), hex_text(bytes_of(c.hex))) << c.name;
        EXPECT_EQ(std::ranges::count(std::span(out).subspan(length), std::byte{0xee}), out.size() - length)
            << c.name << " writes beyond its end";
        for (std::size_t room = 0; room < length; ++room) {
            Bytes small(room);
            EXPECT_THROW(c.write(small), std::length_error) << c.name << " in " << room << " bytes";
        }
    }
}

TEST(FrameTest, WhatCannotBeSentIsRefused) {
    const std::vector<GroupRecord> mixed = {{RecordType::AllowNewSources, kGroup4, kSources6}};
    const std::function<std::size_t(Out)> cases[] = {
        [](Out out) { return WriteArpRequest(out, host6(0), ip("2001:db8::1")); },
        [](Out out) { return WriteNeighborSolicitation(out, host4(0), ip("192.0.2.1")); },
        [](Out out) { return WriteRouterSolicitation(out, host6(0)); },
        [](Out out) { return WriteMembershipReport(out, host4(0), Version::Igmp2, ip("192.0.2.1")); },
        [](Out out) { return WriteMembershipReport(out, host4(0), Version::Mld1, kGroup6); },
        // not link-local
        [](Out out) { return WriteMembershipReport(out, host6(0), Version::Mld1, kGroup6); },
        [](Out out) { return WriteMembershipReport(out, host4(0), Version::Igmp3, kGroup4); },
        [](Out out) { return WriteMembershipLeave(out, host4(0), Version::Igmp1, kGroup4); },
        [](Out out) { return WriteRecordReport(out, host4(0), Version::Igmp2, kRecords4); },
        [&](Out out) { return WriteRecordReport(out, host4(0), Version::Igmp3, mixed); },
        [](Out out) { return write_udp(out, host4(0), kGroup6, "", 1, 0); },
        [](Out out) { return WriteArpRequest(out, host4(3), ip("192.0.2.1")); }};
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        Bytes out(kMaxFrameLength);
        EXPECT_THROW(cases[i](out), std::invalid_argument) << "case " << i;
    }
}

TEST(FrameTest, UdpChecksumThatComesOutAsZeroIsSentAsAllOnes) {
    const UdpFlow flow{host4(0), MulticastMac(kGroup4), kGroup4, 1, 2};
    Bytes out(UdpPayloadOffset(flow) + 2);
    std::ranges::copy(bytes_of("4c48"), out.end() - 2);  // makes the checksum 0
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
        Bytes out(kMaxFrameLength);
        const std::size_t packet =
            WriteRecordReport(out, address, version, {&record, 1}) - kEthernetHeaderLength;
        EXPECT_LE(packet, 1500U);
        EXPECT_GT(packet + RecordLength(version, 1) - RecordLength(version, 0), 1500U);
    }
}

constexpr std::size_t kEthernet = 14;

TEST(FrameParserTest, TagsThatTheKernelTookOutComeFirst) {
    const ReceiveInfo stripped{.stripped_tag = VlanTag{0x88a8, 0x0064}};
    EXPECT_EQ(text_of(ParseFrame(sample_frame("igmp2_leave"), stripped)).substr(0, 12), "[88a8:0064] ");
    EXPECT_EQ(text_of(ParseFrame(sample_frame("igmp2_group"), stripped)).substr(0, 22),
              "[88a8:0064 8100:6064] ");
    EXPECT_EQ(text_of(ParseFrame(sample_frame("udp4"), stripped)), "nothing") << "three tags";
}

TEST(FrameParserTest, SamplesSayWhatTheyHoldAndTheirEndsAreNoticed) {
    for (const auto& sample : sample_frames()) {
        const Bytes whole = bytes_of(sample.hex);
        EXPECT_EQ(text_of(ParseFrame(whole)), sample.text) << sample.name;
        bool padding = true;
        for (std::size_t length = whole.size(); length-- > 0;) {
            // Memory of exactly that size, so that the address sanitizer sees a read beyond it.
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            const std::string text = text_of(ParseFrame(cut));
            padding = padding && text == sample.text;
            EXPECT_TRUE(padding || text == "nothing") << sample.name << " cut to " << length << ": " << text;
        }
    }
}

TEST(FrameParserTest, DamageIsNoticed) {
    for (const auto& sample : sample_frames()) {
        if (sample.name.starts_with("arp")) continue;  // has no checksum
        const Bytes whole = bytes_of(sample.hex);
        for (std::size_t at = kEthernet + (sample.text[0] == '[' ? 8U : 0U); at < whole.size(); ++at) {
            Bytes damaged = whole;
            damaged[at] ^= std::byte{0x55};
            const std::string text = text_of(ParseFrame(damaged));
            EXPECT_TRUE(text == "nothing" || text == sample.text)
                << sample.name << " at " << at << ": " << text;
        }
    }
}

TEST(FrameParserTest, WhatAHostHasToIgnoreAndToAccept) {
    const struct {
        const char *why, *sample;
        std::vector<std::pair<std::size_t, unsigned>> changes;  ///< from the end of Ethernet and tags, byte
        const char* text = "nothing";
    } cases[] = {
        {"ARP for other hardware", "arp_request", {{1, 6}}},
        {"ARP for another protocol", "arp_request", {{2, 0x86}}},
        {"ARP that is neither request nor reply", "arp_request", {{7, 3}}},
        {"IPv4 of version 5", "igmp2_report", {{0, 0x56}}},
        {"IPv4 header of 16 bytes", "udp6", {{0, 0x44}}},
        {"packet shorter than its header", "igmp2_report", {{2, 0}, {3, 23}}},
        {"more fragments", "igmp2_report", {{6, 0x20}}},
        {"a later fragment", "igmp2_report", {{7, 1}}},
        {"option without a length", "igmp2_general", {{20, 1}, {21, 1}, {22, 1}, {23, 0x94}}},
        {"option beyond the header", "igmp2_general", {{21, 5}}},
        {"option of length 0", "igmp2_general", {{21, 0}}},
        {"from a multicast address", "igmp2_report", {{12, 224}}},
        {"IGMPv2 query without Router Alert", "igmp2_general", {{20, 1}, {21, 1}}},
        {"IGMPv3 query without Router Alert", "igmp3_group", {{20, 1}, {21, 1}}},
        {"general query to a group", "igmp2_general", {{19, 2}}},
        {"query about a host", "igmp2_group", {{28, 192}}},
        {"query with sources but no group", "igmp3_sources", {{28, 0}, {29, 0}, {30, 0}, {31, 0}}},
        {"more sources than bytes", "igmp3_sources", {{35, 3}}},
        {"more sources than 16 bits of bytes", "igmp3_sources", {{34, 0x40}}},
        {"query of 9 bytes", "igmp2_general", {{3, 33}}},
        {"query of 11 bytes", "igmp3_general", {{3, 35}}},
        {"IGMP of 7 bytes", "igmp2_report", {{3, 31}}},
        {"unknown IGMP type", "igmp2_report", {{24, 0x18}}},
        {"report of a host", "igmp2_report", {{28, 192}}},
        {"IGMP in IPv6", "udp6", {{6, 2}}},
        {"hop limit of 2", "mld1_general", {{7, 2}}},
        {"MLD without Router Alert", "mld1_general", {{42, 1}}},
        {"Router Alert of a wrong length", "mld1_general", {{43, 3}}},
        {"hop-by-hop header beyond the packet", "mld1_general", {{41, 4}}},
        {"hop-by-hop option beyond its header", "mld1_general", {{47, 1}}},
        {"unknown option that must not be skipped", "mld1_general", {{46, 0x41}}},
        {"MLD from a global address", "mld1_general", {{8, 0x20}}},
        {"MLD report without a group", "mld1_report", {{56, 0}}},
        {"MLD query of 26 bytes", "mld2_general", {{5, 34}}},
        {"MLD with more sources than bytes", "mld2_sources", {{75, 2}}},
        {"MLD sources without a group", "mld2_sources", {{56, 0}, {57, 0}, {66, 0}, {68, 0}, {71, 0}}},
        {"unknown ICMPv6 type", "mld1_general", {{48, 129}}},
        {"solicitation through a router", "solicitation", {{7, 254}}},
        {"solicitation with a code", "solicitation", {{41, 1}}},
        {"solicitation for a group", "solicitation", {{48, 0xff}}},
        {"option of length 0 in a solicitation", "solicitation", {{65, 0}}},
        {"option beyond the solicitation", "solicitation", {{65, 2}}},
        {"MAC address of ::", "solicitation", {{8, 0}, {9, 0}, {10, 0}, {11, 0}, {23, 0}}},
        {"asked by a host without an address, of one host", "solicitation_dad", {{34, 2}}},
        {"advertisement through a router", "advertisement", {{7, 254}}},
        {"solicited by all", "advertisement", {{24, 0xff}, {25, 2}}},
        {"advertisement without a MAC address", "advertisement", {{64, 1}}},
        {"router through a router", "router_advertisement", {{7, 254}}},
        {"router with a code", "router_advertisement", {{41, 1}}},
        {"router with a global address", "router_advertisement", {{8, 0x20}}},
        {"router message of 15 bytes", "router_advertisement_managed", {{5, 15}}},
        {"prefix of length 0", "router_advertisement", {{73, 0}}},
        {"option beyond the router's message", "router_advertisement", {{105, 5}}},
        {"UDP longer than its packet", "udp4", {{25, 12}}},
        {"UDP shorter than its header", "udp4", {{25, 7}}},
        // Options before Router Alert are skipped, padding is not read.
        {"padding", "igmp2_report", {{20, 0}}, "igmp2 report of 192.0.2.11: 239.129.2.3"},
        {"to this host alone", "igmp3_general", {{16, 192}, {18, 2}, {19, 10}}, "igmp3 query to 192.0.2.10"},
        {"IGMPv1, any group", "igmp1_query", {{24, 1}}, "about 0.0.0.0, code 0, within 10000"},
        {"bytes behind the sources", "igmp3_sources", {{35, 1}}, "every 0 s, 198.51.100.1"},
        {"longest times", "igmp3_general", {{25, 255}, {33, 255}}, "3174400 ms, robustness 2, every 31744 s"},
        {"longest time", "mld2_general", {{52, 0xff}}, "code 65535, within 8387584 ms,"},
        {"option to skip", "mld1_done", {{46, 0x1e}}, "mld1 leave of fe80::2: ff3e::8000:1"},
        {"unsolicited", "advertisement", {{24, 0xff}, {25, 2}, {44, 0}}, "2001:db8::1 is at 00163e000001"},
        {"prefix option of 24 bytes",
         "router_advertisement",
         {{73, 3}, {97, 1}},
         ", O, 2001:db8:2:fff8::/61"},
        {"129 bits of prefix", "router_advertisement", {{74, 129}}, ", O, 2001:db8:2:fff8::/61"},
        {"128 bits", "router_advertisement", {{106, 128}}, ", 2001:db8:2:fffa::1/128 L"},
        {"no bits", "router_advertisement", {{106, 0}}, ", ::/0 L"},
        {"known MAC address stays", "advertisement", {{44, 0x40}}, "00163e000001, solicited"},
        {"no MAC option", "solicitation", {{64, 14}}, "2001:db8::1 at 00163e000001 asks"}};
    for (const auto& [why, sample, changes, text] : cases) {
        Bytes frame = sample_frame(sample);
        const std::size_t begin = kEthernet + std::size_t{4} * ParseFrame(frame).value().vlan.count;
        for (const auto& [at, byte] : changes) frame.at(begin + at) = static_cast<std::byte>(byte);
        refit_checksums(frame);
        EXPECT_THAT(text_of(ParseFrame(frame)), testing::HasSubstr(text)) << why;
    }
}

TEST(FrameParserTest, OfMorePrefixesThanThereIsRoomForTheFirstCount) {
    Bytes frame = sample_frame("router_advertisement");
    const Bytes option(frame.end() - 32, frame.end());
    for (int i = 0; i < 40; ++i) frame.insert(frame.end(), option.begin(), option.end());
    frame[kEthernet + 4] = std::byte{5};  // of 1376 bytes, 1280 of which are new
    frame[kEthernet + 5] = std::byte{96};
    refit_checksums(frame);
    const auto message = std::get<RouterAdvertisement>(ParseFrame(frame).value().content);
    const auto prefixes = message.GetPrefixes();
    ASSERT_EQ(prefixes.size(), RouterAdvertisement::kMostPrefixes);
    EXPECT_EQ(prefixes.front().length, 64);
    EXPECT_EQ(prefixes.back().length, 61);
}

TEST(FrameParserTest, UdpChecksumsCountWhereTheyAreFinished) {
    for (const bool is_v4 : {true, false}) {
        Bytes frame = sample_frame(is_v4 ? "udp4" : "udp6");
        const std::size_t checksum = kEthernet + (is_v4 ? 8 + 20 : 40) + 6;
        const std::string good = text_of(ParseFrame(frame));
        frame[checksum] ^= std::byte{1};
        EXPECT_EQ(text_of(ParseFrame(frame)), "nothing");
        EXPECT_EQ(text_of(ParseFrame(frame, {.check_udp = false})), good);
        frame[checksum] = frame[checksum + 1] = std::byte{0};
        EXPECT_EQ(text_of(ParseFrame(frame)), is_v4 ? good : "nothing") << "without";
    }
}

const StreamSignature kSignature{0x01020304, 0x1'0001'fffe, Nanoseconds(1'700'000'000'123'456'789)};

TEST(StreamPacketTest, IsOfRtpAndATransportStreamAndIsReadBackAndDamageIsSeen) {
    Bytes bytes(kStreamPayloadLength);
    ASSERT_EQ(WriteStreamPacket(bytes, kSignature), 1328U);
    const std::span<const std::byte> all(bytes);
    EXPECT_EQ(hex_text(all.first(12)), "8021fffe16a6bb6701020304");
    for (std::size_t at = 12; at < bytes.size(); at += 188)
        EXPECT_EQ(hex_text(all.subspan(at, 5)), "471fff10ff");
    EXPECT_EQ(hex_text(all.last(29)), "ff4f52563101020304000000010001fffe17979cfe3d85cd15725248ae");
    const auto read = ReadStreamPacket(bytes);
    ASSERT_TRUE(read && read->is_intact);
    EXPECT_EQ(read->signature.stream_id, kSignature.stream_id);
    EXPECT_EQ(read->signature.sequence_number, kSignature.sequence_number);
    EXPECT_EQ(read->signature.send_time, kSignature.send_time);
    const auto resent = ReadStreamPayload(all.subspan(12));
    EXPECT_TRUE(resent && resent->is_intact && resent->signature.stream_id == kSignature.stream_id);
    WriteStreamPacket(bytes, kSignature, 0xe1010001);
    EXPECT_EQ(hex_text(all.first(12)), "8021fffe16a6bb67e1010001");
    EXPECT_EQ(ReadStreamPacket(bytes)->signature.stream_id, kSignature.stream_id);
    for (std::size_t at = kRtpHeaderLength; at < bytes.size(); ++at) {
        Bytes damaged = bytes;
        damaged[at] ^= std::byte{0x10};
        const auto packet = ReadStreamPacket(damaged);
        EXPECT_FALSE(packet && packet->is_intact) << "byte " << at;
    }
    bytes.push_back(std::byte{0});
    EXPECT_FALSE(ReadStreamPacket(bytes));
    for (std::size_t length = 0; length < kStreamPayloadLength; ++length) {
        Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(ReadStreamPacket(cut)) << length;
        EXPECT_THROW(WriteStreamPacket(cut, kSignature), std::length_error) << length;
    }
}

TEST(StreamPacketTest, RtpOfForeignStreams) {
    const auto text = [](const char* hex) -> std::string {
        const Bytes bytes = bytes_of(hex);
        const auto rtp = ReadRtpPacket(bytes);
        if (!rtp) return "none";
        return std::to_string(rtp->payload_type) + (rtp->marker ? " marked " : " ") +
               std::to_string(rtp->sequence_number) + " " + std::to_string(rtp->timestamp) + " " +
               std::to_string(rtp->ssrc) + " " + hex_text(rtp->payload);
    };
    const std::pair<const char*, const char*> cases[] = {
        {"80 21 ffff 00000001 00000002", "33 65535 1 2 "},
        {"80 a1 0001 00000001 00000002 4747", "33 marked 1 1 2 4747"},
        {"82 21 0001 00000001 00000002 00000003 00000004 47", "33 1 1 2 47"},     // contributing sources
        {"90 21 0001 00000001 00000002 bede0001 01020304 47", "33 1 1 2 47"},     // header extension
        {"a0 21 0001 00000001 00000002 47 0002", "33 1 1 2 47"},                  // padding
        {"b1 21 0001 00000001 00000002 00000003 bede0000 47 01", "33 1 1 2 47"},  // all of them
        {"47 1f ff10 00000000 00000000 0000", "none"},                            // a bare transport stream
        {"80 c8 0006 00000001 00000002", "none"},                                 // an RTCP sender report
        {"80 21 0001 00000001 000000", "none"},
        {"82 21 0001 00000001 00000002 00000003", "none"},
        {"90 21 0001 00000001 00000002 bede", "none"},
        {"90 21 0001 00000001 00000002 bede0002 00000000", "none"},
        {"a0 21 0001 00000001 00000002", "none"},
        {"a0 21 0001 00000001 00000002 00", "none"},
        {"a0 21 0001 00000001 00000002 0004", "none"}};
    for (const auto& [hex, expected] : cases) EXPECT_EQ(text(hex), expected) << hex;
}

}  // namespace
}  // namespace orv::live
