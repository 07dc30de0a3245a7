// Whether a test that has been built may run.
#pragma once

#include "orv/core/project.h"
#include "run_outcome.h"
#include "test_file/parsed_file.h"

namespace orv::app {

/// Checks the project and the sequence with the rules of the program and those of the plug-in, so that a test
/// without mistakes can run. Adds the mistakes to the outcome, in the order of the file.
void CheckInput(const TestFile& file, const TestFile::Built& built, core::CProject& project,
                RunOutcome& outcome);

/// A run with live ports needs the real clock, one with ports on agents needs a server.
void CheckPlaces(const TestFile& file, const TestFile::Built& built, core::CProject& project, bool has_server,
                 RunOutcome& outcome);

}  // namespace orv::app
