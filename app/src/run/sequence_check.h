// Whether the commands of a sequence find what they need when they run.
#pragma once

#include "object_problem.h"

namespace orv::app {

/// Simulates the sequence as a run executes it, loops twice: generators that are to run, tests that are to
/// have ended, addresses and protocols that are to be there, and what commands are told to do.
ObjectProblems FindSequenceProblems();

}  // namespace orv::app
