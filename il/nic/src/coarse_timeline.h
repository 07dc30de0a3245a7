// Timers that need not be exact.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "orv/il/time.h"
#include "orv/il/timeline.h"
#include "timer_slots.h"

namespace orv::nic {

/// Timers of many hosts, whose delays are random anyway: those of the same few milliseconds run together,
/// earlier than they were set for, so that one wake-up of the thread serves many of them. Setting and
/// cancelling one costs the same however many there are.
class CoarseTimeline : public il::ITimeline {
  public:
    explicit CoarseTimeline(il::ITimeline& exact) : exact_(exact) {}
    ~CoarseTimeline() override {
        if (timer_ != 0) exact_.Cancel(timer_);
    }
    CoarseTimeline(const CoarseTimeline&) = delete;
    CoarseTimeline& operator=(const CoarseTimeline&) = delete;

    il::Nanoseconds GetNow() const override { return exact_.GetNow(); }
    std::uint64_t PostAfter(il::Nanoseconds delay, std::function<void()> work) override;
    void Cancel(std::uint64_t id) override;

  private:
    static constexpr il::Time kGrain = 4 * il::kMillisecond;
    static constexpr std::size_t kGrains = 1024;  ///< a timer that is due later waits for more than one round

    struct Entry {
        il::Time grain;  ///< when it is due
        TimerSlots::Key key;
    };

    std::vector<Entry>& entries_of(il::Time grain) {
        return wheel_[static_cast<std::size_t>(grain) % kGrains];
    }
    void run_grain(il::Time grain);
    void arm();

    il::ITimeline& exact_;
    std::array<std::vector<Entry>, kGrains> wheel_;
    TimerSlots slots_;
    std::vector<Entry> running_;
    il::Time done_ = 0;        ///< the last grain that has run
    std::size_t waiting_ = 0;  ///< timers
    std::uint64_t timer_ = 0;
    il::Time armed_for_ = 0;  ///< grain
};

}  // namespace orv::nic
