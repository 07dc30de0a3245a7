// The work of timers, found by ids that are not used again.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace orv::nic {

/// Thousands of timers are set and cancelled each second: their places are used again, without an allocation.
/// Whoever keeps the order of timers keeps keys, and finds out here which of them were cancelled.
class TimerSlots {
  public:
    struct Key {
        std::uint32_t slot;
        std::uint32_t use;  ///< of the slot, counted
    };

    Key add(std::function<void()> work) {
        if (free_.empty()) {
            free_.push_back(static_cast<std::uint32_t>(slots_.size()));
            slots_.emplace_back();
        }
        const std::uint32_t slot = free_.back();
        free_.pop_back();
        slots_[slot].work = std::move(work);
        return {slot, slots_[slot].use};
    }
    /// Never 0.
    static std::uint64_t get_id(Key key) { return std::uint64_t{key.use} << 32 | key.slot; }
    bool is_waiting(Key key) const { return key.slot < slots_.size() && slots_[key.slot].use == key.use; }
    /// False if it has been taken or cancelled, or never was.
    bool cancel(std::uint64_t id) {
        const Key key{static_cast<std::uint32_t>(id), static_cast<std::uint32_t>(id >> 32)};
        if (!is_waiting(key) || !slots_[key.slot].work) return false;
        take(key);
        return true;
    }
    /// Of a key that waits. Its slot is free then.
    std::function<void()> take(Key key) {
        Slot& slot = slots_[key.slot];
        if (++slot.use == 0) slot.use = 1;
        free_.push_back(key.slot);
        return std::exchange(slot.work, nullptr);
    }

  private:
    struct Slot {
        std::function<void()> work;
        std::uint32_t use = 1;
    };

    std::vector<Slot> slots_;
    std::vector<std::uint32_t> free_;
};

}  // namespace orv::nic
