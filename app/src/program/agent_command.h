// The commands "iptvtest agent" and "iptvtest agents".
#pragma once

#include "agents/server/served_session.h"
#include "orv/bus/connection.h"

namespace orv::app {

struct AgentArguments {
    bus::ServerAccess server;
    AgentOffer offer;
};

/// Serves until SIGINT or SIGTERM. Returns the exit status.
int RunAgent(const AgentArguments& arguments);

/// Lists the agents at the server. Returns the exit status.
int ListAgents(const bus::ServerAccess& access, bool json);

}  // namespace orv::app
