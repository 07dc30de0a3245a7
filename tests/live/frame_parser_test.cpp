// Frames that are parsed, and frames that are discarded.
#include "orv/live/frame_parser.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "live/sample_frames.h"

namespace orv::live {
namespace {

using testing_aids::sample_frame;
using testing_aids::sample_frames;
using testing_aids::text_of;
using Bytes = std::vector<std::byte>;

constexpr std::size_t kEthernet = 14;

TEST(FrameParserTest, SamplesSayWhatTheyHold) {
    for (const auto& sample : sample_frames()) {
        EXPECT_EQ(text_of(ParseFrame(testing_aids::bytes_of(sample.hex))), sample.text) << sample.name;
    }
}

TEST(FrameParserTest, TagsThatTheKernelTookOutComeFirst) {
    const ReceiveInfo stripped{.stripped_tag = VlanTag{0x88a8, 0x0064}};
    EXPECT_EQ(text_of(ParseFrame(sample_frame("igmp2_leave"), stripped)).substr(0, 12), "[88a8:0064] ");
    EXPECT_EQ(text_of(ParseFrame(sample_frame("igmp2_group"), stripped)).substr(0, 22),
              "[88a8:0064 8100:6064] ");
    EXPECT_EQ(text_of(ParseFrame(sample_frame("udp4"), stripped)), "nothing") << "three tags";
}

TEST(FrameParserTest, EndsOfFramesAreNoticed) {
    for (const auto& sample : sample_frames()) {
        const Bytes whole = testing_aids::bytes_of(sample.hex);
        bool padding = true;
        for (std::size_t length = whole.size(); length-- > 0;) {
            // Memory of exactly that size, so that the address sanitizer sees a read beyond it.
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            const std::string text = text_of(ParseFrame(cut));
            padding = padding && text == sample.text;
            if (!padding) {
                EXPECT_EQ(text, "nothing") << sample.name << " cut to " << length;
            }
        }
    }
}

TEST(FrameParserTest, DamageIsNoticed) {
    for (const auto& sample : sample_frames()) {
        if (sample.name == "arp_request") continue;  // has no checksum
        const Bytes whole = testing_aids::bytes_of(sample.hex);
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
    struct Case {
        const char* why;
        const char* sample;
        std::vector<std::pair<std::size_t, unsigned>> changes;  ///< from the end of Ethernet and tags, byte
        const char* text = "nothing";
    };
    const Case cases[] = {
        {"ARP for other hardware", "arp_request", {{1, 6}}},
        {"ARP for another protocol", "arp_request", {{2, 0x86}}},
        {"ARP reply", "arp_request", {{7, 2}}},
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
        {"UDP longer than its packet", "udp4", {{25, 12}}},
        {"UDP shorter than its header", "udp4", {{25, 7}}},
        // Options before Router Alert are skipped, padding is not read.
        {"padding", "igmp2_report", {{20, 0}}, "igmp2 report of 192.0.2.11: 239.129.2.3"},
        {"to this host alone", "igmp3_general", {{16, 192}, {18, 2}, {19, 10}}, "igmp3 query to 192.0.2.10"},
        {"IGMPv1, any group", "igmp1_query", {{24, 1}}, "about 0.0.0.0, code 0, within 10000"},
        {"bytes behind the sources", "igmp3_sources", {{35, 1}}, "every 0 s, 198.51.100.1"},
        {"longest times",
         "igmp3_general",
         {{25, 0xff}, {33, 0xff}},
         "within 3174400 ms, robustness 2, every 31744 s"},
        {"longest time", "mld2_general", {{52, 0xff}}, "code 65535, within 8387584 ms,"},
        {"option to skip", "mld1_done", {{46, 0x1e}}, "mld1 leave of fe80::2: ff3e::8000:1"},
        {"no MAC option", "solicitation", {{64, 14}}, "2001:db8::1 at 00163e000001 asks"},
    };
    for (const Case& c : cases) {
        Bytes frame = sample_frame(c.sample);
        const auto parsed = ParseFrame(frame);
        ASSERT_TRUE(parsed) << c.sample;
        for (const auto& [at, byte] : c.changes)
            frame.at(kEthernet + std::size_t{4} * parsed->vlan.count + at) = static_cast<std::byte>(byte);
        testing_aids::refit_checksums(frame);
        EXPECT_THAT(text_of(ParseFrame(frame)), testing::HasSubstr(c.text)) << c.why;
    }
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

}  // namespace
}  // namespace orv::live
