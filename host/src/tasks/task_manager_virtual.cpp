#include "task_manager_virtual.h"

#include <algorithm>
#include <utility>

#include "orv/common/exceptions.h"

namespace orv::framework {

namespace {

/// 2000-01-01 00:00:00 UTC.
constexpr std::chrono::seconds kDefaultStart{946'684'800};
/// Larger than every sequence number: no limit.
constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

}  // namespace

void VirtualTaskClock::Start(Nanoseconds start) {
    start_ = start == Nanoseconds::zero() ? Nanoseconds(kDefaultStart) : start;
    now_ = 0;
    queue_ = TimedQueue();  // sequence numbers begin anew: two runs are the same to the last id
    thread_ = std::this_thread::get_id();
    running_ = true;
}

void VirtualTaskClock::Stop() {
    if (!running_) return;
    if (work_depth_ > 0)
        throw common::COrvLogicError("the task manager cannot be stopped by work that it runs");
    running_ = false;
    TimedQueue dropped;
    const std::lock_guard guard(mutex_);
    std::swap(dropped, queue_);
}

void VirtualTaskClock::CheckThread() const {
    ORV_ASSERT(!running_ || thread_ == std::this_thread::get_id(),
               "With the virtual clock only the thread that started it waits");
}

void VirtualTaskClock::Post(std::shared_ptr<CTask> task) {
    PostAfter(Nanoseconds::zero(), [task = std::move(task)] { RunTaskGuarded(*task); });
}

std::uint64_t VirtualTaskClock::PostAfter(Nanoseconds delay, std::function<void()> work) {
    const std::lock_guard guard(mutex_);
    if (!running_) return 0;
    return queue_.Push(GetDeadline(delay), std::move(work));
}

void VirtualTaskClock::CancelTimer(std::uint64_t id) {
    std::function<void()> cancelled;
    const std::lock_guard guard(mutex_);
    cancelled = queue_.Cancel(id);
}

std::uint64_t VirtualTaskClock::GetNextId() const {
    const std::lock_guard guard(mutex_);
    return queue_.GetNextId();
}

void VirtualTaskClock::MoveTo(Nanoseconds time) {
    now_ = std::max(now_.load(), time.count());
}

bool VirtualTaskClock::RunNext(Nanoseconds time, std::uint64_t limit) {
    std::function<void()> work;
    {
        const std::lock_guard guard(mutex_);
        const auto first = queue_.GetFirstTime();
        if (!first || *first > time || (*first == time && queue_.GetFirstId() >= limit)) return false;
        MoveTo(*first);
        work = queue_.PopFirst();
    }
    const TaskLock::Holder held(lock_);
    ++work_depth_;
    RunWorkGuarded(work);
    --work_depth_;
    return true;
}

void VirtualTaskClock::Yield(Nanoseconds time) {
    CheckThread();
    const int depth = lock_.ReleaseAll();
    const Nanoseconds end = GetDeadline(time);
    // A yield of no time runs what is there and not what that posts, or work that posts itself would never
    // end it.
    const std::uint64_t limit = end == GetNow() ? GetNextId() : kNoLimit;
    while (RunNext(end, limit)) {
    }
    MoveTo(end);
    lock_.Reacquire(depth);
}

bool VirtualTaskClock::WaitUntil(const std::function<bool()>& ready, Nanoseconds timeout) {
    CheckThread();
    const TaskLock::Holder held(lock_);
    const Nanoseconds end = GetDeadline(timeout);
    const std::uint64_t limit = end == GetNow() ? GetNextId() : kNoLimit;
    while (!ready()) {
        const int depth = lock_.ReleaseAll();
        const bool ran = RunNext(end, limit);
        lock_.Reacquire(depth);
        if (ran) continue;
        // A wait for ever with nothing left to run cannot move the clock to its end.
        if (end != kForever) MoveTo(end);
        return ready();
    }
    return true;
}

}  // namespace orv::framework
