// Whether the channels of a test can be joined and distinguished.
#pragma once

#include "object_problem.h"
#include "orv/core/project.h"

namespace orv::app {

/// Problems that would make a start fail, in active channel blocks and in the channels that STB blocks view:
/// groups, channel numbers, addresses, sources, IP versions, and the requirements of zapping tests.
ObjectProblems FindChannelProblems(const core::CProject& project);

}  // namespace orv::app
