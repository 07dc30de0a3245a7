// What differs between runs, and by more than chance.
#pragma once

#include <vector>

#include "reported_run.h"

namespace orv::app {

/// Probability that a comparison of runs of the same network reports any difference.
inline constexpr double kAlpha = 0.01;
/// Intervals that each run must have for a figure to be tested.
inline constexpr std::size_t kLeastIntervals = 8;

/// Each further run against the first one: {"alpha", "least_intervals", "hypotheses": number of figures
/// tested, "pairs": [{"a": [run, test], "b": [run, test], "figures": [{"figure", "n": [a, b], "values": [a,
/// b], "p": adjusted, "result": "different" or "no difference" or "too few intervals" or "not measured"}]}]}.
/// Tests are paired by name, and by the values of a sweep, in order. Values are means of the intervals; of
/// counts per second. The first and the last interval of a test are left out: they may be partial. `p` is
/// missing if the figure was not tested.
PageJson CompareRuns(const std::vector<ReportedRun>& runs);

}  // namespace orv::app
