#include "orv/igmpmld/multicast_port_config.h"

#include <algorithm>
#include <iterator>

#include "orv/core/emulated_device.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/igmpmld/multicast_host_config.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::igmpmld {

using framework::CScriptable;
using framework::ScriptableVec;
using mcastcore::CMulticastGroup;

framework::ClassId CMulticastPortConfig::CLASS_ID() {
    return ids::MulticastPortConfig::CLASS;
}

void CMulticastPortConfig::GetSubscribedMulticastGroups(std::set<CScriptable*>& groups) const {
    if (!GetParent()) return;
    ScriptableVec devices;
    GetParent()->GetObjects(devices, core::CEmulatedDevice::CLASS_ID(),
                            ids::relations::AffiliationPort.Reverse());
    for (const CScriptable* device : devices) {
        ScriptableVec hosts;
        device->GetObjects(hosts, CMulticastHostConfig::CLASS_ID(), common::kParentChild);
        for (const CScriptable* host : hosts) {
            if (!host->GetActive() || host->IsDeleted()) continue;
            ScriptableVec subscribed;
            host->GetObjects(subscribed, CMulticastGroup::CLASS_ID(), ids::relations::SubscribedGroups);
            std::copy_if(subscribed.begin(), subscribed.end(), std::inserter(groups, groups.end()),
                         [](const CScriptable* group) { return group->GetActive() && !group->IsDeleted(); });
        }
    }
}

void CMulticastPortConfig::GetExpectedMulticastGroups(std::set<CScriptable*>& groups) const {
    ScriptableVec expected;
    GetObjects(expected, CMulticastGroup::CLASS_ID(), ids::relations::ExpectedGroups);
    groups.insert(expected.begin(), expected.end());
}

void CMulticastPortConfig::DoUpdateExpectedRxPorts(const std::set<CScriptable*>& subscribed,
                                                   const std::set<CScriptable*>& expected,
                                                   std::set<CScriptable*>& clientGroups) {
    std::set<CScriptable*> known;
    GetExpectedMulticastGroups(known);
    for (auto entry = clientGroups.begin(); entry != clientGroups.end();) {
        CScriptable* group = *entry;
        if (subscribed.contains(group)) {
            ++entry;
            continue;
        }
        if (known.contains(group)) RemoveObject(*group, ids::relations::ExpectedGroups);
        entry = clientGroups.erase(entry);
    }

    ScriptableVec added;
    std::set_difference(subscribed.begin(), subscribed.end(), expected.begin(), expected.end(),
                        std::back_inserter(added));
    // Sets of pointers have no order that is the same in every run; handles have.
    std::sort(added.begin(), added.end(),
              [](const CScriptable* a, const CScriptable* b) { return a->GetHandle() < b->GetHandle(); });
    for (CScriptable* group : added) {
        clientGroups.insert(group);
        std::string error;
        if (!known.contains(group) && !AddObject(*group, ids::relations::ExpectedGroups, &error)) {
            throw common::COrvRunTimeError(error);
        }
    }
}

ORV_REGISTER_CLASS(CMulticastPortConfig);

}  // namespace orv::igmpmld
