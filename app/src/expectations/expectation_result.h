// What came of an expectation in one test.
#pragma once

#include <optional>
#include <string>

namespace orv::app {

struct ExpectationResult {
    std::string text;  ///< as in the file
    bool met = false;  ///< by the figures; see GetVerdict for the reported verdict
    std::optional<double> measured;
    std::string unit;  ///< "ms", "%"; empty for a count

    /// "47.1 ms", "3", "not measured"
    std::string DescribeMeasured() const;
};

}  // namespace orv::app
