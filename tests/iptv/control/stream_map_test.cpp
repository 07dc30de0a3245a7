// Which stream carries which channel.
#include "control/StreamMap.h"

#include "config/AddressLists.h"
#include "orv/core/network_block.h"
#include "orv/core/orv_system.h"
#include "orv/core/project.h"
#include "orv/l2l3/stream_block.h"
#include "orv/l2l3/stream_index_manager.h"
#include "results/results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using iptv::ipAddress_t;

/// The last byte of an address, after "v6:" for IPv6.
std::string Shorten(const ipAddress_t& address) {
    return address.type == ipAddress_t::kV6 ? "v6:" + std::to_string(address.v6.address[15])
                                            : std::to_string(address.v4.address[3]);
}

/// A block of set-top boxes on one port, and stream blocks on another.
struct StreamMapTest : testing::Test {
    iptv::CIptvStbBlockConfig& Watch(std::vector<iptv::CIptvViewedChannels*> ranges) {
        return project.MakeStbBlock(project.MakeDevice(&receiver), profile, ranges);
    }
    core::CNetworkInterface& MakeHosts(std::uint32_t count, const std::string& address, bool ipv6 = false) {
        auto& device = project.MakeDevice(&sender, count, {.ipv6 = ipv6});
        SetAddress(device, address);
        return TestProject::LayerOf(device, ipv6 ? "Ipv6If" : "Ipv4If");
    }
    static core::CNetworkBlock& AddressesOf(const iptv::CIptvChannelBlock& channels) {
        return *TestProject::GroupOf(channels).GetNetworkBlock();
    }
    l2l3::CStreamBlock& MakeStreams(const std::vector<CScriptable*>& sources,
                                    const std::vector<CScriptable*>& destinations) {
        auto& streams = framework::CScriptableCreator().Make<l2l3::CStreamBlock>(&sender);
        for (CScriptable* source : sources) TestProject::Relate(streams, *source, ids::relations::SrcBinding);
        for (CScriptable* to : destinations) TestProject::Relate(streams, *to, ids::relations::DstBinding);
        return streams;
    }
    void Make(const std::vector<iptv::CIptvStbBlockConfig*>& blocks) {
        map.Make(dynamic_cast<core::CProject&>(project.Root()), blocks);
    }
    /// "<source>><group>:<place of the stream in its block>".
    Texts Lines(const l2l3::CStreamBlock& streams) {
        std::vector<std::uint32_t> ids;
        l2l3::CStreamIndexManager::Instance().GetStreamIdsNoThrow(&streams, sender.GetHandle(), ids);
        Texts lines;
        for (std::size_t i = 0; i < map.GetSources().size(); ++i) {
            lines.push_back(Shorten(map.GetSources()[i]) + ">" + Shorten(map.GetGroups()[i]));
            if (!map.GetStreamIds().empty())
                lines.back() += ":" + std::to_string(map.GetStreamIds()[i] - ids.at(0));
        }
        return lines;
    }

    TestProject project;
    testing_aids::LogCapture log;
    core::CPort &receiver = project.MakePort("Receiver"), &sender = project.MakePort("Sender");
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile("Fast");
    iptv::StreamMap map;
};

TEST_F(StreamMapTest, HostAndGroupOfAStreamComeTogetherInTurns) {
    const struct {
        std::uint32_t hosts, groups;
        std::uint32_t first;  ///< channels watched
        std::uint32_t last;
        Texts lines;
    } cases[] = {{2, 3, 1, 3, {"1>1:0", "2>2:1", "1>3:2", "2>1:3", "1>2:4", "2>3:5"}},  // coprime
                 {3, 3, 1, 3, {"1>1:0", "2>2:1", "3>3:2"}},                             // equal
                 {4, 2, 1, 2, {"1>1:0", "2>2:1", "3>1:2", "4>2:3"}},                    // multiple
                 {2, 4, 1, 4, {"1>1:0", "2>2:1", "1>3:2", "2>4:3"}},
                 {4, 6, 2, 3, {"2>2:1", "3>3:2", "4>2:7", "1>3:8"}},  // some channels only
                 {1, 5, 5, 5, {"1>5:4"}}};
    for (const auto& test : cases) {
        SCOPED_TRACE(std::to_string(test.hosts) + " hosts, " + std::to_string(test.groups) + " groups");
        auto& channels = project.MakeChannelBlock("News", 1, test.groups);
        auto& stbs = Watch({&project.MakeRange(channels, test.first, test.last)});
        auto& streams = MakeStreams({&MakeHosts(test.hosts, "10.0.0.1")}, {&AddressesOf(channels)});
        Make({&stbs});
        EXPECT_EQ(Lines(streams), test.lines);
        EXPECT_THAT(log.Take(), Not(Contains(HasSubstr("relevant multicast streams"))));
        streams.Delete();
        channels.Delete();
    }
}

TEST_F(StreamMapTest, StreamsToAndFromOthersArePassedOver) {
    auto &four = project.MakeChannelBlock("Four", 1, 2), &six = project.MakeChannelBlock("Six", 11, 2, true);
    auto& stbs = Watch({&project.MakeRange(four, 1, 2), &project.MakeRange(six, 11, 12)});
    auto& viewer = TestProject::LayerOf(project.MakeDevice(&receiver, 3), "Ipv4If");
    auto &first = MakeHosts(2, "10.0.0.1"), &second = MakeHosts(1, "10.0.0.9");
    auto& third = MakeHosts(1, "2000::7", true);
    first.Set("AddrList", std::string("10.9.9.50 10.9.9.51"));  // the first address and the step count
    // Neither hosts, nor hosts with IP addresses: only the streams of the latter to other hosts have numbers.
    auto& network = AddressesOf(project.MakeChannelBlock("Network", 21, 5));
    auto& link = TestProject::LayerOf(project.MakeDevice(&sender, 1), "EthIIIf");
    // Streams in order: link to viewer 3, first to viewer 6, first to four 2, first to six 2, second 3 + 2 +
    // 2, third 3 + 2 + 2.
    auto& streams = MakeStreams({&network, &link, &first, &second, &third},
                                {&viewer, &AddressesOf(four), &AddressesOf(six)});
    Make({&stbs});
    EXPECT_THAT(Lines(streams),
                ElementsAre("1>1:9", "2>2:10", "1>v6:1:11", "2>v6:2:12", "9>1:16", "9>2:17", "9>v6:1:18",
                            "9>v6:2:19", "v6:7>1:23", "v6:7>2:24", "v6:7>v6:1:25", "v6:7>v6:2:26"));
}

TEST_F(StreamMapTest, WithoutAStreamForEachGroupTheStreamsAreNotToldApart) {
    auto& channels = project.MakeChannelBlock("News", 1, 4);
    auto& others = project.MakeChannelBlock("Films", 11, 2);
    AddressesOf(others).Set("StartIpList", "225.0.1.1");
    auto& stbs = Watch({&project.MakeRange(channels, 1, 2), &project.MakeRange(others, 11, 12)});
    auto& streams = MakeStreams({&MakeHosts(1, "10.0.0.1")}, {&AddressesOf(channels)});
    Make({&stbs});
    EXPECT_THAT(Lines(streams), ElementsAre("1>1", "1>2"));
    EXPECT_THAT(map.GetStreamIds(), IsEmpty());
    EXPECT_THAT(log.Take(), Contains(HasSubstr("user.iptv Warn: Not all of the relevant multicast streams")));

    // Found on a port that takes part, in a stream block that is on.
    auto& rest = MakeStreams({&MakeHosts(1, "10.0.0.2")}, {&AddressesOf(others)});
    Make({&stbs});
    EXPECT_EQ(map.GetStreamIds().size(), 4u);
    rest.Set(ids::Scriptable::LocalActive, false);
    Make({&stbs});
    EXPECT_THAT(map.GetStreamIds(), IsEmpty());
    rest.Set(ids::Scriptable::LocalActive, true);
    sender.Set(ids::Port::Online, false);
    Make({&stbs});
    EXPECT_THAT(map.GetSources(), IsEmpty());
    core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, true);
    Make({&stbs});
    EXPECT_EQ(map.GetStreamIds().size(), 4u);
}

TEST_F(StreamMapTest, TheGroupsAreThoseThatActiveBlocksWatch) {
    auto& channels = project.MakeChannelBlock("News", 5, 10);
    auto& every_third = project.MakeRange(channels, 6, 14);
    every_third.Set(ids::IptvViewedChannels::ChannelRangeStep, 3u);
    auto &overlapping = project.MakeRange(channels, 5, 6), &off = project.MakeRange(channels, 12, 13);
    off.Set(ids::Scriptable::LocalActive, false);
    auto& by_inactive_block = project.MakeRange(channels, 11, 11);
    auto &stbs = Watch({&every_third, &overlapping, &off}), &same = Watch({&every_third});
    auto& inactive = Watch({&by_inactive_block});
    inactive.Set(ids::Scriptable::LocalActive, false);
    auto& streams = MakeStreams({&MakeHosts(1, "10.0.0.1")}, {&AddressesOf(channels)});
    Make({&stbs, &same, &inactive});
    EXPECT_THAT(Lines(streams), ElementsAre("1>1:0", "1>2:1", "1>5:4", "1>8:7"));
}

TEST_F(StreamMapTest, EveryPortIsSentTheMap) {
    auto& channels = project.MakeChannelBlock("News", 1, 2);
    auto& stbs = Watch({&project.MakeRange(channels, 1, 2)});
    MakeStreams({&MakeHosts(1, "10.0.0.1")}, {&AddressesOf(channels)});
    Make({&stbs});
    testing_aids::ScriptedPort far(receiver);  // the sender cannot be reached
    auto& start = framework::CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root());
    start.MakeMap(dynamic_cast<core::CProject&>(project.Root()));
    Yield();
    std::vector<ipAddress_t> sources, groups;
    std::vector<std::uint32_t> ids;
    iptvcd_1_bll::parse_req_UpdateStreamMap(&far.Last("UpdateStreamMap"), &sources, &groups, &ids);
    EXPECT_EQ(sources, map.GetSources());
    EXPECT_EQ(groups, map.GetGroups());
    EXPECT_EQ(ids, map.GetStreamIds());
    EXPECT_EQ(ids.size(), 2u);
    EXPECT_THAT(log.Take(), Contains("content.mulvane.iptv Error: Failed to send interface message"));
    framework::CRpcManager::Instance().Reset();
}

}  // namespace
