// Timers that need not be exact.
#pragma once

#include <algorithm>
#include <utility>

#include "orv/il/time.h"
#include "orv/il/timeline.h"

namespace orv::nic {

/// Timers of many hosts, whose delays are random anyway: those of the same milliseconds become due together,
/// earlier than they were set for, so that one wake-up of the thread serves many of them.
class CoarseTimeline : public il::ITimeline {
  public:
    explicit CoarseTimeline(il::ITimeline& exact) : exact_(exact) {}

    il::Nanoseconds GetNow() const override { return exact_.GetNow(); }
    std::uint64_t PostAfter(il::Nanoseconds delay, std::function<void()> work) override {
        const il::Time now = exact_.GetNow().count();
        const il::Time due = (now + delay.count()) / kGrain * kGrain;
        return exact_.PostAfter(il::Nanoseconds(std::max<il::Time>(due - now, 0)), std::move(work));
    }
    void Cancel(std::uint64_t id) override { exact_.Cancel(id); }

  private:
    static constexpr il::Time kGrain = 4 * il::kMillisecond;

    il::ITimeline& exact_;
};

}  // namespace orv::nic
