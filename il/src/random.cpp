#include "random.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orv::il {

std::uint64_t seed_of(std::uint64_t seed, std::string_view port, std::uint64_t purpose) {
    std::uint64_t hash = mixed(seed + 0x9e3779b97f4a7c15U);
    for (const char c : port) hash = mixed(hash ^ static_cast<unsigned char>(c)) + 1;
    return mixed(hash + purpose);
}

namespace {

constexpr double kLongestMs = 1e9;  ///< a week and a half; keeps sums of times within their range

}  // namespace

Time Random::duration(const Distribution& distribution) {
    double ms = distribution.a;
    switch (distribution.kind) {
        case Distribution::Kind::Constant:
            break;
        case Distribution::Kind::Uniform:
            ms += (distribution.b - distribution.a) * fraction();
            break;
        case Distribution::Kind::Normal: {
            const double radius = std::sqrt(-2 * std::log(1 - fraction()));  // Box and Muller
            ms += distribution.b * radius * std::cos(2 * std::numbers::pi * fraction());
            break;
        }
        case Distribution::Kind::Exponential:
            ms -= distribution.b * std::log(1 - fraction());
            break;
    }
    return static_cast<Time>(
        std::llround(std::clamp(ms, 0.0, kLongestMs) * static_cast<double>(kMillisecond)));
}

}  // namespace orv::il
