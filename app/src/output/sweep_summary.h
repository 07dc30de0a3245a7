// The outcome of a sweep, for people.
#pragma once

#include <cstddef>
#include <string>

#include "run/run_outcome.h"

namespace orv::app {

/// A table with a line for each test of each iteration, and what came of the sweep. Empty for a run without
/// one.
std::string MakeSweepSummary(const RunOutcome& outcome, std::size_t line_width);

/// "Highest Homes/DeviceCount that passes: 400 (of 100 to 3200, 8 values tried, 3 runs each)". Empty unless a
/// search has come to its end.
std::string DescribeSearch(const SweepOutcome& sweep);

}  // namespace orv::app
