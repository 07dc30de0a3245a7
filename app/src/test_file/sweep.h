// The section "sweep" of a test file: values that vary, the whole sequence being run for each.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "source_tree.h"

namespace orv::app {

struct SweptProperty {
    SourceNode name;                 ///< "Homes/DeviceCount"
    std::vector<SourceNode> values;  ///< at least one; of a search they ascend

    /// As in the file: "400", "[News, Sport]".
    std::string GetText(std::size_t value) const;
};

/// Instead of all values of the property, as many are run as it takes to find the highest that passes.
struct SweepSearch {
    std::uint32_t repetitions = 1;  ///< runs that have to pass
};

struct Sweep {
    std::vector<SweptProperty> properties;  ///< one or two; the last one varies fastest
    std::optional<SweepSearch> search;      ///< then there is one property
};

/// Limits of runs without a search, and of values of one.
inline constexpr std::size_t kMostIterations = 1'000;
inline constexpr std::size_t kMostSearchedValues = 100'000;
inline constexpr std::uint32_t kMostRepetitions = 1'000;

}  // namespace orv::app
