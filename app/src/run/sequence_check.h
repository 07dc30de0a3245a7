// Whether the commands of a sequence find what they need when they run.
#pragma once

#include "object_problem.h"

namespace orv::app {

/// Steps through the sequence in the order of a run, each loop at most twice. Checks for each command that
/// the generators it needs run, that the previous test has ended, that addresses are resolved and protocols
/// bound, and that its properties are valid.
ObjectProblems FindSequenceProblems();

}  // namespace orv::app
