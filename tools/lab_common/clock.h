// The steady clock, and the clock of the day.
#pragma once

#include <time.h>

#include <chrono>

namespace orv::lab {

using Nanoseconds = std::chrono::nanoseconds;

inline Nanoseconds ReadClock(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return std::chrono::seconds(now.tv_sec) + Nanoseconds(now.tv_nsec);
}

inline Nanoseconds Now() {
    return ReadClock(CLOCK_MONOTONIC);
}

inline timespec ToTimespec(Nanoseconds time) {
    timespec converted{};
    converted.tv_sec = time / std::chrono::seconds(1);
    converted.tv_nsec = (time % std::chrono::seconds(1)).count();
    return converted;
}

}  // namespace orv::lab
