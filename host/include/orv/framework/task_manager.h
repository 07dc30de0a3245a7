// Threads, the task lock and time: everything that waits or reads a clock uses the task manager.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace orv::framework {

/// Real: tasks run on threads of their own, one at a time under the task lock; messages and timers arrive on
/// the message thread, which takes the lock to deliver. Virtual: one thread only; a wait runs all work that
/// is due, in the order of (time, sequence), and advances the clock, so that a ten-minute test takes a second
/// and always has the same results.
enum class ClockKind { Real, Virtual };

/// Work that runs under the task lock.
class CTask {
  public:
    virtual ~CTask();
    virtual void Run() = 0;
    virtual const std::string& GetName() const = 0;
};

class CTaskManager {
  public:
    using Nanoseconds = std::chrono::nanoseconds;

    static CTaskManager& Instance();

    /// Chooses the clock; no task may be running. The virtual clock starts at 2000-01-01 00:00:00 UTC, or at
    /// `start` (time since 1970).
    void Start(ClockKind kind, Nanoseconds start = Nanoseconds::zero());
    /// Waits for running tasks to end (they should have been cancelled), drops posted work and stops the
    /// threads.
    void Stop();
    ClockKind GetClockKind() const;

    /// Runs a task: on a thread of its own (real), or at the next wait (virtual). An exception out of a task
    /// is logged.
    void Post(std::shared_ptr<CTask> task);
    void Post(const std::string& name, std::function<void()> work);
    /// Runs work under the task lock once `delay` has passed: on the message thread (real), or when a wait
    /// reaches that time (virtual). Work with equal times runs in the order in which it was posted. Returns
    /// an id for CancelTimer. May be called from any thread; it does not need the lock.
    std::uint64_t PostAfter(Nanoseconds delay, std::function<void()> work);
    void CancelTimer(std::uint64_t id);

    /// The task lock; recursive per thread. With the virtual clock it only counts.
    void CtmEnter();
    void CtmExit();
    bool IsLockHeld() const;
    /// Gives the lock up for at least `milliseconds` (0: lets others run once) so that other tasks and
    /// messages can run, and takes it again. `task` and `now` are accepted for callers that pass them: the
    /// waiting task is always the current one.
    void CtmYield(int milliseconds, CTask* task = nullptr, bool now = false);
    /// Ends the yield in which `task` is with the real clock, so that it checks its state at once. A
    /// task that does not yield, or no longer exists, is not affected. Does nothing with the virtual clock.
    void CutYield(const CTask* task);
    /// Yields until `ready()` (called under the lock) is true or the time has passed; returns the last
    /// answer.
    bool WaitUntil(const std::function<bool()>& ready, Nanoseconds timeout);
    /// Makes waiters check their condition again.
    void Wake();
    /// The task that runs on this thread, or null.
    CTask* CtmGetCurrentTask() const;

    /// Monotonic time.
    Nanoseconds GetNow() const;
    /// Time since 1970-01-01 UTC, for dates that people read.
    Nanoseconds GetSystemTime() const;

  private:
    friend class CtmReverseLock;
    CTaskManager();
    ~CTaskManager();
    /// Gives the lock up whatever its depth, and takes it again to that depth.
    int ReleaseAll();
    void Reacquire(int depth);

    struct Impl;
    std::unique_ptr<Impl> impl_;
};

/// Holds the task lock while it lives.
class CtmLock {
  public:
    CtmLock() { CTaskManager::Instance().CtmEnter(); }
    ~CtmLock() { CTaskManager::Instance().CtmExit(); }
    CtmLock(const CtmLock&) = delete;
    CtmLock& operator=(const CtmLock&) = delete;
};

/// Releases the task lock as long as it exists: a thread waits for another mutex without the task lock, and
/// takes it again once the mutex is held (Retake), so that two threads never wait for each other's lock.
class CtmReverseLock {
  public:
    CtmReverseLock() : depth_(CTaskManager::Instance().ReleaseAll()) {}
    ~CtmReverseLock() { Retake(); }
    CtmReverseLock(const CtmReverseLock&) = delete;
    CtmReverseLock& operator=(const CtmReverseLock&) = delete;
    void Retake() {
        if (depth_ > 0) CTaskManager::Instance().Reacquire(depth_);
        depth_ = 0;
    }

  private:
    int depth_;
};

class CTimer {
  public:
    /// Seconds since 1970-01-01 UTC, by the task manager's clock.
    static double GetCurrentSystemTimeInSec();
};

class CThread {
  public:
    static std::uint64_t GetCurrentThreadId();
};

}  // namespace orv::framework
