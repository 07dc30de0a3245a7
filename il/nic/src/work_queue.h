// The port's clock and timers.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <utility>

#include "clock_bridge.h"
#include "orv/il/timeline.h"

namespace orv::nic {

/// Timers of one thread, in order of time, equal times in the order in which they were set.
class WorkQueue : public il::ITimeline {
  public:
    il::Nanoseconds GetNow() const override { return il::Nanoseconds(get_monotonic_time()); }
    std::uint64_t PostAfter(il::Nanoseconds delay, std::function<void()> work) override {
        const std::uint64_t id = ++last_id_;
        const il::Time due = get_monotonic_time() + std::max<il::Time>(delay.count(), 0);
        work_.emplace(std::pair(due, id), std::move(work));
        due_.emplace(id, due);
        return id;
    }
    void Cancel(std::uint64_t id) override {
        const auto found = due_.find(id);
        if (found == due_.end()) return;
        work_.erase({found->second, id});
        due_.erase(found);
    }

    /// When the first work is due; kNever when there is none.
    il::Time next() const { return work_.empty() ? il::kNever : work_.begin()->first.first; }
    /// Runs the first work.
    void run_next() {
        const auto first = work_.begin();
        const auto work = std::move(first->second);
        due_.erase(first->first.second);
        work_.erase(first);
        work();
    }

  private:
    std::uint64_t last_id_ = 0;
    std::map<std::pair<il::Time, std::uint64_t>, std::function<void()>> work_;
    std::unordered_map<std::uint64_t, il::Time> due_;
};

}  // namespace orv::nic
