// From the kernel's time stamps to the port's time.
#pragma once

#include <cstdint>

#include "random.h"

namespace orv::nic {

/// Nanoseconds since the machine started; not set by anyone.
il::Time get_monotonic_time();

/// Frames are stamped with the time of day, which may be set while a test runs; everything else goes by a
/// clock that is not. The difference is measured before stamps are read, so that a step is met within one
/// turn of the port's loop.
class ClockBridge {
  public:
    ClockBridge() { measure(); }

    void measure();
    il::Time to_monotonic(std::int64_t time_of_day) const { return time_of_day - difference_; }
    std::int64_t to_time_of_day(il::Time monotonic) const { return monotonic + difference_; }

  private:
    std::int64_t difference_ = 0;
};

}  // namespace orv::nic
