#include "control/StreamMap.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <unordered_set>

#include "IptvLog.h"
#include "IptvResources.h"
#include "apply/SourceLists.h"
#include "config/ChannelBlockIndex.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "control/IptvStartTestCommand.h"
#include "control/SendRequest.h"
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
#include "orv/tm/message.h"

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
    const std::vector<ipAddress_t>& Get(const CIptvChannelBlock& block) {
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

template <class Work>
void ForEachReachablePort(const core::CProject& project, const Work& work) {
    framework::ScriptableVec objects;
    project.GetObjects(objects, core::CPort::CLASS_ID(), common::kParentChild);
    for (const CScriptable* object : objects) {
        const auto* port = dynamic_cast<const core::CPort*>(object);
        if (port && !port->IsDeleted() && port->IsReachable()) work(*port);
    }
}

}  // namespace

std::size_t StreamMap::AddressHash::operator()(const ipAddress_t& address) const {
    const auto* bytes = reinterpret_cast<const char*>(address.v6.address);
    return std::hash<std::string_view>{}({bytes, ipAddress_t::length_of(address.type)}) ^ address.type;
}

void StreamMap::ListRelevantIPs(const core::CProject& project,
                                const std::vector<CIptvStbBlockConfig*>& blocks) {
    m_relevant.clear();
    framework::ScriptableVec objects;
    project.GetObjects(objects, CIptvChannelBlock::CLASS_ID(), common::kParentChild);
    const ChannelBlockIndex channel_blocks(objects);
    ChannelAddresses channel_addresses;
    for (const CIptvViewedChannels* range : GetWatchedRanges(blocks)) {
        const CIptvChannelBlock* block = range->GetChannelBlockForViewChan(channel_blocks);
        if (!block) continue;
        const auto& addresses = channel_addresses.Get(*block);
        const std::uint32_t first = block->GetChannelStart();
        const std::uint64_t step = std::max(range->GetChannelRangeStep(), std::uint32_t{1});
        if (range->GetChannelRangeEnd() < range->GetChannelRangeStart()) continue;
        const std::uint64_t last = range->GetChannelRangeEnd() - first;
        for (std::uint64_t i = range->GetChannelRangeStart() - first; i <= last && i < addresses.size();
             i += step)
            m_relevant.try_emplace(addresses[i], m_relevant.size());
    }
    m_found.assign(m_relevant.size(), false);
}

void StreamMap::ProcessOneStreamBlock(std::uint32_t portHandle, l2l3::CStreamBlock* block,
                                      std::vector<ipAddress_t>& sources, std::vector<ipAddress_t>& groups,
                                      std::vector<std::uint32_t>& streamIds) {
    if (!block) return;
    block->Refresh();
    if (!block->GetActive() || block->IsDeleted()) return;
    std::vector<std::uint32_t> ids;
    l2l3::CStreamIndexManager::Instance().GetStreamIdsNoThrow(block, portHandle, ids);

    std::uint64_t offset = 0;  // of the path's first stream among the numbers
    for (const auto& path : block->GetTrafficPaths()) {
        const core::CEmulatedDevice* device = GetDeviceOf(path.first);
        if (!device) continue;  // streams of no host are numbered behind all others
        const std::uint64_t count = l2l3::CStreamBlock::GetStreamCount(path);
        if (GetDeviceOf(path.second)) {
            offset += std::min<std::uint64_t>(count, ids.size());  // between hosts: no channels
            continue;
        }
        auto* channels = dynamic_cast<core::CNetworkBlock*>(path.second);
        if (!channels || !IsIpInterface(*path.first) || count > ids.size()) continue;
        const std::uint64_t first = offset;
        offset += count;
        // Without numbers for all of them nobody can say which number is whose.
        if (count == 0 || offset > ids.size()) continue;
        std::vector<ipAddress_t> addresses;
        BlockToVector(channels, addresses);
        for (std::uint64_t k = 0; k < count; ++k) {
            const ipAddress_t& group = addresses[k % addresses.size()];
            const auto relevant = m_relevant.find(group);
            if (relevant == m_relevant.end()) continue;
            m_found[relevant->second] = true;
            sources.push_back(
                GetHostAddress(*path.first, static_cast<std::uint32_t>(k % device->GetDeviceCount())));
            groups.push_back(group);
            streamIds.push_back(ids[first + k]);
        }
    }
}

void StreamMap::Make(const core::CProject& project, const std::vector<CIptvStbBlockConfig*>& blocks) {
    Clear();
    ListRelevantIPs(project, blocks);
    ForEachReachablePort(project, [this](const core::CPort& port) {
        framework::ScriptableVec objects;
        port.GetObjects(objects, l2l3::CStreamBlock::CLASS_ID(), common::kParentChild);
        for (CScriptable* object : objects) {
            ProcessOneStreamBlock(port.GetHandle(), dynamic_cast<l2l3::CStreamBlock*>(object), m_sources,
                                  m_groups, m_streamIds);
        }
    });
    if (std::find(m_found.begin(), m_found.end(), false) == m_found.end()) return;
    LogResource(userLogger(), LogLevelType::Warn, resource::kStreamsNotFound, {});
    m_streamIds.clear();
}

void StreamMap::Clear() {
    m_relevant.clear();
    m_found.clear();
    m_sources.clear();
    m_groups.clear();
    m_streamIds.clear();
}

void CIptvStartTestCommand::MakeMap(const core::CProject& project) {
    m_streamMap.Make(project, GetStbBlocks());
    const auto delegate =
        framework::ResponseDelegate::To<&LogFaultAndHandle<&CIptvStartTestCommand::UpdateStreamMapHandler>>();
    ForEachReachablePort(project, [&](const core::CPort& port) {
        Message message;
        iptvcd_1_bll::create_req_UpdateStreamMap(&message, m_streamMap.GetSources(), m_streamMap.GetGroups(),
                                                 m_streamMap.GetStreamIds(), false);
        if (SendRequest(port, message, delegate) != 0)
            LogText(devLogger(), LogLevelType::Error, "Failed to send interface message");
    });
}

}  // namespace orv::iptv
