#include "clock_bridge.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>

namespace orv::nic {

namespace {

/// Differences below that are measurement noise.
constexpr std::int64_t kSmallestStep = 100'000;
constexpr int kTries = 3;
/// From the stamp of a frame until it can be read: blocks of the ring are handed over every millisecond.
constexpr il::Time kLongestOnTheWay = 50 * il::kMillisecond;

std::int64_t read_clock(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

il::Time get_monotonic_time() {
    return read_clock(CLOCK_MONOTONIC);
}

void ClockBridge::begin_reading() {
    measure();
    now_ = get_monotonic_time();
}

il::Time ClockBridge::read(std::int64_t time_of_day) {
    const il::Time time = time_of_day - difference_;
    if (time > now_) now_ = get_monotonic_time();
    return std::clamp(time, std::min(read_up_to_ - kLongestOnTheWay, now_), now_);
}

void ClockBridge::end_reading(bool all) {
    if (all) read_up_to_ = now_;
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
