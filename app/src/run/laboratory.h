// All software ports of a test, and the network between them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "channels_on_air.h"
#include "orv/core/project.h"
#include "port_link.h"
#include "task_timeline.h"
#include "test_file/simulation.h"

namespace orv::app {

/// Gives every port of a project a software port for its life.
class Laboratory {
  public:
    /// What ports are to report instead of emulating set-top boxes, by name of the port.
    using Recordings = std::map<std::string, il::Recordings>;

    /// `gone` is called when a port ends its connection.
    Laboratory(const core::CProject& project, const Simulation& simulation, const Recordings& recordings,
               PortLink::Tap tap, const PortLink::Gone& gone);

    std::vector<PortLink*> GetPorts();
    /// The ports that have refused to start their test.
    std::vector<PortLink*> FindRefusing();
    /// The ports with set-top boxes that have not said that their test has ended, whatever became of its
    /// start.
    std::vector<PortLink*> FindMute();
    /// A new test begins.
    void ForgetTests();

  private:
    void AnnounceChange(std::size_t link, const std::function<void()>& change);

    const core::CProject& project_;
    ChannelsOnAir on_air_;
    TaskTimeline timeline_;
    il::Network network_;
    std::vector<std::unique_ptr<PortLink>> links_;
};

}  // namespace orv::app
