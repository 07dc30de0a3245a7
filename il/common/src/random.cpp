#include "orv/il/random.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace orv::il {

std::uint64_t seed_of(std::uint64_t seed, std::string_view port, std::uint64_t purpose) {
    std::uint64_t hash = mixed(seed + 0x9e3779b97f4a7c15U);
    for (const char c : port) hash = mixed(hash ^ static_cast<unsigned char>(c)) + 1;
    return mixed(hash + purpose);
}

std::uint64_t seed_of_run(std::uint64_t seed, std::string_view port, std::uint64_t number) {
    constexpr std::uint64_t kRunPurpose = 2;
    constexpr int kRunShift = 8;  // purposes fit below
    return seed_of(seed, port, kRunPurpose + (number << kRunShift));
}

namespace {

constexpr double kMostExactMean = 16;
constexpr double kLongestRow = 1e15;  ///< longer than anything counted here

/// The probability that none of the trials succeeds. Remembered, because the views of a network have similar
/// numbers of packets, and computing it takes longer than the rest of a draw.
double probability_of_none(std::uint64_t trials, double probability) {
    struct Known {
        std::uint64_t trials = 0;
        double probability = 0;
        double result = 1;
    };
    constexpr std::size_t kMostKnown = 1024;
    thread_local std::array<Known, kMostKnown> all_known;
    Known& known = all_known[trials % kMostKnown];
    if (known.trials != trials || known.probability != probability) {
        known = {trials, probability, std::exp(static_cast<double>(trials) * std::log1p(-probability))};
    }
    return known.result;
}

/// By inversion: subtracts the probabilities of 0, 1, 2, ... from `left` while it lasts.
std::uint64_t exact_binomial(std::uint64_t trials, double probability, double left) {
    double term = probability_of_none(trials, probability);
    if (left < term) return 0;
    const auto count_of_trials = static_cast<double>(trials);
    const double mean = count_of_trials * probability;
    const double odds = probability / (1 - probability);
    double count = 0;
    do {
        left -= term;
        term *= odds * (count_of_trials - count) / (count + 1);
        ++count;
        if (term < 1e-18 && count > mean) break;  // the rest is rounding
    } while (left >= term && count < count_of_trials);
    return static_cast<std::uint64_t>(count);
}

/// Logarithms, sines and cosines of numbers in the middle of equal intervals: from there on, few terms of a
/// series are enough for near_normal().
struct NormalTables {
    static constexpr int kBits = 6;
    static constexpr std::size_t kSize = 1 << kBits;

    NormalTables() {
        for (std::size_t i = 0; i < kSize; ++i) {
            const double middle = (static_cast<double>(i) + 0.5) / kSize;
            logarithm[i] = {1 / (1 + middle), std::log(1 + middle)};
            direction[i] = {std::cos(2 * std::numbers::pi * middle), std::sin(2 * std::numbers::pi * middle)};
        }
    }
    struct {
        double inverse, log;
    } logarithm[kSize];  ///< of numbers from 1 to 2
    struct {
        double cos, sin;
    } direction[kSize];  ///< of a full turn
};
const NormalTables normal_tables;

double near_log(double number) {
    constexpr int kExponentShift = 52, kBias = 1023;
    constexpr std::uint64_t kMantissa = (std::uint64_t{1} << kExponentShift) - 1;
    const auto bits = std::bit_cast<std::uint64_t>(number);
    const auto exponent = static_cast<double>(static_cast<int>(bits >> kExponentShift) - kBias);
    const auto mantissa = std::bit_cast<double>((bits & kMantissa) | std::bit_cast<std::uint64_t>(1.0));
    const auto& middle =
        normal_tables.logarithm[(bits & kMantissa) >> (kExponentShift - NormalTables::kBits)];
    const double x = mantissa * middle.inverse - 1;
    return exponent * std::numbers::ln2 + middle.log +
           x * (1 - x * (1. / 2 - x * (1. / 3 - x * (1. / 4 - x * (1. / 5)))));
}

double near_cos_of_turn(double turn) {
    const double position = turn * NormalTables::kSize;
    const auto i = static_cast<int>(position);
    const auto& middle = normal_tables.direction[i];
    const double x = (position - (i + 0.5)) * (2 * std::numbers::pi / NormalTables::kSize);
    const double xx = x * x;
    const double cos = 1 - xx * (1. / 2 - xx * (1. / 24 - xx * (1. / 720)));
    const double sin = x * (1 - xx * (1. / 6 - xx * (1. / 120)));
    return middle.cos * cos - middle.sin * sin;
}

}  // namespace

double Random::exact_normal(double tail, double turn) {
    return std::sqrt(-2 * std::log(tail)) * std::cos(2 * std::numbers::pi * turn);
}

/// The error is below 3e-12: that of the logarithm is 4e-14, or less than 1e-15 near 1, where the root
/// enlarges it most; that of the cosine is 2e-13, and the root at most 8.6.
double Random::near_normal(double tail, double turn) {
    return std::sqrt(-2 * near_log(tail)) * near_cos_of_turn(turn);
}

/// Where there may be some.
std::uint64_t Random::some_binomial(std::uint64_t trials, double probability) {
    if (probability >= 1) return trials;
    if (probability > 0.5) return trials - binomial(trials, 1 - probability);
    const double mean = static_cast<double>(trials) * probability;
    if (mean <= kMostExactMean) return exact_binomial(trials, probability, fraction());
    const double drawn = mean + std::sqrt(mean * (1 - probability)) * normal();
    return static_cast<std::uint64_t>(std::llround(std::clamp(drawn, 0.0, static_cast<double>(trials))));
}

std::uint64_t Random::row_until(double left, double probability) {
    if (probability >= 1) return kForever;
    const double times = std::log(left) / std::log(probability);
    return times < kLongestRow ? static_cast<std::uint64_t>(times) : kForever;
}

}  // namespace orv::il
