#include "task_manager_real.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "log/framework_log.h"
#include "orv/common/exceptions.h"

namespace orv::framework {

namespace {

std::chrono::steady_clock::time_point ToTimePoint(std::chrono::nanoseconds time) {
    return std::chrono::steady_clock::time_point(time);
}

template <class Ready>
void WaitFor(std::condition_variable& changed, std::unique_lock<std::mutex>& guard,
             std::chrono::nanoseconds deadline, Ready ready) {
    if (deadline == std::chrono::nanoseconds::max()) {
        changed.wait(guard, ready);
    } else {
        changed.wait_until(guard, ToTimePoint(deadline), ready);
    }
}

/// Counts waiting threads, so that nothing is notified while none waits.
class Counted {
  public:
    explicit Counted(std::atomic<int>& count) : count_(count) { ++count_; }
    ~Counted() { --count_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

  private:
    std::atomic<int>& count_;
};

}  // namespace

void RealTaskClock::Start(Nanoseconds) {
    stopping_ = false;
    end_messages_ = false;
    message_thread_ = std::thread([this] { RunMessages(); });
    running_ = true;
}

void RealTaskClock::Stop() {
    if (!running_) return;
    if (GetTaskOfThisThread() || IsMessageThread()) {
        throw common::COrvLogicError("the task manager cannot be stopped by work that it runs");
    }
    const int depth = lock_.ReleaseAll();
    stopping_ = true;
    for (;;) {
        std::list<TaskThread> last;
        {
            const std::lock_guard guard(tasks_mutex_);
            if (tasks_.empty()) break;
            last.splice(last.begin(), tasks_, tasks_.begin());
        }
        last.front().thread.join();
    }
    // Last: until here tasks may have been waiting for messages.
    {
        const std::lock_guard guard(mutex_);
        running_ = false;
        end_messages_ = true;
        work_changed_.notify_all();
    }
    message_thread_.join();
    message_thread_id_ = std::thread::id{};
    TimedQueue dropped;
    {
        const std::lock_guard guard(mutex_);
        std::swap(dropped, queue_);
    }
    lock_.Reacquire(depth);
}

void RealTaskClock::Post(std::shared_ptr<CTask> task) {
    JoinEndedTasks();
    const std::lock_guard guard(tasks_mutex_);
    if (stopping_)
        return LogDebug(
            [&] { return fmt::format("task \"{}\" is dropped: the host stops", task->GetName()); });
    TaskThread& entry = tasks_.emplace_back();
    lock_.Reserve(entry.place);
    try {
        entry.thread = std::thread(
            [this, &entry, task = std::move(task)]() mutable { RunTask(entry, std::move(task)); });
    } catch (const std::system_error& error) {
        lock_.Leave(entry.place);
        tasks_.pop_back();
        throw common::COrvRunTimeError(fmt::format("cannot start a thread for a task: {}", error.what()));
    }
}

void RealTaskClock::RunTask(TaskThread& self, std::shared_ptr<CTask> task) {
    lock_.Enter(self.place);
    if (!stopping_) RunTaskGuarded(*task);
    task.reset();  // under the lock: what the task refers to may be in use elsewhere
    lock_.Exit();
    OnLockReleased();
    const std::lock_guard guard(tasks_mutex_);
    self.ended = true;
}

void RealTaskClock::JoinEndedTasks() {
    std::list<TaskThread> ended;
    {
        const std::lock_guard guard(tasks_mutex_);
        for (auto task = tasks_.begin(); task != tasks_.end();) {
            const auto next = std::next(task);
            if (task->ended) ended.splice(ended.end(), tasks_, task);
            task = next;
        }
    }
    for (TaskThread& task : ended) task.thread.join();
}

std::uint64_t RealTaskClock::PostAfter(Nanoseconds delay, std::function<void()> work) {
    const std::lock_guard guard(mutex_);
    if (!running_) return 0;
    // The time is read under the mutex, so that equal delays come out in the order of posting.
    const std::uint64_t id = queue_.Push(GetDeadline(delay), std::move(work));
    if (queue_.GetFirstId() == id) work_changed_.notify_all();
    return id;
}

void RealTaskClock::CancelTimer(std::uint64_t id) {
    std::function<void()> cancelled;
    const std::lock_guard guard(mutex_);
    cancelled = queue_.Cancel(id);
}

void RealTaskClock::RunOneDue() {
    // The lock first: what the lock holder cancels meanwhile must not run.
    lock_.Enter();
    std::function<void()> work;
    {
        const std::lock_guard guard(mutex_);
        const auto first = queue_.GetFirstTime();
        if (first && *first <= GetNow()) work = queue_.PopFirst();
    }
    if (work) RunWorkGuarded(work);
    work = nullptr;  // under the lock: what the work refers to may be in use elsewhere
    lock_.Exit();
    OnLockReleased();
}

template <class Condition>
bool RealTaskClock::WaitForWork(Guard& guard, Nanoseconds deadline, Condition stop) {
    while (!stop()) {
        const auto first = queue_.GetFirstTime();
        const Nanoseconds now = GetNow();
        if (first && *first <= now) return true;
        if (deadline <= now) return false;
        const Nanoseconds until = first ? std::min(*first, deadline) : deadline;
        if (until == kForever) {
            work_changed_.wait(guard);
        } else {
            work_changed_.wait_until(guard, ToTimePoint(until));
        }
    }
    return false;
}

void RealTaskClock::RunMessages() {
    message_thread_id_ = std::this_thread::get_id();
    Guard guard(mutex_);
    while (!end_messages_) {
        if (!WaitForWork(guard, kForever, [this] { return end_messages_; })) continue;
        guard.unlock();
        RunOneDue();
        guard.lock();
    }
}

void RealTaskClock::Yield(Nanoseconds time) {
    // CutYield runs under the lock: the task is registered before it is released.
    CTask* const task = IsMessageThread() ? nullptr : GetTaskOfThisThread();
    if (task) {
        const std::lock_guard guard(yields_mutex_);
        yields_[task] = false;
    }
    const int depth = lock_.ReleaseAll();
    OnLockReleased();
    if (IsMessageThread()) {
        const Nanoseconds deadline = GetDeadline(time);
        do {
            RunOneDue();
            Guard guard(mutex_);
            WaitForWork(guard, deadline, [] { return false; });
        } while (GetNow() < deadline);
    } else if (task && time > Nanoseconds::zero()) {
        std::unique_lock guard(yields_mutex_);
        yield_cut_.wait_until(guard, ToTimePoint(GetDeadline(time)), [this, task] { return yields_[task]; });
    } else if (time > Nanoseconds::zero()) {
        std::this_thread::sleep_for(time);
    } else {
        std::this_thread::yield();
    }
    if (task) {
        const std::lock_guard guard(yields_mutex_);
        yields_.erase(task);
    }
    lock_.Reacquire(depth);
}

void RealTaskClock::CutYield(const CTask* task) {
    const std::lock_guard guard(yields_mutex_);
    const auto yield = yields_.find(task);
    if (yield == yields_.end()) return;
    yield->second = true;
    yield_cut_.notify_all();
}

bool RealTaskClock::WaitUntil(const std::function<bool()>& ready, Nanoseconds timeout) {
    const TaskLock::Holder held(lock_);
    const Nanoseconds deadline = GetDeadline(timeout);
    // Only on entry: two waiters that notified each other at every check would never sleep.
    OnLockReleased();
    const Counted counted(waiters_);
    for (;;) {
        Guard guard(mutex_);
        const std::uint64_t seen = generation_;
        const auto changed = [this, seen] { return generation_ != seen; };
        guard.unlock();
        if (ready()) return true;
        if (GetNow() >= deadline) return false;

        const int depth = lock_.ReleaseAll();
        guard.lock();
        if (IsMessageThread()) {
            const bool due = WaitForWork(guard, deadline, changed);
            guard.unlock();
            if (due) RunOneDue();
        } else {
            WaitFor(state_changed_, guard, deadline, changed);
            guard.unlock();
        }
        lock_.Reacquire(depth);
    }
}

void RealTaskClock::Wake() {
    const std::lock_guard guard(mutex_);
    ++generation_;
    state_changed_.notify_all();
    work_changed_.notify_all();
}

void RealTaskClock::OnLockReleased() {
    if (waiters_ > 0) Wake();
}

RealTaskClock::Nanoseconds RealTaskClock::GetNow() const {
    return std::chrono::steady_clock::now().time_since_epoch();
}

RealTaskClock::Nanoseconds RealTaskClock::GetSystemTime() const {
    return std::chrono::system_clock::now().time_since_epoch();
}

}  // namespace orv::framework
