// Interfaces that are stacked on each other.
#pragma once

#include "plan.h"

namespace orv::app {

/// A stack begins with an interface that is stacked on nothing: finds interfaces that are, by way of others
/// or not, stacked on themselves. When all relations are in the plan.
void CheckStacks(const Plan& plan, MistakeList& mistakes);

}  // namespace orv::app
