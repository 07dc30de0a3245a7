// The outcome of a run, for people.
#pragma once

#include <cstddef>
#include <limits>
#include <string>

#include "run/run_outcome.h"

namespace orv::app {

/// A table per channel range, STB block, profile and port of each test, its expectations, its verdict, and
/// how the run ended. Errors are only counted, because each is shown when it occurs. Tables have lines of at
/// most `line_width` characters where possible.
std::string MakeSummary(const RunOutcome& outcome,
                        std::size_t line_width = std::numeric_limits<std::size_t>::max());

}  // namespace orv::app
