#include "laboratory.h"

#include <set>
#include <utility>

#include "network_of_test.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

Laboratory::Laboratory(const core::CProject& project, const Simulation& simulation,
                       const Recordings& recordings, PortLink::Tap tap, const PortLink::Gone& gone)
    : project_(project),
      on_air_(project, [this](const std::function<void()>& change) { AnnounceChange(0, change); }),
      network_(MakeNetwork(simulation, project)) {
    network_.is_sent = [this](const ipAddress_t& group, const il::SourceFilter& filter) {
        return on_air_.IsSent(group, filter);
    };
    framework::ScriptableVec ports;
    project.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
    for (framework::CScriptable* object : ports) {
        auto& port = dynamic_cast<core::CPort&>(*object);
        il::SimulatedPort::Setup setup;
        setup.name = port.GetName();
        if (const auto faults = simulation.faults.find(port.GetName()); faults != simulation.faults.end())
            setup.faults = faults->second;
        if (const auto recording = recordings.find(port.GetName()); recording != recordings.end())
            setup.recordings = recording->second;
        links_.push_back(std::make_unique<PortLink>(port, std::move(setup), network_, timeline_, tap, gone));
    }
}

/// All ports have worked off what was before when the change comes.
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
