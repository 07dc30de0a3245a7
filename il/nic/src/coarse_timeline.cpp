#include "coarse_timeline.h"

#include <algorithm>

namespace orv::nic {

std::uint64_t CoarseTimeline::PostAfter(il::Nanoseconds delay, std::function<void()> work) {
    const il::Time now = exact_.GetNow().count();
    if (waiting_++ == 0) done_ = std::max(done_, now / kGrain - 1);
    const il::Time grain = std::max((now + std::max<il::Time>(delay.count(), 0)) / kGrain, done_ + 1);
    const TimerSlots::Key key = slots_.add(std::move(work));
    entries_of(grain).push_back({grain, key});
    if (timer_ == 0 || grain < armed_for_) arm();
    return TimerSlots::get_id(key);
}

void CoarseTimeline::Cancel(std::uint64_t id) {
    if (slots_.cancel(id)) --waiting_;
}

void CoarseTimeline::run_grain(il::Time grain) {
    running_.swap(entries_of(grain));
    for (const Entry& entry : running_) {
        if (!slots_.is_waiting(entry.key)) continue;  // cancelled
        if (entry.grain > grain) {                    // another round
            entries_of(grain).push_back(entry);
            continue;
        }
        --waiting_;
        slots_.take(entry.key)();
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
