// Views of latencies that a database does not describe itself.
#pragma once

#include <vector>

#include "results_viewer/view_tree.h"

namespace orv::app {

/// "Latency Percentiles" and "Time Series", each if there are rows of the data set.
std::vector<ViewNode> MakeLatencyViews(const ResultsDatabase& database, const DataSet& data_set);

}  // namespace orv::app
