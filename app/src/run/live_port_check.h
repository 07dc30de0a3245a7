// What live ports cannot do with the objects that use them.
#pragma once

#include "object_problem.h"
#include "orv/core/port.h"

namespace orv::app {

/// Interface stacks on the port, and its stream blocks.
ObjectProblems FindLivePortProblems(const core::CPort& port);

}  // namespace orv::app
