// Seeded random numbers that are the same on every machine.
#pragma once

#include <cstdint>
#include <string_view>

#include "orv/il/network.h"

namespace orv::il {

/// Times of a run: nanoseconds of the timeline; kNever for what did not happen.
using Time = std::int64_t;
inline constexpr Time kNever = -1;
inline constexpr Time kMillisecond = 1'000'000;
inline constexpr Time kSecond = 1'000'000'000;

/// Spreads the bits of a number over all 64 (the output step of SplitMix64).
constexpr std::uint64_t mixed(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31);
}

/// A seed for each purpose of each port.
std::uint64_t seed_of(std::uint64_t seed, std::string_view port, std::uint64_t purpose);

/// SplitMix64: eight bytes, so that every STB can have its own.
class Random {
  public:
    explicit Random(std::uint64_t seed = 0) : state_(seed) {}

    std::uint64_t next() { return mixed(state_ += 0x9e3779b97f4a7c15U); }
    /// 0 inclusive to 1 exclusive.
    double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }
    /// 0 to count - 1; `count` is not 0.
    std::uint32_t below(std::uint32_t count) {
        return static_cast<std::uint32_t>(((next() >> 32) * count) >> 32);
    }
    /// True with that probability. Draws nothing when it is 0.
    bool happens(double probability) { return probability > 0 && fraction() < probability; }
    /// A whole number that is `expected` on average. Draws nothing when it is 0.
    std::uint64_t about(double expected) {
        return expected > 0 ? static_cast<std::uint64_t>(expected + fraction()) : 0;
    }
    Time duration(const Distribution& distribution);

  private:
    std::uint64_t state_;
};

}  // namespace orv::il
