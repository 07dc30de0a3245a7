// What live ports cannot do with the objects that use them.
#pragma once

#include "object_problem.h"
#include "orv/core/port.h"
#include "orv/framework/command.h"

namespace orv::app {

/// Interface stacks on the port, and its stream blocks.
ObjectProblems FindLivePortProblems(const core::CPort& port);
/// Set-top boxes on live ports that the test needs a server for, and that have none.
ObjectProblems FindServerProblems(const framework::CCommand& start);

}  // namespace orv::app
