// Where a run writes.
#pragma once

#include <string>

#include "arguments.h"

namespace orv::app {

/// Why a run cannot write what it is to write: two files that are one, a place that takes none. Empty when it
/// can.
std::string FindPathProblem(const Arguments& arguments);

}  // namespace orv::app
