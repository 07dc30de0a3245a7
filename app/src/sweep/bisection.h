// Search for the highest value that passes.
#pragma once

#include <cstddef>
#include <optional>

namespace orv::app {

/// Finds the highest of `count` ascending values that passes, given by index, provided that all below it pass
/// and none above it does. The first value is tried first, then the last one, then always the middle of what
/// is undecided: of n values at most 2 + log2(n) are tried.
class Bisection {
  public:
    explicit Bisection(std::size_t count) : count_(count) {}

    /// The value to try next; none if the highest one is known, or there is nothing to try.
    std::optional<std::size_t> GetNext() const {
        if (!failed_ && !passed_) return count_ > 0 ? std::optional<std::size_t>(0) : std::nullopt;
        if (!passed_) return std::nullopt;
        if (!failed_) return *passed_ + 1 < count_ ? std::optional(count_ - 1) : std::nullopt;
        return *failed_ - *passed_ > 1 ? std::optional(*passed_ + (*failed_ - *passed_) / 2) : std::nullopt;
    }

    /// Whether the next value passes.
    void Add(bool passes) {
        if (const auto next = GetNext()) (passes ? passed_ : failed_) = next;
    }

    /// The highest one known to pass.
    std::optional<std::size_t> GetHighest() const { return passed_; }

  private:
    std::size_t count_;
    std::optional<std::size_t> passed_;  ///< the highest so far
    std::optional<std::size_t> failed_;  ///< the lowest so far
};

}  // namespace orv::app
