// What generators of live ports send.
#include "run/stream_plan.h"

#include <fmt/format.h>

#include <set>

#include "live_project.h"
#include "orv/common/exceptions.h"
#include "orv/live/stream_packet.h"

namespace {

using namespace orv;  // NOLINT: a test

/// Of an untagged IPv4 frame, of which all others are multiples in the tests: 14 + 20 + 8 + the payload.
constexpr double kFrameBits = 8.0 * (42 + live::kStreamPayloadLength);

struct Source {
    int hosts = 1;
    int groups = 1;
    const char* block = "";  ///< lines of the stream block
    bool ipv6 = false;
    int vlans = 0;
    const char* destination = "Groups";
    const char* start = "";  ///< address of the first group
};

std::string MakeObjects(const Source& source) {
    const std::string ip = source.ipv6 ? "Ipv6" : "Ipv4";
    std::string layers = "      - EthIIIf: L0\n";
    for (int i = 1; i <= source.vlans; ++i)
        layers += fmt::format(
            "      - VlanIf: L{}\n        VlanId: {}\n        IdStep: {}\n        Priority: {}\n        "
            "StackedOn: "
            "L{}\n",
            i, 100 * i, i - 1, i, i - 1);
    return fmt::format(
        "  - Port: Head end\n    children:\n      - StreamBlock: Streams\n        SrcBinding: Sources/{0}If\n"
        "        DstBinding: {1}/NetworkEndpoint\n{2}"
        "  - EmulatedDevice: Sources\n    DeviceCount: {3}\n    AffiliationPort: Head end\n    children:\n{4}"
        "      - {0}If:\n        Address: {5}\n        StackedOn: L{6}\n"
        "  - {0}Group: Groups\n    children:\n      - {0}NetworkBlock:\n        NetworkCount: {7}\n{8}"
        "  - Ipv6Group: Others\n",
        ip, source.destination, source.block, source.hosts, layers,
        source.ipv6 ? "\"2001:db8::1\"" : "10.0.0.1", source.vlans, source.groups,
        *source.start ? fmt::format("        StartIpList: {}\n", source.start) : "");
}

class StreamPlanTest : public testing_aids::LiveProjectTest {
  protected:
    std::vector<nic::Stream> Plan(const Source& source, double line_rate = 1e9) {
        Build(MakeObjects(source));
        return app::PlanStreams(PortOf("Head end"), line_rate);
    }
};

TEST_F(StreamPlanTest, StreamsPairHostsAndGroupsInOneRowOfNumbers) {
    std::string text;
    const auto streams = Plan({.hosts = 2, .groups = 3});
    for (const nic::Stream& stream : streams)
        text += fmt::format("{}: {} > {}\n", stream.id - streams.front().id, stream.source.ip.ToString(),
                            stream.group.ToString());
    EXPECT_EQ(text,
              "0: 10.0.0.1 > 225.0.0.1\n"
              "1: 10.0.0.2 > 225.0.0.2\n"
              "2: 10.0.0.1 > 225.0.0.3\n"
              "3: 10.0.0.2 > 225.0.0.1\n"
              "4: 10.0.0.1 > 225.0.0.2\n"
              "5: 10.0.0.2 > 225.0.0.3\n");
    const auto shared = Plan({.hosts = 2, .groups = 4});
    ASSERT_EQ(shared.size(), 4u);
    EXPECT_EQ(shared[3].source.ip.ToString(), "10.0.0.2");
}

TEST_F(StreamPlanTest, TheLoadIsThatOfEachStream) {
    struct Case {
        const char* what;
        Source source;
        double packets;  ///< per second, of each stream
    };
    for (const Case& c : std::initializer_list<Case>{
             {"a tenth of the line, unless said otherwise", {}, 1e8 / kFrameBits},
             {"percent", {.groups = 4, .block = "        Load: 50\n"}, 5e8 / 4 / kFrameBits},
             {"frames",
              {.groups = 4, .block = "        Load: 1000\n        LoadUnit: FRAMES_PER_SECOND\n"},
              1000},
             {"frames of any length",
              {.groups = 4, .block = "        Load: 1000\n        LoadUnit: FRAMES_PER_SECOND\n", .vlans = 1},
              1000},
             {"bits",
              {.block = "        Load: 109600\n        LoadUnit: BITS_PER_SECOND\n"},
              109600 / kFrameBits},
             {"kilobits",
              {.block = "        Load: 8000\n        LoadUnit: KILOBITS_PER_SECOND\n"},
              8e6 / kFrameBits},
             {"megabits of two sources",
              {.hosts = 2, .groups = 2, .block = "        Load: 8\n        LoadUnit: MEGABITS_PER_SECOND\n"},
              8e6 / kFrameBits},
             {"tags and IPv6 make frames longer",
              {.block = "        Load: 8\n        LoadUnit: MEGABITS_PER_SECOND\n", .ipv6 = true, .vlans = 2},
              8e6 / (kFrameBits + 8 * (20 + 2 * 4))}}) {
        SCOPED_TRACE(c.what);
        const auto streams = Plan(c.source);
        ASSERT_EQ(streams.size(), static_cast<std::size_t>(c.source.groups));
        for (const nic::Stream& stream : streams)
            EXPECT_NEAR(stream.packets_per_second, c.packets, 1e-9 * c.packets);
    }
    EXPECT_EQ(Plan({.block = "        Load: 0\n"}).size(), 0u) << "a stream has packets";
    EXPECT_EQ(Plan({.block = "        LocalActive: false\n"}).size(), 0u);
}

TEST_F(StreamPlanTest, ASourceHasTheTagsOfItsHostTheOuterOneFirst) {
    const auto streams = Plan({.hosts = 2, .groups = 2, .ipv6 = true, .vlans = 2});
    ASSERT_EQ(streams.size(), 2u);
    const live::HostAddress& second = streams[1].source;
    EXPECT_EQ(second.mac, (live::MacAddress{{0x00, 0x10, 0x94, 0x00, 0x00, 0x02}}));
    EXPECT_EQ(second.ip.ToString(), "2001:db8::2");
    ASSERT_EQ(second.vlan.count, 2);
    EXPECT_EQ(second.vlan.tags[0], (live::VlanTag{0x8100, 1 << 13 | 100}));
    EXPECT_EQ(second.vlan.tags[1], (live::VlanTag{0x8100, 2 << 13 | 201}));
    EXPECT_TRUE(streams[1].group.IsV6());
}

TEST_F(StreamPlanTest, WhatLivePortsCannotSendIsSaid) {
    struct Case {
        const char* what;
        Source source;
        const char* problem;
    };
    for (const Case& c : std::initializer_list<Case>{
             {"gap",
              {.block = "        LoadUnit: INTER_BURST_GAP\n"},
              "INTER_BURST_GAP is not offered by live ports"},
             {"too many",
              {.hosts = 1024, .groups = 1025},
              "it has 1049600 streams; a stream block has at most 1048576"},
             {"three tags", {.vlans = 3}, "has more than 2 VLANs"},
             {"unicast", {.start = "10.9.9.9"}, "is no block of multicast groups"},
             {"both versions", {.destination = "Others"}, "one is IPv4, the other IPv6"}}) {
        SCOPED_TRACE(c.what);
        Build(MakeObjects(c.source));
        try {
            app::CheckStreams(Find<l2l3::CStreamBlock>(PortOf("Head end"), "Streams"));
            ADD_FAILURE() << "nothing was said";
        } catch (const common::COrvRunTimeError& error) {
            EXPECT_NE(std::string(error.what()).find(c.problem), std::string::npos) << error.what();
        }
    }
}

}  // namespace
