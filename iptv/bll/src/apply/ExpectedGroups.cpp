// The multicast groups that a port has to expect because of what its STB blocks watch.
#include "FindByHandle.h"
#include "IptvMsgSetCln.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "orv/common/exceptions.h"
#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/iptv_ids.h"
#include "orv/igmpmld/multicast_port_config.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::iptv {

namespace {

igmpmld::CMulticastPortConfig& GetPortConfig(const core::CPort* port) {
    auto* mcastPortCfg = port ? dynamic_cast<igmpmld::CMulticastPortConfig*>(port->GetObject(
                                    igmpmld::CMulticastPortConfig::CLASS_ID(), common::kParentChild))
                              : nullptr;
    ORV_ASSERT(mcastPortCfg != NULL, "Failed to get MulticastPortConfig");
    return *mcastPortCfg;
}

}  // namespace

void CIptvMsgSetCln::GetSubscribedMulticastGroups(std::set<CScriptable*>& groups,
                                                  const std::vector<std::uint32_t>& stbBlockHandles) const {
    GetPortConfig(GetPort()).GetSubscribedMulticastGroups(groups);
    // Many blocks watch the same ranges, so each range is looked up once.
    std::set<const CScriptable*> ranges_done;
    for (const std::uint32_t handle : stbBlockHandles) {
        const auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
        if (!block) continue;
        ScriptableVec ranges;
        block->GetObjects(ranges, CIptvViewedChannels::CLASS_ID(), ids::relations::StbChannel);
        for (const CScriptable* object : ranges) {
            const auto* range = dynamic_cast<const CIptvViewedChannels*>(object);
            if (!range || !ranges_done.insert(range).second) continue;
            const CIptvChannelBlock* channel_block = range->GetChannelBlockForViewChan(*m_channelBlocks);
            if (channel_block && channel_block->GetMulticastGroup())
                groups.insert(channel_block->GetMulticastGroup());
        }
    }
}

/// Those that still exist. Handles, not pointers: the memory of a destroyed group may be reused.
std::set<CScriptable*> CIptvMsgSetCln::GetOwnGroups() const {
    std::set<CScriptable*> groups;
    for (const std::uint32_t handle : m_expectedGroups) {
        CScriptable* group = framework::CHandleRegistry::Instance().Find(handle);
        if (group) groups.insert(group);
    }
    return groups;
}

void CIptvMsgSetCln::GetExpectedMulticastGroups(std::set<CScriptable*>& groups) const {
    GetPortConfig(GetPort()).GetExpectedMulticastGroups(groups);
    groups.merge(GetOwnGroups());
}

void CIptvMsgSetCln::UpdateExpectedRxPorts(const std::vector<std::uint32_t>& stbBlockHandles) {
    std::set<CScriptable*> subscribed;
    GetSubscribedMulticastGroups(subscribed, stbBlockHandles);
    std::set<CScriptable*> expected;
    GetExpectedMulticastGroups(expected);
    std::set<CScriptable*> own = GetOwnGroups();
    GetPortConfig(GetPort()).DoUpdateExpectedRxPorts(subscribed, expected, own);
    m_expectedGroups.clear();
    for (const CScriptable* group : own) m_expectedGroups.insert(group->GetHandle());
}

}  // namespace orv::iptv
