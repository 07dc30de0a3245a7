// Whether the channels of a test can be joined and distinguished.
#pragma once

#include "object_problem.h"
#include "orv/core/project.h"

namespace orv::app {

/// What would make a start fail in the active channel blocks, and in what STB blocks view of them:
/// groups, channel numbers, addresses, sources, IP versions, and what zapping tests ask of channels.
ObjectProblems FindChannelProblems(const core::CProject& project);

}  // namespace orv::app
