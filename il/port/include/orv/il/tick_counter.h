// The counter for the time stamps of events.
#pragma once

#include <cstdint>

#include "orv/il/random.h"
#include "orv/il/time.h"

namespace orv::il {

/// A free-running counter of 46 bits and 10 ns ticks; it wraps every eight days. The seed determines its
/// initial value. With a seed that is a multiple of 16 it wraps 5 to 15 s after the port is created, so that
/// a test can cover the wrap.
class TickCounter {
  public:
    static constexpr std::int64_t kTicks = std::int64_t{1} << 46;
    static constexpr Time kTick = 10;  ///< ns

    TickCounter(std::uint64_t seed, std::string_view port, Time now) {
        Random random(seed_of(seed, port, kPurpose));
        constexpr std::int64_t kTicksPerSecond = kSecond / kTick;
        const auto before_wrap = static_cast<std::int64_t>((5 + 10 * random.fraction()) * kTicksPerSecond);
        offset_ = seed % 16 == 0 ? kTicks - before_wrap
                                 // The lower half: no test is long enough to reach the wrap.
                                 : static_cast<std::int64_t>(random.next() % (kTicks / 2));
        offset_ -= now / kTick;
    }

    /// 0 for kNever only: a time that would be 0 after wrap-around becomes 1.
    std::int64_t read(Time time) const {
        if (time == kNever) return 0;
        const std::int64_t ticks = (offset_ + time / kTick) & (kTicks - 1);
        return ticks == 0 ? 1 : ticks;
    }

  private:
    static constexpr std::uint64_t kPurpose = 1;
    std::int64_t offset_;
};

}  // namespace orv::il
