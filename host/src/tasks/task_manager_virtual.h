// The virtual clock.
#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "task_manager_clock.h"
#include "task_manager_queue.h"

namespace orv::framework {

/// Everything runs on the thread that started the clock, whenever that thread waits. Work that waits runs
/// other work within its own wait, so it goes on only when that has ended.
class VirtualTaskClock : public TaskClock {
  public:
    using TaskClock::TaskClock;

    void Start(Nanoseconds start) override;
    void Stop() override;
    bool IsRunning() const override { return running_; }

    void Post(std::shared_ptr<CTask> task) override;
    std::uint64_t PostAfter(Nanoseconds delay, std::function<void()> work) override;
    void CancelTimer(std::uint64_t id) override;

    void Yield(Nanoseconds time) override;
    void CutYield(const CTask*) override {}
    bool WaitUntil(const std::function<bool()>& ready, Nanoseconds timeout) override;
    void Wake() override {}
    void OnLockReleased() override {}

    Nanoseconds GetNow() const override { return Nanoseconds(now_); }
    Nanoseconds GetSystemTime() const override { return start_ + GetNow(); }

  private:
    /// Runs the first entry if it is due by `time` and, at exactly that time, was posted before `limit`.
    bool RunNext(Nanoseconds time, std::uint64_t limit);
    void MoveTo(Nanoseconds time);
    std::uint64_t GetNextId() const;
    void CheckThread() const;

    mutable std::mutex mutex_;
    TimedQueue queue_;
    std::atomic<bool> running_ = false;
    std::atomic<std::int64_t> now_ = 0;  ///< nanoseconds since the start
    Nanoseconds start_{};
    std::thread::id thread_;
    int work_depth_ = 0;  ///< pieces of work that run within each other
};

}  // namespace orv::framework
