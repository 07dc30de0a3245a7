// Seeded random numbers that are the same on every machine.
#pragma once

#include <cstdint>

namespace orv::live {

/// The next number of a SplitMix64 generator, whose whole state is `state`.
inline std::uint64_t next_random(std::uint64_t& state) {
    std::uint64_t value = state += 0x9e3779b97f4a7c15U;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31);
}

/// 0 inclusive to 1 exclusive.
inline double random_fraction(std::uint64_t& state) {
    return static_cast<double>(next_random(state) >> 11) * 0x1p-53;
}

}  // namespace orv::live
