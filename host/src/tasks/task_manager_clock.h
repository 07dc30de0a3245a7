// What the two kinds of clock have in common: when posted work runs, and what waiting means.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

#include "orv/framework/task_manager.h"
#include "task_manager_lock.h"

namespace orv::framework {

/// The operations of the same names of CTaskManager.
class TaskClock {
  public:
    using Nanoseconds = std::chrono::nanoseconds;

    explicit TaskClock(TaskLock& lock) : lock_(lock) {}
    TaskClock(const TaskClock&) = delete;
    TaskClock& operator=(const TaskClock&) = delete;
    virtual ~TaskClock() = default;

    virtual void Start(Nanoseconds start) = 0;
    virtual void Stop() = 0;
    virtual bool IsRunning() const = 0;

    virtual void Post(std::shared_ptr<CTask> task) = 0;
    virtual std::uint64_t PostAfter(Nanoseconds delay, std::function<void()> work) = 0;
    virtual void CancelTimer(std::uint64_t id) = 0;

    virtual void Yield(Nanoseconds time) = 0;
    virtual void CutYield(const CTask* task) = 0;
    virtual bool WaitUntil(const std::function<bool()>& ready, Nanoseconds timeout) = 0;
    virtual void Wake() = 0;
    /// A thread has released the lock, so conditions of waiters may have become true.
    virtual void OnLockReleased() = 0;

    virtual Nanoseconds GetNow() const = 0;
    virtual Nanoseconds GetSystemTime() const = 0;

  protected:
    /// The end of a time span from now; a span too long to be added means for ever.
    Nanoseconds GetDeadline(Nanoseconds span) const {
        const Nanoseconds now = GetNow();
        return span > kForever - now ? kForever : now + std::max(span, Nanoseconds::zero());
    }

    static constexpr Nanoseconds kForever = Nanoseconds::max();
    TaskLock& lock_;
};

/// Runs a task or a piece of work; what it throws is logged and goes no further.
void RunTaskGuarded(CTask& task);
void RunWorkGuarded(const std::function<void()>& work);

/// The task that runs on this thread.
CTask* GetTaskOfThisThread();

}  // namespace orv::framework
