#include "coarse_timeline.h"

#include <algorithm>

namespace orv::nic {

std::uint64_t CoarseTimeline::PostAfter(il::Nanoseconds delay, std::function<void()> work) {
    const il::Time now = exact_.GetNow().count();
    if (waiting_++ == 0) done_ = std::max(done_, now / kGrain - 1);
    if (free_.empty()) {
        free_.push_back(static_cast<std::uint32_t>(slots_.size()));
        slots_.emplace_back();
    }
    const std::uint32_t number = free_.back();
    free_.pop_back();
    Slot& slot = slots_[number];
    slot.work = std::move(work);
    slot.grain = std::max((now + std::max<il::Time>(delay.count(), 0)) / kGrain, done_ + 1);
    entries_of(slot.grain).push_back({number, slot.use});
    if (timer_ == 0 || slot.grain < armed_for_) arm();
    return std::uint64_t{slot.use} << 32 | number;
}

void CoarseTimeline::Cancel(std::uint64_t id) {
    const auto number = static_cast<std::uint32_t>(id);
    if (number >= slots_.size() || slots_[number].use != id >> 32 || !slots_[number].work) return;
    release(number);
}

void CoarseTimeline::release(std::uint32_t number) {
    Slot& slot = slots_[number];
    slot.work = nullptr;
    if (++slot.use == 0) slot.use = 1;
    free_.push_back(number);
    --waiting_;
}

void CoarseTimeline::run_grain(il::Time grain) {
    running_.swap(entries_of(grain));
    for (const Entry& entry : running_) {
        if (slots_[entry.slot].use != entry.use) continue;  // cancelled
        if (slots_[entry.slot].grain > grain) {             // another round
            entries_of(grain).push_back(entry);
            continue;
        }
        const auto work = std::exchange(slots_[entry.slot].work, nullptr);
        release(entry.slot);
        work();
    }
    running_.clear();
}

/// For the next grain that has timers.
void CoarseTimeline::arm() {
    if (timer_ != 0) exact_.Cancel(std::exchange(timer_, 0));
    if (waiting_ == 0) return;
    armed_for_ = done_ + 1;
    while (armed_for_ < done_ + static_cast<il::Time>(kGrains) && entries_of(armed_for_).empty())
        ++armed_for_;
    const il::Time delay = std::max<il::Time>(armed_for_ * kGrain - exact_.GetNow().count(), 0);
    timer_ = exact_.PostAfter(il::Nanoseconds(delay), [this] {
        timer_ = 0;
        const il::Time now = exact_.GetNow().count() / kGrain;
        while (done_ < now && waiting_ > 0) run_grain(++done_);
        arm();
    });
}

}  // namespace orv::nic
