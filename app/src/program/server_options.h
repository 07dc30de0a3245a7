// The options that say how to reach the server of agents.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "orv/bus/connection.h"

namespace orv::app {

/// Adds them to a command; files are read when the command line is. `required`: a server must be given.
void AddServerOptions(CLI::App& command, bus::ServerAccess& access, bool required);

/// Says on the standard error that others can read or send messages, if they can.
void WarnIfExposed(const bus::ServerAccess& access);

}  // namespace orv::app
