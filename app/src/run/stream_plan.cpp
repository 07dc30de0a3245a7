#include "stream_plan.h"

#include <fmt/format.h>

#include "addresses.h"
#include "interface_stacks.h"
#include "orv/common/exceptions.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/stream_index_manager.h"
#include "orv/live/frame.h"
#include "orv/live/stream_packet.h"
#include "orv/nic/addresses.h"
#include "traffic.h"

namespace orv::app {

using common::COrvRunTimeError;
using l2l3::CStreamBlock;

namespace {

/// A traffic path, decomposed.
struct Path {
    std::uint64_t streams = 0;
    std::vector<live::HostAddress> hosts;
    std::vector<live::IpAddress> groups;
};

Path ReadPath(const CStreamBlock::TrafficPath& path) {
    Path read{CStreamBlock::GetStreamCount(path), {}, {}};
    try {
        read.hosts = GetLiveHosts(*path.first);
    } catch (const COrvRunTimeError& error) {
        throw COrvRunTimeError(fmt::format("the source {} {}", path.first->Describe(), error.what()));
    }
    if (read.hosts.empty())
        throw COrvRunTimeError(fmt::format(
            "the source {} is no IP interface; live ports send from nothing else", path.first->Describe()));
    if (const auto* block = dynamic_cast<const core::CNetworkBlock*>(path.second)) {
        for (const ipAddress_t& address : GetAddresses(*block))
            read.groups.push_back(nic::ToLiveAddress(address));
    }
    bool are_groups = !read.groups.empty();
    for (const live::IpAddress& group : read.groups) are_groups &= group.IsMulticast();
    if (!are_groups)
        throw COrvRunTimeError(
            fmt::format("the destination {} is no block of multicast groups; live ports "
                        "send to nothing else",
                        path.second->Describe()));
    if (read.hosts.front().ip.IsV6() != read.groups.front().IsV6())
        throw COrvRunTimeError(fmt::format("{} cannot send to {}: one is IPv4, the other IPv6",
                                           path.first->Describe(), path.second->Describe()));
    return read;
}

std::vector<Path> ReadPaths(const CStreamBlock& block) {
    if (block.GetU8(ids::StreamBlock::LoadUnit) == ids::LoadUnit::INTER_BURST_GAP)
        throw COrvRunTimeError("LoadUnit INTER_BURST_GAP is not offered by live ports");
    if (const std::string problem = FindStreamCountProblem(block); !problem.empty())
        throw COrvRunTimeError(problem);
    std::vector<Path> paths;
    for (const CStreamBlock::TrafficPath& path : block.GetTrafficPaths()) paths.push_back(ReadPath(path));
    return paths;
}

/// Of an Ethernet frame without preamble and gap.
double GetFrameBits(const live::HostAddress& host) {
    constexpr std::size_t ipv4 = 20, ipv6 = 40, udp = 8;
    return 8.0 * static_cast<double>(live::kEthernetHeaderLength + 4 * host.vlan.Get().size() +
                                     (host.ip.IsV6() ? ipv6 : ipv4) + udp + live::kStreamPayloadLength);
}

/// What each stream of a block sends: frames or bits per second.
struct Load {
    double value = 0;
    bool is_in_frames = false;

    double GetPackets(const live::HostAddress& host) const {
        return is_in_frames ? value : value / GetFrameBits(host);
    }
};

/// A load is that of every stream; a percentage is that of the block, because there is only one line.
Load GetLoadOfStream(const CStreamBlock& block, double line_rate, std::size_t streams) {
    const double load = block.GetDouble(ids::StreamBlock::Load);
    switch (block.GetU8(ids::StreamBlock::LoadUnit)) {
        case ids::LoadUnit::FRAMES_PER_SECOND:
            return {load, true};
        case ids::LoadUnit::BITS_PER_SECOND:
            return {load};
        case ids::LoadUnit::KILOBITS_PER_SECOND:
            return {load * 1e3};
        case ids::LoadUnit::MEGABITS_PER_SECOND:
            return {load * 1e6};
        default:
            return {load / 100 * line_rate / static_cast<double>(streams)};
    }
}

void AppendStreams(const CStreamBlock& block, const core::CPort& port, double line_rate,
                   std::vector<nic::Stream>& streams) {
    const std::vector<Path> paths = ReadPaths(block);
    std::vector<std::uint32_t> numbers;
    if (!l2l3::CStreamIndexManager::Instance().GetStreamIdsNoThrow(&block, port.GetHandle(), numbers)) return;
    const Load load = GetLoadOfStream(block, line_rate, numbers.size());
    if (load.value <= 0) return;
    auto number = numbers.begin();
    for (const Path& path : paths) {
        for (std::uint64_t i = 0; i < path.streams; ++i) {
            nic::Stream& stream = streams.emplace_back();
            stream.id = *number++;
            stream.source = path.hosts[i % path.hosts.size()];
            stream.group = path.groups[i % path.groups.size()];
            stream.packets_per_second = load.GetPackets(stream.source);
        }
    }
}

}  // namespace

std::vector<nic::Stream> PlanStreams(const core::CPort& port, double line_rate) {
    std::vector<nic::Stream> streams;
    for (const CStreamBlock* block : GetActiveStreamBlocks(port))
        AppendStreams(*block, port, line_rate, streams);
    return streams;
}

void CheckStreams(const CStreamBlock& block) {
    ReadPaths(block);
}

}  // namespace orv::app
