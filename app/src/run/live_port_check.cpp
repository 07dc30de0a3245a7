#include "live_port_check.h"

#include <fmt/format.h>

#include <algorithm>

#include "addresses.h"
#include "interface_stacks.h"
#include "orv/common/exceptions.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"
#include "stream_plan.h"
#include "traffic.h"

namespace orv::app {

namespace {

using framework::CScriptable;
using framework::ScriptableVec;

void FindStackProblems(const core::CPort& port, std::vector<ObjectProblem>& problems) {
    for (const core::CNetworkInterface* top : FindStacks(port)) {
        try {
            GetLiveHosts(*top);
        } catch (const common::COrvRunTimeError& error) {
            problems.push_back({top, error.what()});
        }
    }
}

void FindStreamProblems(const core::CPort& port, std::vector<ObjectProblem>& problems) {
    for (const l2l3::CStreamBlock* block : GetActiveStreamBlocks(port)) {
        try {
            CheckStreams(*block);
        } catch (const common::COrvRunTimeError& error) {
            problems.push_back({block, error.what()});
        }
    }
}

/// The channel blocks that set-top boxes of the port view.
ScriptableVec FindChannelBlocks(const core::CPort& port) {
    ScriptableVec found;
    ScriptableVec stb_blocks;
    framework::CScriptableLocator::Instance().GetObjectsEx(
        stb_blocks, ids::IptvStbBlockConfig::CLASS, port.GetParent(),
        framework::CScriptableLocator::LOCATE_SKIP_DELETED);
    for (const CScriptable* stbs : stb_blocks) {
        const CScriptable* device = stbs->GetParent();
        if (!stbs->GetActive() ||
            device->GetObject(core::CPort::CLASS_ID(), ids::relations::AffiliationPort) != &port)
            continue;
        ScriptableVec ranges;
        stbs->GetObjects(ranges, ids::IptvViewedChannels::CLASS, ids::relations::StbChannel);
        for (const CScriptable* range : ranges) {
            const std::uint32_t handle = range->GetU32(ids::IptvViewedChannels::ChannelBlock);
            CScriptable* block = framework::CHandleRegistry::Instance().Find(handle);
            if (block && std::find(found.begin(), found.end(), block) == found.end()) found.push_back(block);
        }
    }
    return found;
}

void FindGroupProblems(const core::CPort& port, std::vector<ObjectProblem>& problems) {
    for (const CScriptable* channels : FindChannelBlocks(port)) {
        const auto* group = dynamic_cast<const mcastcore::CMulticastGroup*>(
            channels->GetObject(mcastcore::CMulticastGroup::CLASS_ID(), ids::relations::MulticastParam));
        if (!group || !group->GetNetworkBlock()) continue;
        const std::vector<ipAddress_t> groups = GetAddresses(*group->GetNetworkBlock());
        const auto wrong = std::find_if(groups.begin(), groups.end(), [](const ipAddress_t& address) {
            return !ToLiveAddress(address).IsMulticast();
        });
        if (wrong == groups.end()) continue;
        problems.push_back(
            {channels,
             fmt::format("the address of its channel {}, {}, is no multicast group, which live ports "
                         "cannot join",
                         wrong - groups.begin() + 1, ToLiveAddress(*wrong).ToString())});
    }
}

}  // namespace

std::vector<ObjectProblem> FindLivePortProblems(const core::CPort& port) {
    std::vector<ObjectProblem> problems;
    FindStackProblems(port, problems);
    FindStreamProblems(port, problems);
    FindGroupProblems(port, problems);
    return problems;
}

}  // namespace orv::app
