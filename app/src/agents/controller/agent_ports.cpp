#include "agents/controller/agent_ports.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <future>
#include <thread>
#include <utility>

#include "agents/controller/lane_transport.h"
#include "agents/controller/stepped_port.h"
#include "orv/common/exceptions.h"
#include "run/interface_stacks.h"
#include "run/stream_plan.h"
#include "run/traffic.h"

namespace orv::app {

namespace {

/// Starts reach their agents that much before their time, plus what the way takes.
constexpr std::chrono::milliseconds kStartLead{20};
constexpr std::chrono::seconds kServerPatience{5};

/// Only what concerns the session's own ports: a project may have hundreds.
void Restrict(il::Network& network, const std::vector<RemotePortSetup>& ports) {
    const auto is_foreign = [&ports](const auto& entry) {
        return std::ranges::none_of(ports, [&](const auto& port) { return port.name == entry.first; });
    };
    network.is_sent = nullptr;
    std::erase_if(network.ports, is_foreign);
    for (il::Network::GroupRange& range : network.groups) {
        if (!range.ports) continue;
        auto own = *range.ports;
        std::erase_if(own, is_foreign);
        range.ports = std::make_shared<const std::map<std::string, il::NetworkBehaviour>>(std::move(own));
    }
}

}  // namespace

AgentPorts::AgentPorts(Setup setup, const std::vector<Port>& ports, const SessionSetup& common)
    : setup_(std::move(setup)), is_stepped_(common.is_stepped) {
    if (ports.empty()) return;
    bus::Connection::Events events;
    events.lost = [warn = setup_.warn](const std::string& reason) {
        warn(fmt::format("The connection to the server of the agents is lost ({}); it is tried again.",
                         reason));
    };
    events.back = [this] {
        setup_.warn("The connection to the server of the agents is back.");
        const std::lock_guard lock(sessions_mutex_);
        ++reconnections_;
        for (const auto& session : sessions_) session->OnReconnected();
    };
    events.error = setup_.warn;
    std::map<std::string, SessionSetup> by_agent;
    for (const Port& port : ports) {
        SessionSetup& session = by_agent.try_emplace(port.place.agent, common).first->second;
        const std::string place = port.place.IsLive() ? port.place.interface : "sim/" + port.place.simulated;
        session.ports.push_back({port.port->GetName(), place, port.faults});
        ports_.push_back(
            {port.port, port.place, nullptr, static_cast<std::uint16_t>(session.ports.size() - 1)});
    }
    try {
        bus::ServerAccess access = setup_.server;
        access.inbox_prefix = bus::kInboxPrefixOfControllers;
        connection_ = std::make_unique<bus::Connection>(
            access, fmt::format("iptvtest controller {}", ::getpid()), events, kServerPatience);
    } catch (const bus::BusError& error) {
        throw common::COrvRunTimeError(fmt::format("the server of the agents: {}", error.what()));
    }
    OpenSessions(by_agent);
}

/// At the same time: they may be far away, or not answer.
void AgentPorts::OpenSessions(std::map<std::string, SessionSetup>& by_agent) {
    std::vector<std::future<std::shared_ptr<AgentSession>>> opened;
    for (auto& [name, setup] : by_agent) {
        opened.push_back(std::async(std::launch::async, [this, &agent = name, &session = setup] {
            Restrict(session.network, session.ports);
            return std::make_shared<AgentSession>(
                *connection_,
                AgentSession::Setup{agent, setup_.lease, std::move(session), setup_.is_interrupted},
                setup_.warn);
        }));
    }
    std::exception_ptr failure;
    for (auto& session : opened) {
        try {
            auto made = session.get();
            for (OnAgent& port : ports_)
                if (port.place.agent == made->GetAgent()) port.session = made;
            const std::lock_guard lock(sessions_mutex_);
            sessions_.push_back(std::move(made));
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }
    if (!failure) {
        // Those that were made first were not in the list yet when the connection came back meanwhile.
        const std::lock_guard lock(sessions_mutex_);
        if (reconnections_ > 0)
            for (const auto& session : sessions_) session->OnReconnected();
        return;
    }
    CloseSessions();
    std::rethrow_exception(failure);
}

AgentPorts::~AgentPorts() {
    CloseSessions();
}

void AgentPorts::CloseSessions() {
    ports_.clear();
    // Sessions end without the mutex, which the connection's events take.
    std::vector<std::shared_ptr<AgentSession>> sessions;
    {
        const std::lock_guard lock(sessions_mutex_);
        sessions.swap(sessions_);
    }
    std::vector<std::thread> threads;
    for (auto& session : sessions)
        threads.emplace_back([ending = std::move(session)]() mutable { ending.reset(); });
    for (std::thread& thread : threads) thread.join();
    connection_.reset();  // its events use other members
}

std::unique_ptr<PortLink> AgentPorts::MakeLink(core::CPort& port, PortLink::Tap tap, PortLink::Gone gone) {
    const OnAgent& remote = Find(port);
    if (is_stepped_) {
        const auto make = [&](il::ISoftwarePort::Send send, il::ISoftwarePort::HangUp hang_up) {
            return std::make_unique<SteppedPort>(remote.session, remote.number, *setup_.timeline,
                                                 setup_.get_streams, std::move(send), std::move(hang_up));
        };
        return std::make_unique<PortLink>(port, make, PortLink::Calls::UnderTaskLock, std::move(tap),
                                          std::move(gone));
    }
    const auto complain = [complain = setup_.complain, name = port.GetName(),
                           place = remote.place.DescribeInterface()](const std::string& what) {
        complain(fmt::format("Port \"{}\" ({}): {}", name, place, what));
    };
    PortLink::RemotePort end;
    end.transport = std::make_unique<LaneTransport>(
        remote.session, remote.number, [this] { return GetStartTime(); }, complain);
    if (!remote.place.IsLive()) {
        end.on_channels_changed = [session = remote.session, number = remote.number,
                                   get_streams = setup_.get_streams] {
            session->Send(MakeTextParcel(ParcelKind::OnAir, number, ToJson(get_streams().GetPaths())));
        };
    }
    return std::make_unique<PortLink>(port, std::move(end), std::move(tap), std::move(gone));
}

const AgentPorts::OnAgent& AgentPorts::Find(const core::CPort& port) const {
    return *std::ranges::find(ports_, &port, &OnAgent::port);
}

std::chrono::nanoseconds AgentPorts::GetStartTime() const {
    std::chrono::nanoseconds longest{};
    for (const auto& session : sessions_) longest = std::max(longest, session->GetRoundTrip());
    return std::chrono::steady_clock::now().time_since_epoch() + kStartLead + 2 * longest;
}

void AgentPorts::ConfigureInterfaces() const {
    for (const OnAgent& port : ports_)
        if (port.place.IsLive()) app::ConfigureInterfaces(*port.port);
}

void AgentPorts::FollowGenerators() {
    for (OnAgent& port : ports_) {
        if (!port.place.IsLive()) continue;
        const bool sends = IsGeneratorRunning(*port.port);
        if (sends == std::exchange(port.is_sending, sends)) continue;
        const auto streams = sends ? PlanStreams(*port.port, port.session->GetLineRate(port.number))
                                   : std::vector<nic::Stream>();
        port.session->Send(MakeTextParcel(ParcelKind::Streams, port.number, ToJson(streams)));
    }
}

std::vector<LivePortReport> AgentPorts::GetLiveReports() const {
    // At the same time: one of them may not answer.
    std::map<const AgentSession*, std::future<std::vector<nic::LiveFigures>>> asked;
    for (const OnAgent& port : ports_)
        if (port.place.IsLive() && !asked.contains(port.session.get()))
            asked[port.session.get()] =
                std::async(std::launch::async, [session = port.session] { return session->GetFigures(); });
    std::map<const AgentSession*, std::vector<nic::LiveFigures>> figures;
    for (auto& [session, answer] : asked) figures[session] = answer.get();
    std::vector<LivePortReport> reports;
    for (const OnAgent& port : ports_) {
        if (!port.place.IsLive()) continue;
        reports.push_back({port.port->GetName(), port.place.DescribeInterface(),
                           figures[port.session.get()].at(port.number)});
    }
    return reports;
}

std::vector<AgentReport> AgentPorts::GetAgentReports() const {
    std::vector<AgentReport> reports;
    for (const auto& session : sessions_) reports.push_back(session->GetReport());
    return reports;
}

}  // namespace orv::app
