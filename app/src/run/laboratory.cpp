#include "laboratory.h"

#include <set>
#include <utility>

#include "network_of_test.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/il/simulated_port.h"
#include "port_location.h"

namespace orv::app {

Laboratory::Laboratory(const core::CProject& project, const Setup& setup)
    : project_(project),
      on_air_(project, [this](const std::function<void()>& change) { OnChannelsChange(change); }),
      network_(MakeNetwork(setup.simulation, project)),
      live_(setup.live, setup.simulation.seed, setup.complain) {
    network_.is_sent = [this](const ipAddress_t& group, const il::SourceFilter& filter) {
        return on_air_.Get().IsSent(group, filter);
    };
    framework::ScriptableVec ports;
    project.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
    for (framework::CScriptable* port : ports) MakeLink(dynamic_cast<core::CPort&>(*port), setup);
}

void Laboratory::MakeLink(core::CPort& port, const Setup& setup) {
    il::FaultSchedule faults;
    if (const auto found = setup.simulation.faults.find(port.GetName());
        found != setup.simulation.faults.end())
        faults = found->second;
    const auto recording = setup.recordings.find(port.GetName());
    const auto interface = GetLiveInterface(port);
    const bool is_live = interface && recording == setup.recordings.end();
    const auto make = [&](il::ISoftwarePort::Send send,
                          il::ISoftwarePort::HangUp hang_up) -> std::unique_ptr<il::ISoftwarePort> {
        if (is_live) return live_.Make(port, *interface, faults, std::move(send), std::move(hang_up));
        il::SimulatedPort::Setup simulated{port.GetName(), faults};
        simulated.pool = &pool_;
        if (recording != setup.recordings.end()) simulated.recordings = recording->second;
        return std::make_unique<il::SimulatedPort>(std::move(simulated), network_, timeline_, std::move(send),
                                                   std::move(hang_up));
    };
    links_.push_back(std::make_unique<PortLink>(
        port, make, is_live ? PortLink::Calls::OnOwnThread : PortLink::Calls::UnderTaskLock, setup.tap,
        setup.gone));
}

void Laboratory::OnChannelsChange(const std::function<void()>& change) {
    AnnounceChange(0, change);
    live_.FollowGenerators();
}

/// All ports have processed earlier events when the change takes effect.
void Laboratory::AnnounceChange(std::size_t link, const std::function<void()>& change) {
    if (link == links_.size()) return change();
    links_[link]->ChannelsChange([&] { AnnounceChange(link + 1, change); });
}

std::vector<PortLink*> Laboratory::GetPorts() {
    std::vector<PortLink*> all;
    for (const auto& link : links_) all.push_back(link.get());
    return all;
}

std::vector<PortLink*> Laboratory::FindRefusing() {
    std::vector<PortLink*> found = GetPorts();
    std::erase_if(found,
                  [](const PortLink* link) { return link->GetTestState() != PortLink::TestState::Refused; });
    return found;
}

std::vector<PortLink*> Laboratory::FindMute() {
    framework::ScriptableVec blocks;
    framework::CScriptableLocator::Instance().GetObjectsEx(blocks, ids::IptvStbBlockConfig::CLASS, &project_);
    std::set<std::string> taking_part;
    for (const framework::CScriptable* block : blocks) {
        const auto* port =
            block->GetParent()->GetObject(core::CPort::CLASS_ID(), ids::relations::AffiliationPort);
        if (port) taking_part.insert(port->GetName());
    }
    std::vector<PortLink*> found = GetPorts();
    std::erase_if(found, [&taking_part](const PortLink* link) {
        return link->GetTestState() == PortLink::TestState::Ended || !taking_part.contains(link->GetName());
    });
    return found;
}

void Laboratory::ForgetTests() {
    for (const auto& link : links_) link->ForgetTest();
}

}  // namespace orv::app
