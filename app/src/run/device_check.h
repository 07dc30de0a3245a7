// Whether the devices of set-top boxes are complete: port, interfaces, protocol.
#pragma once

#include "object_problem.h"
#include "orv/core/project.h"

namespace orv::app {

/// Problems that would make a start fail, in devices and in the STB blocks that a start checks: relations
/// that are missing or lead to parts of another device, and devices of one port with different tags.
ObjectProblems FindDeviceProblems(const core::CProject& project);

}  // namespace orv::app
