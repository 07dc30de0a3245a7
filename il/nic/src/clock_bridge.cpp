#include "clock_bridge.h"

#include <cstdlib>
#include <ctime>
#include <limits>

namespace orv::nic {

namespace {

/// Differences below that are the measurement's own.
constexpr std::int64_t kSmallestStep = 100'000;
constexpr int kTries = 3;

std::int64_t read_clock(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

il::Time get_monotonic_time() {
    return read_clock(CLOCK_MONOTONIC);
}

void ClockBridge::measure() {
    std::int64_t best = std::numeric_limits<std::int64_t>::max(), measured = 0;
    for (int i = 0; i < kTries; ++i) {
        const std::int64_t before = read_clock(CLOCK_MONOTONIC);
        const std::int64_t of_day = read_clock(CLOCK_REALTIME);
        const std::int64_t took = read_clock(CLOCK_MONOTONIC) - before;
        if (took >= best) continue;
        best = took;
        measured = of_day - before - took / 2;
    }
    if (best < kSmallestStep && std::abs(measured - difference_) > kSmallestStep) difference_ = measured;
}

}  // namespace orv::nic
