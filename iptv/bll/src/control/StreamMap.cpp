#include "control/StreamMap.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <unordered_set>

#include "IptvLog.h"
#include "IptvResources.h"
#include "config/AddressLists.h"
#include "config/ChannelBlockIndex.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "orv/core/emulated_device.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/network_block.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/l2l3/stream_block.h"
#include "orv/l2l3/stream_index_manager.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::iptv {

namespace {

/// The device that an endpoint is an interface of, or null.
const core::CEmulatedDevice* GetDeviceOf(const core::CNetworkEndpoint* endpoint) {
    const auto* interface = dynamic_cast<const core::CNetworkInterface*>(endpoint);
    return interface ? interface->GetDevice() : nullptr;
}

template <class Address>
ipAddress_t AddressOfHost(Address first, Address step, std::uint32_t host) {
    step *= host;
    first += step;
    return ToIpAddress(first);
}

/// The address of a host behind an IP interface: the first one and the step, also where the interface has a
/// list of addresses besides.
ipAddress_t GetHostAddress(const core::CNetworkEndpoint& interface, std::uint32_t host) {
    if (interface.IsTypeOf(core::CIpv4If::CLASS_ID())) {
        return AddressOfHost(interface.GetIp(ids::Ipv4If::Address), interface.GetIp(ids::Ipv4If::AddrStep),
                             host);
    }
    return AddressOfHost(interface.GetIpv6(ids::Ipv6If::Address), interface.GetIpv6(ids::Ipv6If::AddrStep),
                         host);
}

bool IsIpInterface(const core::CNetworkEndpoint& endpoint) {
    return endpoint.IsTypeOf(core::CIpv4If::CLASS_ID()) || endpoint.IsTypeOf(core::CIpv6If::CLASS_ID());
}

/// The addresses of channel blocks, each block's worked out once.
class ChannelAddresses {
  public:
    const std::vector<ipAddress_t>& Expand(const CIptvChannelBlock& block) {
        const auto [entry, is_new] = addresses_.try_emplace(&block);
        const auto* group = block.GetMulticastGroup();
        if (is_new && group) BlockToVector(group->GetNetworkBlock(), entry->second);
        return entry->second;
    }

  private:
    std::unordered_map<const CIptvChannelBlock*, std::vector<ipAddress_t>> addresses_;
};

/// The ranges that active blocks watch, each once: many blocks watch the same.
std::vector<const CIptvViewedChannels*> GetWatchedRanges(const std::vector<CIptvStbBlockConfig*>& blocks) {
    std::vector<const CIptvViewedChannels*> ranges;
    std::unordered_set<const CScriptable*> known;
    for (const CIptvStbBlockConfig* block : blocks) {
        if (!block->GetActive() || block->IsDeleted()) continue;
        framework::ScriptableVec objects;
        block->GetObjects(objects, CIptvViewedChannels::CLASS_ID(), ids::relations::StbChannel);
        for (const CScriptable* object : objects) {
            const auto* range = dynamic_cast<const CIptvViewedChannels*>(object);
            if (range && range->GetActive() && !range->IsDeleted() && known.insert(range).second)
                ranges.push_back(range);
        }
    }
    return ranges;
}

}  // namespace

std::size_t StreamMap::AddressHash::operator()(const ipAddress_t& address) const {
    const auto* bytes = reinterpret_cast<const char*>(address.v6.address);
    return std::hash<std::string_view>{}({bytes, ipAddress_t::length_of(address.type)}) ^ address.type;
}

void StreamMap::ListRelevantIPs(const core::CProject& project,
                                const std::vector<CIptvStbBlockConfig*>& blocks) {
    relevant_.clear();
    framework::ScriptableVec objects;
    project.GetObjects(objects, CIptvChannelBlock::CLASS_ID(), common::kParentChild);
    const ChannelBlockIndex channel_blocks(objects);
    ChannelAddresses channel_addresses;
    for (const CIptvViewedChannels* range : GetWatchedRanges(blocks)) {
        const CIptvChannelBlock* block = range->GetChannelBlockForViewChan(channel_blocks);
        if (!block) continue;
        const auto& addresses = channel_addresses.Expand(*block);
        const std::uint32_t first = block->GetChannelStart();
        const std::uint64_t step = std::max(range->GetChannelRangeStep(), std::uint32_t{1});
        if (range->GetChannelRangeEnd() < range->GetChannelRangeStart()) continue;
        const std::uint64_t last = range->GetChannelRangeEnd() - first;
        for (std::uint64_t i = range->GetChannelRangeStart() - first; i <= last && i < addresses.size();
             i += step)
            relevant_.try_emplace(addresses[i], relevant_.size());
    }
    found_.assign(relevant_.size(), false);
}

void StreamMap::ProcessOneStreamBlock(std::uint32_t portHandle, l2l3::CStreamBlock* block,
                                      std::vector<ipAddress_t>& sources, std::vector<ipAddress_t>& groups,
                                      std::vector<std::uint32_t>& streamIds) {
    if (!block) return;
    block->Refresh();
    if (!block->GetActive() || block->IsDeleted()) return;
    std::vector<std::uint32_t> ids;
    l2l3::CStreamIndexManager::Instance().GetStreamIdsNoThrow(block, portHandle, ids);

    std::uint64_t offset = 0;  // of the path's first stream among the ids
    for (const auto& path : block->GetTrafficPaths()) {
        const core::CEmulatedDevice* device = GetDeviceOf(path.first);
        if (!device) continue;  // streams without a host have the last stream ids
        const std::uint64_t count = l2l3::CStreamBlock::GetStreamCount(path);
        if (GetDeviceOf(path.second)) {
            offset += std::min<std::uint64_t>(count, ids.size());  // between hosts: no channels
            continue;
        }
        auto* channels = dynamic_cast<core::CNetworkBlock*>(path.second);
        if (!channels || !IsIpInterface(*path.first) || count > ids.size()) continue;
        const std::uint64_t first = offset;
        offset += count;
        // Without ids for all streams of the path, ids cannot be matched to streams.
        if (count == 0 || offset > ids.size()) continue;
        std::vector<ipAddress_t> addresses;
        BlockToVector(channels, addresses);
        for (std::uint64_t k = 0; k < count; ++k) {
            const ipAddress_t& group = addresses[k % addresses.size()];
            const auto relevant = relevant_.find(group);
            if (relevant == relevant_.end()) continue;
            found_[relevant->second] = true;
            sources.push_back(
                GetHostAddress(*path.first, static_cast<std::uint32_t>(k % device->GetDeviceCount())));
            groups.push_back(group);
            streamIds.push_back(ids[first + k]);
        }
    }
}

std::vector<const core::CPort*> ListReachablePorts(const core::CProject& project) {
    framework::ScriptableVec objects;
    project.GetObjects(objects, core::CPort::CLASS_ID(), common::kParentChild);
    std::vector<const core::CPort*> ports;
    for (const CScriptable* object : objects) {
        const auto* port = dynamic_cast<const core::CPort*>(object);
        if (port && !port->IsDeleted() && port->IsReachable()) ports.push_back(port);
    }
    return ports;
}

void StreamMap::Make(const core::CProject& project, const std::vector<CIptvStbBlockConfig*>& blocks) {
    Clear();
    ListRelevantIPs(project, blocks);
    for (const core::CPort* port : ListReachablePorts(project)) {
        framework::ScriptableVec objects;
        port->GetObjects(objects, l2l3::CStreamBlock::CLASS_ID(), common::kParentChild);
        for (CScriptable* object : objects) {
            ProcessOneStreamBlock(port->GetHandle(), dynamic_cast<l2l3::CStreamBlock*>(object), sources_,
                                  groups_, stream_ids_);
        }
    }
    if (std::find(found_.begin(), found_.end(), false) == found_.end()) return;
    LogResource(userLogger(), LogLevelType::Warn, resource::kStreamsNotFound, {});
    stream_ids_.clear();
}

void StreamMap::Clear() {
    relevant_.clear();
    found_.clear();
    sources_.clear();
    groups_.clear();
    stream_ids_.clear();
}

}  // namespace orv::iptv
