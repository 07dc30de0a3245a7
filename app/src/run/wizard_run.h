// Tests that the wizard makes of a few summary objects.
#pragma once

#include "orv/core/project.h"
#include "run_outcome.h"
#include "test_file/parsed_file.h"

namespace orv::app {

/// When the project has wizard objects, builds the test that they describe and the sequence that runs it.
/// Problems go to the outcome's mistakes.
void RunWizard(const TestFile& file, const TestFile::Built& built, core::CProject& project,
               RunOutcome& outcome);

}  // namespace orv::app
