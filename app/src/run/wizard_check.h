// Whether the wizard can make a test of its objects.
#pragma once

#include "object_problem.h"
#include "orv/core/project.h"

namespace orv::app {

/// Problems that would make the wizard fail, in its objects and in the devices that they turn into set-top
/// boxes and sources.
ObjectProblems FindWizardProblems(const core::CProject& project);

}  // namespace orv::app
