#include "channels_on_air.h"

#include <utility>

#include "addresses.h"
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

const il::StreamsOnAir& ChannelsOnAir::Get() {
    if (!is_known_) Look();
    return streams_;
}

void ChannelsOnAir::Look() {
    il::StreamsOnAir::Paths paths;
    ScriptableVec ports;
    project_.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
    for (const framework::CScriptable* object : ports) {
        const auto& port = dynamic_cast<const core::CPort&>(*object);
        if (!IsGeneratorRunning(port)) continue;
        for (const l2l3::CStreamBlock* block : GetActiveStreamBlocks(port)) {
            for (const auto& path : block->GetTrafficPaths()) {
                if (const auto* groups = dynamic_cast<const core::CNetworkBlock*>(path.second))
                    paths.push_back({GetHostAddresses(*path.first), GetAddresses(*groups)});
            }
        }
    }
    streams_ = il::StreamsOnAir(std::move(paths));
    is_known_ = true;
}

}  // namespace orv::app
