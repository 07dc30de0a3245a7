// The port's clock and timers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "clock_bridge.h"
#include "orv/il/timeline.h"
#include "timer_slots.h"

namespace orv::nic {

/// Timers of one thread, in order of time, equal times in the order in which they were set. A cancelled one
/// stays in the heap until its time, unless many do.
class WorkQueue : public il::ITimeline {
  public:
    il::Nanoseconds GetNow() const override { return il::Nanoseconds(get_monotonic_time()); }

    std::uint64_t PostAfter(il::Nanoseconds delay, std::function<void()> work) override {
        const il::Time due = get_monotonic_time() + delay.count();  // in the past for what is late
        const TimerSlots::Key key = slots_.add(std::move(work));
        heap_.push_back({due, ++last_number_, key});
        std::push_heap(heap_.begin(), heap_.end(), is_later);
        return TimerSlots::get_id(key);
    }

    void Cancel(std::uint64_t id) override {
        if (!slots_.cancel(id)) return;
        ++cancelled_;
        if (cancelled_ > kFewCancelled && 2 * cancelled_ > heap_.size()) sweep();
    }

    /// When the first work is due; kNever when there is none.
    il::Time next() {
        while (!heap_.empty() && !slots_.is_waiting(heap_.front().key)) {
            --cancelled_;
            pop();
        }
        return heap_.empty() ? il::kNever : heap_.front().due;
    }

    /// Runs what was due at a time, up to a limit. What it posts waits for another call.
    void run_due(il::Time time, int most) {
        const std::uint64_t last = last_number_;
        for (; most > 0; --most) {
            const il::Time due = next();
            if (due == il::kNever || due > time || heap_.front().number > last) return;
            const auto work = slots_.take(heap_.front().key);
            pop();
            work();
        }
    }

  private:
    static constexpr std::size_t kFewCancelled = 1024;

    struct Entry {
        il::Time due;
        std::uint64_t number;  ///< in the order of PostAfter
        TimerSlots::Key key;
    };

    static bool is_later(const Entry& one, const Entry& other) {
        return one.due != other.due ? one.due > other.due : one.number > other.number;
    }
    void pop() {
        std::pop_heap(heap_.begin(), heap_.end(), is_later);
        heap_.pop_back();
    }
    /// Removes all that were cancelled.
    void sweep() {
        std::erase_if(heap_, [this](const Entry& entry) { return !slots_.is_waiting(entry.key); });
        std::make_heap(heap_.begin(), heap_.end(), is_later);
        cancelled_ = 0;
    }

    std::uint64_t last_number_ = 0;
    std::vector<Entry> heap_;
    TimerSlots slots_;
    std::size_t cancelled_ = 0;  ///< in the heap
};

}  // namespace orv::nic
