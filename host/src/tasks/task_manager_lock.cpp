#include "task_manager_lock.h"

#include <algorithm>

#include "orv/common/exceptions.h"

namespace orv::framework {

void TaskLock::Enter() {
    std::unique_lock guard(mutex_);
    if (IsMine()) {
        ++depth_;
        return;
    }
    Place place;
    ReserveLocked(place);
    WaitLocked(guard, place);
}

bool TaskLock::Exit() {
    const std::lock_guard guard(mutex_);
    ORV_ASSERT(IsMine(), "The task lock is released by the thread that holds it");
    if (--depth_ > 0) return false;
    HandOverLocked();
    return true;
}

bool TaskLock::IsHeldByThisThread() const {
    const std::lock_guard guard(mutex_);
    return IsMine();
}

void TaskLock::Reserve(Place& place) {
    const std::lock_guard guard(mutex_);
    ReserveLocked(place);
}

void TaskLock::Enter(Place& place) {
    std::unique_lock guard(mutex_);
    WaitLocked(guard, place);
}

void TaskLock::Leave(Place& place) {
    const std::lock_guard guard(mutex_);
    if (place.granted_) {
        HandOverLocked();
    } else {
        std::erase(queue_, &place);
    }
}

int TaskLock::ReleaseAll() {
    const std::lock_guard guard(mutex_);
    if (!IsMine()) return 0;
    const int depth = depth_;
    depth_ = 0;
    HandOverLocked();
    return depth;
}

void TaskLock::Reacquire(int depth) {
    if (depth == 0) return;
    std::unique_lock guard(mutex_);
    ORV_ASSERT(!IsMine(), "The task lock is taken again by a thread that has given it up");
    Place place;
    ReserveLocked(place);
    WaitLocked(guard, place);
    depth_ = depth;
}

void TaskLock::ReserveLocked(Place& place) {
    if (taken_) {
        queue_.push_back(&place);
    } else {
        taken_ = true;
        place.granted_ = true;
    }
}

void TaskLock::WaitLocked(std::unique_lock<std::mutex>& guard, Place& place) {
    place.changed_.wait(guard, [&place] { return place.granted_; });
    owner_ = std::this_thread::get_id();
    depth_ = 1;
}

void TaskLock::HandOverLocked() {
    if (queue_.empty()) {
        taken_ = false;
        return;
    }
    Place& next = *queue_.front();
    queue_.pop_front();
    next.granted_ = true;
    next.changed_.notify_one();  // under the mutex: the place may be gone once it is released
}

}  // namespace orv::framework
