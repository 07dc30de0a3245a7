// Whether the channels of a test can be joined and told apart.
#pragma once

#include "object_problem.h"
#include "orv/core/project.h"

namespace orv::app {

/// What a start would stumble over in the channel blocks that are on, and in what STB blocks view of them:
/// groups, channel numbers, addresses, sources, IP versions, and what zapping tests ask of channels.
ObjectProblems FindChannelProblems(const core::CProject& project);

}  // namespace orv::app
