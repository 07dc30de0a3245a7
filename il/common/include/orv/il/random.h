// Seeded random numbers that are the same on every machine.
#pragma once

#include <cstdint>
#include <string_view>

namespace orv::il {

/// Spreads the bits of a number over all 64 (the output step of SplitMix64).
constexpr std::uint64_t mixed(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31);
}

/// A seed for each purpose of each port.
std::uint64_t seed_of(std::uint64_t seed, std::string_view port, std::uint64_t purpose);
/// For the STBs of a port's run; `number` counts its runs from 0.
std::uint64_t seed_of_run(std::uint64_t seed, std::string_view port, std::uint64_t number);

/// SplitMix64: eight bytes, so that every STB can have its own.
class Random {
  public:
    explicit Random(std::uint64_t seed = 0) : state_(seed) {}

    std::uint64_t next() { return mixed(state_ += 0x9e3779b97f4a7c15U); }
    /// 0 inclusive to 1 exclusive.
    double fraction() {  // processors convert signed numbers faster
        return static_cast<double>(static_cast<std::int64_t>(next() >> 11)) * 0x1p-53;
    }
    /// 0 to count - 1; `count` is not 0.
    std::uint32_t below(std::uint32_t count) {
        return static_cast<std::uint32_t>(((next() >> 32) * count) >> 32);
    }
    /// True with that probability. Draws no number if it is 0.
    bool happens(double probability) { return probability > 0 && fraction() < probability; }
    /// Number of successes in `trials` with that probability. Exact up to a mean of 16, above that rounded
    /// from a normal distribution. Draws no number if there can be none.
    std::uint64_t binomial(std::uint64_t trials, double probability) {
        return trials == 0 || !(probability > 0) ? 0 : some_binomial(trials, probability);
    }
    /// Number of consecutive successes with that probability; kForever if it is 1. Draws no number if it is
    /// 0.
    std::uint64_t in_a_row(double probability) {
        if (!(probability > 0)) return 0;
        const double left = probability < 1 ? 1 - fraction() : 0;
        // Mostly there is none, which needs no logarithm. Near the limit the quotient's rounding decides.
        return left > probability * (1 + 1e-9) ? 0 : row_until(left, probability);
    }
    static constexpr std::uint64_t kForever = UINT64_MAX;
    /// Normally distributed, of mean 0 and standard deviation 1.
    double normal() {
        const double tail = 1 - fraction();
        return exact_normal(tail, fraction());
    }
    /// of(normal()), where `of` is monotonic. Its value for a number close by is found in less time than the
    /// logarithm and the cosine take, and where `of` rounds, it mostly is the value wanted.
    template <class Monotonic>
    auto of_normal(Monotonic of) {
        const double tail = 1 - fraction(), turn = fraction();
        if (tail < kMostTail) {
            const double near = near_normal(tail, turn);
            const auto value = of(near - kMostError);
            if (value == of(near + kMostError)) return value;
        }
        return of(exact_normal(tail, turn));
    }

  private:
    static constexpr double kMostTail = 1 - 1e-6;  ///< above it, near_normal() is less exact
    static constexpr double kMostError = 1e-11;    ///< of near_normal(); several times what it can be

    /// By Box and Muller, from two fractions; `tail` is not 0.
    static double exact_normal(double tail, double turn);
    static double near_normal(double tail, double turn);
    std::uint64_t some_binomial(std::uint64_t trials, double probability);
    static std::uint64_t row_until(double left, double probability);

    std::uint64_t state_;
};

}  // namespace orv::il
