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

namespace {

/// Of the port's schedule, if the file has one.
il::FaultSchedule GetFaults(const Laboratory::Setup& setup, const core::CPort& port) {
    const auto found = setup.simulation.faults.find(port.GetName());
    return found == setup.simulation.faults.end() ? il::FaultSchedule() : found->second;
}

/// A port whose reports were recorded is on this machine, wherever it was.
bool IsOnAgent(const Laboratory::Setup& setup, const core::CPort& port) {
    return !GetPlace(port).agent.empty() && !setup.recordings.contains(port.GetName());
}

std::vector<AgentPorts::Port> FindAgentPorts(const core::CProject& project, const Laboratory::Setup& setup) {
    framework::ScriptableVec objects;
    project.GetObjects(objects, core::CPort::CLASS_ID(), common::kParentChild);
    std::vector<AgentPorts::Port> ports;
    for (const framework::CScriptable* object : objects) {
        const auto& port = dynamic_cast<const core::CPort&>(*object);
        if (IsOnAgent(setup, port)) ports.push_back({&port, GetPlace(port), GetFaults(setup, port)});
    }
    return ports;
}

/// What all agents are told.
SessionSetup MakeSessionSetup(const Laboratory::Setup& setup, const il::Network& network,
                              const TaskTimeline& timeline) {
    SessionSetup session;
    session.seed = setup.simulation.seed;
    session.live = setup.live;
    session.network = network;
    session.is_stepped = framework::CTaskManager::Instance().GetClockKind() == framework::ClockKind::Virtual;
    session.now = timeline.GetNow();
    return session;
}

}  // namespace

Laboratory::Laboratory(const core::CProject& project, const Setup& setup)
    : project_(project),
      on_air_(project, [this](const std::function<void()>& change) { OnChannelsChange(change); }),
      network_(MakeNetwork(setup.simulation, project)),
      live_(setup.live, setup.simulation.seed, setup.complain),
      agents_({setup.server, setup.lease, setup.complain, setup.warn, &timeline_,
               [this]() -> const il::StreamsOnAir& { return on_air_.Get(); }, setup.is_interrupted},
              FindAgentPorts(project, setup), MakeSessionSetup(setup, network_, timeline_)),
      addressing_(setup.complain, setup.binds) {
    network_.is_sent = [this](const il::ipAddress_t& group, const il::SourceFilter& filter) {
        return on_air_.Get().IsSent(group, filter);
    };
    framework::ScriptableVec ports;
    project.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
    for (framework::CScriptable* port : ports) MakeLink(dynamic_cast<core::CPort&>(*port), setup);
}

void Laboratory::MakeLink(core::CPort& port, const Setup& setup) {
    if (IsOnAgent(setup, port)) return links_.push_back(agents_.MakeLink(port, setup.tap, setup.gone));
    const il::FaultSchedule faults = GetFaults(setup, port);
    const auto recording = setup.recordings.find(port.GetName());
    const PortPlace place = GetPlace(port);
    const bool is_live = place.IsLive() && recording == setup.recordings.end();
    const auto make = [&](il::ISoftwarePort::Send send,
                          il::ISoftwarePort::HangUp hang_up) -> std::unique_ptr<il::ISoftwarePort> {
        if (is_live) return live_.Make(port, place.interface, faults, std::move(send), std::move(hang_up));
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
    agents_.FollowGenerators();
}

std::vector<LivePortReport> Laboratory::GetLiveReports() const {
    std::vector<LivePortReport> reports = live_.GetReports();
    for (LivePortReport& report : agents_.GetLiveReports()) reports.push_back(std::move(report));
    return reports;
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
