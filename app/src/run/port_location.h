// Where the far end of a port is.
#pragma once

#include <string>

#include "orv/core/port.h"

namespace orv::app {

/// Where the set-top boxes of a port are.
struct PortPlace {
    std::string agent;      ///< name of an agent, for a port of another machine; empty for this one
    std::string interface;  ///< Linux network interface; empty for a simulated port
    std::string simulated;  ///< name of a simulated port; may be empty

    bool IsLive() const { return !interface.empty(); }
    /// "eth1", and "lounge/eth1" on an agent.
    std::string DescribeInterface() const { return agent.empty() ? interface : agent + '/' + interface; }
};

/// A location without a problem: nothing or "//sim/<name>", "linux://<interface>",
/// "agent://<agent>/<interface>" or "agent://<agent>/sim/<name>".
PortPlace ReadLocation(const std::string& location);
PortPlace GetPlace(const core::CPort& port);

/// Why a location is invalid; empty if it is valid. Does not check whether the interface exists.
std::string FindLocationProblem(const std::string& location);

}  // namespace orv::app
