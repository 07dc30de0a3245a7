// What came of a run, for people.
#pragma once

#include <string>

#include "run/run_outcome.h"

namespace orv::app {

/// A table per channel range, STB block, profile and port of each test, the verdict, and what went wrong.
std::string MakeSummary(const RunOutcome& outcome);

}  // namespace orv::app
