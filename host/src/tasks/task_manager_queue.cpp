#include "task_manager_queue.h"

#include <utility>

namespace orv::framework {

std::uint64_t TimedQueue::Push(Nanoseconds time, std::function<void()> work) {
    const std::uint64_t id = next_id_++;
    entries_.emplace(std::make_pair(time, id), std::move(work));
    times_.emplace(id, time);
    return id;
}

std::function<void()> TimedQueue::Cancel(std::uint64_t id) {
    const auto time = times_.find(id);
    if (time == times_.end()) return {};
    const auto entry = entries_.find({time->second, id});
    std::function<void()> work = std::move(entry->second);
    entries_.erase(entry);
    times_.erase(time);
    return work;
}

std::optional<TimedQueue::Nanoseconds> TimedQueue::GetFirstTime() const {
    if (entries_.empty()) return std::nullopt;
    return entries_.begin()->first.first;
}

std::function<void()> TimedQueue::PopFirst() {
    const auto first = entries_.begin();
    std::function<void()> work = std::move(first->second);
    times_.erase(first->first.second);
    entries_.erase(first);
    return work;
}

}  // namespace orv::framework
