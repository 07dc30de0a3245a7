// A run as its results database tells it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "interval_series.h"
#include "object_figures.h"
#include "results_viewer/data_sets.h"
#include "results_viewer/results_database.h"

namespace orv::app {

/// One data set.
struct ReportedTest {
    DataSet data_set;
    PageJson outcome;                  ///< of the test, from the outcome of the run; null without one
    std::vector<ObjectTable> objects;  ///< the first one is the test itself
    std::vector<Interval> intervals;   ///< of the test
};

/// The data sets that one run has written.
struct ReportedRun {
    /// The run of the data set, or of the latest one. Throws ResultsError or ResultsFailure.
    ReportedRun(const std::filesystem::path& path, std::optional<std::uint32_t> data_set);

    ResultsDatabase database;
    PageJson outcome;  ///< of the run; null in a database without it, and while the run goes on
    std::vector<ReportedTest> tests;
};

/// How much of what grows with the test a page may have. The rest is counted in the page.
struct PageLimits {
    std::size_t rows = 20'000;         ///< of STB blocks, of all tests
    std::size_t points = 1'800;        ///< of the time series of a test
    std::size_t port_points = 24'000;  ///< of those of the ports of all tests
    std::size_t histograms = 400'000;  ///< bytes
    std::size_t test_file = 200'000;   ///< bytes
};

/// The run as the page shows it. Takes from the limits what it needs.
PageJson MakeRunJson(const ReportedRun& run, PageLimits& limits);

}  // namespace orv::app
