// The ports of a test that are on agents.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "agents/controller/agent_session.h"
#include "orv/bus/connection.h"
#include "orv/core/port.h"
#include "orv/il/streams_on_air.h"
#include "orv/il/timeline.h"
#include "run/port_link.h"
#include "run/port_location.h"

namespace orv::app {

/// One session for each agent, as long as it exists.
class AgentPorts {
  public:
    /// Called, on any thread, with texts: of errors, and of what may get well again.
    using Say = std::function<void(const std::string& text)>;
    struct Setup {
        bus::ServerAccess server;
        std::chrono::seconds lease = kDefaultLease;
        Say complain, warn;
        il::ITimeline* timeline = nullptr;  ///< of stepped ports; outlives them
        std::function<const il::StreamsOnAir&()> get_streams;
        std::function<bool()> is_interrupted;  ///< the user wants the test to end; any thread
    };
    struct Port {
        const core::CPort* port = nullptr;
        PortPlace place;
        il::FaultSchedule faults = {};
    };

    /// Begins the sessions; nothing happens without ports. `common` is what all of them are told. Throws
    /// COrvRunTimeError with what is missing.
    AgentPorts(Setup setup, const std::vector<Port>& ports, const SessionSetup& common);
    ~AgentPorts();
    AgentPorts(const AgentPorts&) = delete;
    AgentPorts& operator=(const AgentPorts&) = delete;

    /// Connects a port that was given at the beginning.
    std::unique_ptr<PortLink> MakeLink(core::CPort& port, PortLink::Tap tap, PortLink::Gone gone);
    /// Tells live ports about their hosts. Throws COrvRunTimeError if one refuses.
    void ConfigureInterfaces() const;
    /// Updates what live ports send after a generator has started or stopped.
    void FollowGenerators();
    std::vector<LivePortReport> GetLiveReports() const;
    std::vector<AgentReport> GetAgentReports() const;

  private:
    struct OnAgent {
        const core::CPort* port;
        PortPlace place;
        std::shared_ptr<AgentSession> session;
        std::uint16_t number;  ///< in the session
        bool is_sending = false;
    };

    /// Throws COrvRunTimeError of the first that fails, by name.
    void OpenSessions(std::map<std::string, SessionSetup>& by_agent);
    void CloseSessions();
    const OnAgent& Find(const core::CPort& port) const;
    std::chrono::nanoseconds GetStartTime() const;

    const Setup setup_;
    bool is_stepped_ = false;
    std::unique_ptr<bus::Connection> connection_;
    int reconnections_ = 0;                                ///< guarded by the mutex
    std::mutex sessions_mutex_;                            ///< the connection's events come on its threads
    std::vector<std::shared_ptr<AgentSession>> sessions_;  ///< in the order of the agents' names
    std::vector<OnAgent> ports_;
};

}  // namespace orv::app
