// Describes a run in its results database, so that the run can be repeated.
#pragma once

#include "description_names.h"
#include "orv/core/test_result_manager.h"
#include "run_outcome.h"
#include "test_file/parsed_file.h"

namespace orv::app {

/// Before the first test.
void DescribeRun(core::TestResultManager& database, const TestFile& file, const RunOutcome& outcome);

}  // namespace orv::app
