// The objects of a test with their counts, distributions and histograms.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "packed_column.h"
#include "results_viewer/data_sets.h"

namespace orv::app {

/// The distribution of one latency of one object, as stored.
struct StoredDistribution {
    std::int64_t handle = 0;
    /// In the order of kStoredStatistics.
    std::array<Number, 9> values;
};

/// Columns of the class IptvLatencyDistribution.
inline constexpr std::array<const char*, 9> kStoredStatistics{"Count", "Min", "Mean", "Max", "P50",
                                                              "P90",   "P95", "P99",  "P999"};

/// The objects of one kind: "test", "port", "profile", "range" or "block".
struct ObjectTable {
    std::string kind;
    std::vector<std::int64_t> handles;
    std::vector<std::string> names;
    std::map<std::string, std::vector<Number>> counts;  ///< by name: "views", ...; a value for each object
    /// By latency ("join latency"), then by position of the object; of those that measured it.
    std::map<std::string, std::map<std::size_t, StoredDistribution>> distributions;
};

/// The test itself, its ports, viewing profiles, channel ranges and STB blocks. Kinds without objects are
/// left out.
std::vector<ObjectTable> ReadObjects(const ResultsDatabase& database, const DataSet& data_set);

/// {"kind", "names", "counts": {name: column}, "figures": {latency: {"Count": column, "P50": column, ...}}},
/// with packed columns. In a table of more than kLargeTable objects least, mean and greatest values are
/// missing, and percentiles have three digits.
inline constexpr std::size_t kLargeTable = 2000;
PageJson MakeTableJson(const ObjectTable& table);

/// The histograms of as many objects as fit into so many bytes: {position: {latency: [[bucket, count],
/// ...]}}. Objects whose p99 differs most from that of the test come first if they do not all fit.
PageJson ReadHistograms(const ResultsDatabase& database, const ObjectTable& table, const ObjectTable& test,
                        std::size_t bytes);

}  // namespace orv::app
