// What came of the expectations of a test, for programs.
#pragma once

#include <nlohmann/json.hpp>

#include "run_outcome.h"

namespace orv::app {

/// For each "text", "met" (null if not finished), "measured" (null if nothing was) and "unit".
nlohmann::ordered_json MakeExpectationsJson(const RunOutcome& outcome, const TestReport& test);

}  // namespace orv::app
