// The port's clock and timers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "clock_bridge.h"
#include "orv/il/timeline.h"

namespace orv::nic {

/// Timers of one thread, in order of time, equal times in the order in which they were set. Thousands of them
/// are set and cancelled each second: no allocation, and a cancelled one stays in the heap until its time.
class WorkQueue : public il::ITimeline {
  public:
    il::Nanoseconds GetNow() const override { return il::Nanoseconds(get_monotonic_time()); }

    std::uint64_t PostAfter(il::Nanoseconds delay, std::function<void()> work) override {
        if (free_.empty()) {
            free_.push_back(static_cast<std::uint32_t>(slots_.size()));
            slots_.emplace_back();
        }
        const std::uint32_t slot = free_.back();
        free_.pop_back();
        slots_[slot].work = std::move(work);
        const il::Time due = get_monotonic_time() + std::max<il::Time>(delay.count(), 0);
        heap_.push_back({due, ++last_number_, slot, slots_[slot].use});
        std::push_heap(heap_.begin(), heap_.end(), is_later);
        return std::uint64_t{slots_[slot].use} << 32 | slot;
    }

    void Cancel(std::uint64_t id) override {
        const auto slot = static_cast<std::uint32_t>(id);
        if (slot >= slots_.size() || slots_[slot].use != id >> 32 || !slots_[slot].work) return;
        release(slot);
        ++cancelled_;
        if (cancelled_ > kFewCancelled && 2 * cancelled_ > heap_.size()) sweep();
    }

    /// When the first work is due; kNever when there is none.
    il::Time next() {
        while (!heap_.empty() && is_cancelled(heap_.front())) {
            --cancelled_;
            pop();
        }
        return heap_.empty() ? il::kNever : heap_.front().due;
    }

    /// Runs the first work, which next() has found.
    void run_next() {
        const std::uint32_t slot = heap_.front().slot;
        pop();
        const auto work = std::exchange(slots_[slot].work, nullptr);
        release(slot);
        work();
    }

  private:
    static constexpr std::size_t kFewCancelled = 1024;

    struct Slot {
        std::function<void()> work;
        std::uint32_t use = 1;  ///< counts; part of the id, which is never 0
    };
    struct Entry {
        il::Time due;
        std::uint64_t number;  ///< in the order of PostAfter
        std::uint32_t slot, use;
    };

    static bool is_later(const Entry& one, const Entry& other) {
        return one.due != other.due ? one.due > other.due : one.number > other.number;
    }
    bool is_cancelled(const Entry& entry) const { return slots_[entry.slot].use != entry.use; }
    void pop() {
        std::pop_heap(heap_.begin(), heap_.end(), is_later);
        heap_.pop_back();
    }
    void release(std::uint32_t slot) {
        slots_[slot].work = nullptr;
        if (++slots_[slot].use == 0) slots_[slot].use = 1;
        free_.push_back(slot);
    }
    /// Removes all that were cancelled.
    void sweep() {
        std::erase_if(heap_, [this](const Entry& entry) { return is_cancelled(entry); });
        std::make_heap(heap_.begin(), heap_.end(), is_later);
        cancelled_ = 0;
    }

    std::uint64_t last_number_ = 0;
    std::vector<Entry> heap_;
    std::vector<Slot> slots_;
    std::vector<std::uint32_t> free_;
    std::size_t cancelled_ = 0;  ///< in the heap
};

}  // namespace orv::nic
