// Converts the kernel's time stamps to the port's time.
#pragma once

#include <cstdint>

#include "orv/il/time.h"

namespace orv::nic {

/// Nanoseconds since the machine started; not set by anyone.
il::Time get_monotonic_time();

/// Frames are stamped with the time of day, which may be set while a test runs; everything else goes by a
/// clock that is not. The difference is measured before stamps are read. A frame that was stamped before the
/// time of day was set and is read afterwards has a wrong time, which is brought back to when it can have
/// come.
class ClockBridge {
  public:
    ClockBridge() { measure(); }

    void begin_reading();
    /// Converts a kernel time stamp; at most now, and at least the time at which all frames had been read.
    il::Time read(std::int64_t time_of_day);
    /// `all`: no unread frame is left.
    void end_reading(bool all);

    std::int64_t to_time_of_day(il::Time monotonic) const { return monotonic + difference_; }

  private:
    void measure();

    std::int64_t difference_ = 0;
    il::Time now_ = 0;         ///< when last read
    il::Time read_up_to_ = 0;  ///< frames from before have been read
};

}  // namespace orv::nic
