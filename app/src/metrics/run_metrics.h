// Metrics of a running test.
#pragma once

#include <prometheus/metric_family.h>

#include <cstddef>
#include <string>
#include <vector>

#include "run/run_observer.h"

namespace orv::app {

/// Counters per port, histograms of the latencies of the whole test, and how far the test is. Units are
/// seconds and packets, as usual for Prometheus; what was not measured has no metric. `test`: its name, also
/// after it has ended. `iteration`: of a sweep; 0 without. Called under the task lock.
std::vector<prometheus::MetricFamily> MakeRunMetrics(const RunProgress& progress, const std::string& test,
                                                     std::size_t iteration);

}  // namespace orv::app
