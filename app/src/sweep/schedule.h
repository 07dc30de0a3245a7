// Which iterations a sweep has.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "bisection.h"
#include "test_file/sweep.h"

namespace orv::app {

/// One run of a sweep.
struct SweepStep {
    int number = 1;                   ///< of the run
    std::vector<std::size_t> values;  ///< by property, as index
    std::uint32_t repetition = 1;     ///< of the value, in a search
};

/// The runs of a sweep one after the other: all combinations of values, or those that a search asks for.
class SweepSchedule {
  public:
    /// `sweep` must outlive the object.
    explicit SweepSchedule(const Sweep& sweep);

    /// The next run; none when all is done. Stays the same until its result is added.
    std::optional<SweepStep> GetNext() const;
    void Add(bool passed);

    /// Of all runs; 0 in a search, where it depends on their results.
    std::size_t GetCount() const { return sweep_.search ? 0 : count_; }
    /// True if all runs passed, or a highest value was found.
    bool HasPassed() const;
    /// Of a search: the values that have been tried, by index, and whether they passed.
    const std::vector<std::pair<std::size_t, bool>>& GetTried() const { return tried_; }
    std::optional<std::size_t> GetHighest() const { return search_.GetHighest(); }

  private:
    std::vector<std::size_t> GetValues(std::size_t combination) const;

    const Sweep& sweep_;
    std::size_t count_ = 1;  ///< of combinations
    std::size_t done_ = 0;   ///< runs
    bool all_passed_ = true;
    Bisection search_;
    std::uint32_t repetition_ = 1;
    std::vector<std::pair<std::size_t, bool>> tried_;
};

}  // namespace orv::app
