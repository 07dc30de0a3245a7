// A session with an agent.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agents/controller/clock_offset.h"
#include "agents/protocol/parcels.h"
#include "agents/protocol/settings.h"
#include "orv/bus/connection.h"
#include "orv/bus/session_link.h"
#include "run/run_outcome.h"

namespace orv::app {

/// Ports on an agent, from the time they are made until they end. A thread of its own asks twice a second
/// whether the agent still has the session.
class AgentSession {
  public:
    struct Setup {
        std::string agent;
        std::chrono::seconds lease = kDefaultLease;
        SessionSetup session;
        std::function<bool()> is_interrupted = {};  ///< the user wants the test to end; any thread
    };
    /// What a port of the session sends. Called on threads of the session, which must not be kept waiting for
    /// the task lock.
    struct PortEvents {
        std::function<void(bus::Lane lane, bus::Parcel parcel, bus::SessionLink::Take take)> receive;
        /// The session has ended: nothing follows.
        std::function<void(const std::string& reason)> ended;
    };

    /// Begins the session and makes its ports. `warn` is called on any thread. Throws COrvRunTimeError with
    /// the agent's name if it is not there, refuses, or cannot make a port.
    AgentSession(bus::Connection& connection, Setup setup, std::function<void(const std::string&)> warn);
    /// Ends it; the agent's ports leave their groups.
    ~AgentSession();
    AgentSession(const AgentSession&) = delete;
    AgentSession& operator=(const AgentSession&) = delete;

    const std::string& GetAgent() const;
    /// bit/s; 0 for a simulated port.
    double GetLineRate(std::uint16_t port) const;

    /// From then on the port's parcels go there; before it sends anything. The session may have ended
    /// already: then `ended` is called at once.
    void Attach(std::uint16_t port, PortEvents events);
    /// No event of the port follows. Not to be called by one.
    void Detach(std::uint16_t port);
    /// False when too much waits for the agent, or the session has ended.
    bool Send(bus::Parcel parcel);
    bool IsInterrupted() const;
    /// Ends it for all of its ports; the agent is told later. `why`: "has been silent for 5 s".
    void Abandon(const std::string& why);
    /// How long the agent may be silent.
    std::chrono::seconds GetLease() const;
    /// What the agent's steady clock will show when ours shows `time`.
    std::chrono::nanoseconds ToAgentTime(std::chrono::nanoseconds time) const;
    /// Best measured time to the agent and back.
    std::chrono::nanoseconds GetRoundTrip() const;

    /// Figures of live ports, by port; the latest known if the agent does not answer.
    std::vector<nic::LiveFigures> GetFigures();
    AgentReport GetReport() const;
    /// Notes the clock offset of now for the report: a test starts.
    void NoteStart();
    void OnReconnected();

    /// Tells the agents of all sessions of the process, which is about to exit. Any thread.
    static void CloseAll();

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::app
