// Stream blocks: paths, numbers of streams, stream ids.
#include <gmock/gmock.h>

#include <numeric>
#include <set>

#include "modules_fixture.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/stream_block.h"
#include "orv/l2l3/stream_index_manager.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::test {
namespace {

using l2l3::CStreamBlock;

class StreamTest : public ModulesTest {
  protected:
    core::CIpv4If& MakeSource(std::uint32_t hosts) { return Make<core::CIpv4If>(&MakeDevice(&port_, hosts)); }

    core::CNetworkBlock& MakeDestination(std::uint32_t networks, std::size_t start_addresses = 1) {
        auto& group = Make<mcastcore::CIpv4Group>(&Project());
        auto& block = dynamic_cast<core::CIpv4NetworkBlock&>(*group.GetNetworkBlock());
        block.SetNetworkCount(networks);
        block.SetStartIpList(
            std::vector<common::CIpAddress>(start_addresses, common::CIpAddress(0xe1000001)));
        return block;
    }

    CStreamBlock& MakeStreams(core::CNetworkEndpoint& source, core::CNetworkEndpoint& destination) {
        auto& block = Make<CStreamBlock>(&port_);
        Relate(block, source, ids::relations::SrcBinding);
        Relate(block, destination, ids::relations::DstBinding);
        return block;
    }

    std::vector<std::uint32_t> IdsOf(const CStreamBlock& block) {
        std::vector<std::uint32_t> stream_ids{0};
        l2l3::CStreamIndexManager::Instance().GetStreamIdsNoThrow(&block, port_.GetHandle(), stream_ids);
        return stream_ids;
    }

    core::CPort& port_ = MakePort();
};

TEST_F(StreamTest, NumberOfStreamsIsTheLeastCommonMultiple) {
    struct {
        std::uint32_t hosts, networks;
        std::size_t start_addresses;
        std::uint32_t streams;
    } const cases[] = {{1, 1, 1, 1},   {3, 4, 1, 12}, {5, 5, 1, 5}, {6, 4, 1, 12},
                       {2, 10, 1, 10}, {4, 2, 3, 12}, {7, 1, 0, 0}};
    for (const auto& expected : cases) {
        auto& block = MakeStreams(MakeSource(expected.hosts),
                                  MakeDestination(expected.networks, expected.start_addresses));
        EXPECT_EQ(block.GetStreamCount(), expected.streams) << expected.hosts << " to " << expected.networks;
        EXPECT_EQ(IdsOf(block).size(), expected.streams) << expected.hosts << " to " << expected.networks;
        block.Refresh();
        EXPECT_EQ(block.GetU32(ids::StreamBlock::StreamCount), expected.streams);
    }
    EXPECT_EQ(MakeStreams(MakeSource(4), MakeSource(6)).GetStreamCount(), 12u) << "between devices";
}

TEST_F(StreamTest, PathsAreEverySourceWithEveryDestinationThatTakesPart) {
    auto& first = MakeSource(1);
    auto& second = MakeSource(2);
    auto& far = MakeDestination(3);
    auto& near = MakeDestination(4);
    auto& block = MakeStreams(first, far);
    Relate(block, second, ids::relations::SrcBinding);
    Relate(block, near, ids::relations::DstBinding);
    const std::vector<CStreamBlock::TrafficPath> all = {
        {&first, &far}, {&first, &near}, {&second, &far}, {&second, &near}};
    EXPECT_EQ(block.GetTrafficPaths(), all);
    EXPECT_EQ(block.GetStreamCount(), 3u + 4u + 6u + 4u);

    second.Set("Active", std::string("false"));
    far.MarkDelete(true, true);
    EXPECT_EQ(block.GetTrafficPaths(), (std::vector<CStreamBlock::TrafficPath>{{&first, &near}}));
}

TEST_F(StreamTest, IdsAreDenseStableAndNeverShared) {
    auto& source = MakeSource(1);
    auto& first = MakeStreams(source, MakeDestination(3));
    auto& grows = MakeDestination(4);
    auto& second = MakeStreams(source, grows);
    auto& third = MakeStreams(source, MakeDestination(5));
    const auto first_ids = IdsOf(first);
    const auto second_ids = IdsOf(second);
    const auto third_ids = IdsOf(third);
    std::set<std::uint32_t> together(first_ids.begin(), first_ids.end());
    together.insert(second_ids.begin(), second_ids.end());
    together.insert(third_ids.begin(), third_ids.end());
    EXPECT_EQ(together.size(), 12u);
    EXPECT_EQ(*together.begin(), 1u);
    EXPECT_EQ(*together.rbegin(), 12u);

    grows.SetNetworkCount(6);
    const auto grown_ids = IdsOf(second);
    EXPECT_EQ(grown_ids.size(), 6u);
    EXPECT_EQ(IdsOf(first), first_ids);
    EXPECT_EQ(IdsOf(third), third_ids);
    for (const std::uint32_t id : grown_ids) {
        EXPECT_EQ(std::count(third_ids.begin(), third_ids.end(), id), 0) << id;
        EXPECT_EQ(std::count(first_ids.begin(), first_ids.end(), id), 0) << id;
    }
    second.Delete();
    EXPECT_THAT(IdsOf(MakeStreams(source, MakeDestination(4))), testing::ElementsAre(4, 5, 6, 7))
        << "numbers that have become free";
}

TEST_F(StreamTest, NumbersOfDeletedBlocksGrowTogether) {
    auto& source = MakeSource(1);
    std::vector<CStreamBlock*> blocks;
    for (int i = 0; i < 4; ++i) {
        blocks.push_back(&MakeStreams(source, MakeDestination(2)));
        IdsOf(*blocks.back());
    }
    for (const int deleted : {0, 2, 1}) blocks[deleted]->Delete();
    EXPECT_THAT(IdsOf(MakeStreams(source, MakeDestination(6))), testing::ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(IdsOf(*blocks[3]), testing::ElementsAre(7, 8));
    EXPECT_THAT(IdsOf(MakeStreams(source, MakeDestination(1))), testing::ElementsAre(9));
}

TEST_F(StreamTest, NoIdsForAnotherPortsBlockNorForAnAbsurdNumberOfStreams) {
    auto& manager = l2l3::CStreamIndexManager::Instance();
    std::vector<std::uint32_t> stream_ids{7};
    auto& block = MakeStreams(MakeSource(2), MakeDestination(2));
    EXPECT_FALSE(manager.GetStreamIdsNoThrow(&block, MakePort().GetHandle(), stream_ids));
    EXPECT_TRUE(stream_ids.empty());
    EXPECT_FALSE(manager.GetStreamIdsNoThrow(nullptr, port_.GetHandle(), stream_ids));

    auto& absurd = MakeStreams(MakeSource(65535), MakeDestination(0xffffffff));
    auto& hosts = MakeSource(65533);
    Relate(absurd, hosts, ids::relations::SrcBinding);
    EXPECT_FALSE(manager.GetStreamIdsNoThrow(&absurd, port_.GetHandle(), stream_ids));
    EXPECT_TRUE(manager.GetStreamIdsNoThrow(&block, port_.GetHandle(), stream_ids));
    EXPECT_EQ(stream_ids.size(), 2u);
}

}  // namespace
}  // namespace orv::test
