#include "channels_on_air.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/generator.h"
#include "traffic.h"

namespace orv::app {

using framework::PropertyChangeDelegate;
using framework::ScriptableVec;

ChannelsOnAir::ChannelsOnAir(const framework::CScriptable& project, Announce announce)
    : project_(project), announce_(std::move(announce)) {
    ScriptableVec generators;
    framework::CScriptableLocator::Instance().GetObjectsEx(generators, l2l3::CGenerator::CLASS_ID(),
                                                           &project);
    for (framework::CScriptable* generator : generators) {
        generators_.push_back(generator->GetHandle());
        generator->RegisterPropertyChangeDelegate(
            ids::Generator::State, PropertyChangeDelegate::To<&ChannelsOnAir::OnGeneratorState>(this));
    }
}

ChannelsOnAir::~ChannelsOnAir() {
    for (const std::uint32_t handle : generators_) {
        if (auto* generator = framework::CHandleRegistry::Instance().Find(handle)) {
            generator->UnregisterPropertyChangeDelegate(
                ids::Generator::State, PropertyChangeDelegate::To<&ChannelsOnAir::OnGeneratorState>(this));
        }
    }
}

void ChannelsOnAir::OnGeneratorState(framework::CScriptable*, framework::PropId) {
    announce_([this] { is_known_ = false; });
}

bool ChannelsOnAir::IsSent(const ipAddress_t& group, const il::SourceFilter& filter) {
    if (!is_known_) Look();
    const auto found = senders_.find(group);
    if (found == senders_.end()) return false;
    const auto passes = [&filter](const ipAddress_t& source) {
        const bool is_listed =
            std::find(filter.sources.begin(), filter.sources.end(), source) != filter.sources.end();
        return is_listed == filter.include;
    };
    return std::any_of(found->second.begin(), found->second.end(), [&](const Senders& senders) {
        const std::vector<ipAddress_t>& hosts = hosts_[senders.path];
        for (std::size_t i = senders.first; i < hosts.size(); i += senders.step) {
            if (passes(hosts[i])) return true;
        }
        return false;
    });
}

void ChannelsOnAir::Look() {
    hosts_.clear();
    senders_.clear();
    ScriptableVec ports;
    project_.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
    for (const framework::CScriptable* object : ports) {
        const auto& port = dynamic_cast<const core::CPort&>(*object);
        if (!IsGeneratorRunning(port)) continue;
        for (const l2l3::CStreamBlock* block : GetActiveStreamBlocks(port)) {
            for (const auto& path : block->GetTrafficPaths()) {
                const auto* groups = dynamic_cast<const core::CNetworkBlock*>(path.second);
                if (!groups) continue;
                const std::vector<ipAddress_t> addresses = GetAddresses(*groups);
                hosts_.push_back(GetHostAddresses(*path.first));
                const std::size_t hosts = hosts_.back().size();
                if (hosts == 0) continue;
                // Stream i goes from host i to group i, each modulo its count: group i has
                // every nth host. There may be a million streams, so they are not enumerated.
                const std::size_t step = std::gcd(hosts, addresses.size());
                for (std::size_t i = 0; i < addresses.size(); ++i)
                    senders_[addresses[i]].push_back({hosts_.size() - 1, i % step, step});
            }
        }
    }
    is_known_ = true;
}

}  // namespace orv::app
