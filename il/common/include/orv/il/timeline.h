// The clock and timers of software ports.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace orv::il {

using Nanoseconds = std::chrono::nanoseconds;

/// Gives the time and runs timers. All calls and timers come from one thread at a time.
class ITimeline {
  public:
    virtual ~ITimeline() = default;

    /// Monotonic.
    virtual Nanoseconds GetNow() const = 0;
    /// Calls `work` once after `delay`; work due at the same time runs in the order of the calls, late work
    /// (a delay below 0) as soon as possible. Returns an id for Cancel; never 0.
    virtual std::uint64_t PostAfter(Nanoseconds delay, std::function<void()> work) = 0;
    /// Does nothing for an id that is unknown or has expired.
    virtual void Cancel(std::uint64_t id) = 0;
};

}  // namespace orv::il
