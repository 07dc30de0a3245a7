// Interfaces that are stacked on each other.
#pragma once

#include "plan.h"

namespace orv::app {

/// Reports interfaces that are stacked on themselves, directly or through others. Call when all relations are
/// in the plan.
void CheckStacks(const Plan& plan, MistakeList& mistakes);

}  // namespace orv::app
