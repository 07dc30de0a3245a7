// All software ports of a test, and the network between them.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "agents/controller/agent_ports.h"
#include "channels_on_air.h"
#include "host_addressing.h"
#include "live_ports.h"
#include "orv/core/project.h"
#include "orv/il/recording.h"
#include "orv/il/run_pool.h"
#include "port_link.h"
#include "task_timeline.h"
#include "test_file/simulation.h"

namespace orv::app {

/// Connects each port of a project to a software port, for as long as it exists: a live port if the location
/// names a network interface, otherwise a simulated one; on an agent if the location names one.
class Laboratory {
  public:
    /// Recorded reports, by name of the port, that ports replay instead of emulating set-top boxes. These
    /// ports are simulated, whatever their location.
    using Recordings = std::map<std::string, il::Recordings>;

    struct Setup {
        Simulation simulation;
        LiveSettings live;
        Recordings recordings;
        PortLink::Tap tap;
        PortLink::Gone gone;           ///< called when a port ends its connection
        LivePorts::Complain complain;  ///< of live ports
        bus::ServerAccess server;      ///< over which agents are reached
        std::chrono::seconds lease = kDefaultLease;
        AgentPorts::Say warn;                  ///< of trouble with agents that may pass
        std::function<bool()> is_interrupted;  ///< see AgentPorts
        std::function<void()> binds;           ///< called when hosts begin to ask for addresses
    };
    /// Throws COrvRunTimeError when a network interface or an agent cannot be used.
    Laboratory(const core::CProject& project, const Setup& setup);

    /// Tells live ports about their hosts. Call before anything else is sent. Throws COrvRunTimeError.
    void ConfigureInterfaces() const {
        live_.ConfigureInterfaces();
        agents_.ConfigureInterfaces();
    }
    /// Tells ports which hosts get their addresses from the network. After their interfaces. Throws
    /// COrvRunTimeError.
    void ConfigureAddressing() { addressing_.Configure(project_); }
    /// Waits for ports to answer.
    std::vector<AddressReport> GetAddressReports() { return addressing_.GetReports(); }
    std::vector<LivePortReport> GetLiveReports() const;
    std::vector<AgentReport> GetAgentReports() const { return agents_.GetAgentReports(); }

    std::vector<PortLink*> GetPorts();
    /// The ports that have refused to start their test.
    std::vector<PortLink*> FindRefusing();
    /// The ports with set-top boxes that have not reported the end of their test, even if its start failed.
    std::vector<PortLink*> FindMute();
    /// Call when a new test begins.
    void ForgetTests();

  private:
    void MakeLink(core::CPort& port, const Setup& setup);
    void OnChannelsChange(const std::function<void()>& change);
    void AnnounceChange(std::size_t link, const std::function<void()>& change);

    const core::CProject& project_;
    ChannelsOnAir on_air_;
    TaskTimeline timeline_;
    il::Network network_;
    il::RunPool pool_;  ///< of simulated ports; live ports have a thread each
    LivePorts live_;
    AgentPorts agents_;
    HostAddressing addressing_;  ///< outlives the connections
    std::vector<std::unique_ptr<PortLink>> links_;
};

}  // namespace orv::app
