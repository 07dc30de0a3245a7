#include "lab_relay/delay_queue.h"

#include <algorithm>
#include <utility>

namespace orv::lab {

bool DelayQueue::Push(const Frame& frame, Nanoseconds arrival) {
    if (frames_.size() >= kMostFrames) return false;
    frames_.push_back({arrival + delay_, frame});
    if (percent_ > 0 && frames_.size() > 1 && random_() % 100 < percent_) {
        std::swap(frames_.end()[-1].frame, frames_.end()[-2].frame);
    }
    return true;
}

std::optional<Nanoseconds> DelayQueue::NextTime() const {
    if (frames_.empty()) return std::nullopt;
    return frames_.front().time;
}

std::size_t DelayQueue::CountDue(Nanoseconds now, std::size_t most) const {
    std::size_t due = 0;
    most = std::min(most, frames_.size());
    while (due < most && frames_[due].time <= now) ++due;
    return due;
}

void DelayQueue::Pop(std::size_t count) {
    frames_.erase(frames_.begin(), frames_.begin() + static_cast<std::ptrdiff_t>(count));
}

}  // namespace orv::lab
