// The runs of a sweep.
#pragma once

#include "run/session.h"

namespace orv::app {

/// Checks the test with the values of each iteration, as Session::Validate does; of a search with the first
/// and the last value. A mistake that only some values have names those of the first.
RunOutcome ValidateSweep(Session& session, const TestFile& file);

/// Runs the test for each iteration, with the seed of the file or the options: the network is the same for
/// all values. Only the repetitions of one value have further seeds, one more each time, because they would
/// give the same results otherwise. Nothing runs if a value is a mistake. A run with errors, bad input or an
/// interruption is the last one, and gives its end to the sweep. `known` always contains the iterations so
/// far.
RunOutcome RunSweep(Session& session, const TestFile& file, const RunOptions& options, IRunObserver& observer,
                    OutputFiles& outputs, KnownOutcome& known);

/// What came out of the sweep, for run_description::kSweepResult.
std::string DescribeSweepResult(const RunOutcome& outcome);

/// Of an outcome that RunSweep has left in KnownOutcome: moves what is known of the iteration that was under
/// way to that iteration, where it belongs after the end.
void CloseIteration(RunOutcome& outcome);

}  // namespace orv::app
