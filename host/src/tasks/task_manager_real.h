// The real clock.
#pragma once

#include <atomic>
#include <condition_variable>
#include <list>
#include <map>
#include <mutex>
#include <thread>

#include "task_manager_clock.h"
#include "task_manager_queue.h"

namespace orv::framework {

/// Each task has a thread; one message thread runs the timed work. All of them take the task lock.
///
/// The message thread may wait, too (a delegate that asks a port and waits for the answer): it then goes on
/// with the work that falls due, since no other thread would.
class RealTaskClock : public TaskClock {
  public:
    using TaskClock::TaskClock;

    void Start(Nanoseconds start) override;
    void Stop() override;
    bool IsRunning() const override { return running_; }

    void Post(std::shared_ptr<CTask> task) override;
    std::uint64_t PostAfter(Nanoseconds delay, std::function<void()> work) override;
    void CancelTimer(std::uint64_t id) override;

    void Yield(Nanoseconds time) override;
    void CutYield(const CTask* task) override;
    bool WaitUntil(const std::function<bool()>& ready, Nanoseconds timeout) override;
    void Wake() override;
    void OnLockReleased() override;

    Nanoseconds GetNow() const override;
    Nanoseconds GetSystemTime() const override;

  private:
    struct TaskThread {
        TaskLock::Place place;
        std::thread thread;
        bool ended = false;
    };
    using Guard = std::unique_lock<std::mutex>;

    void RunTask(TaskThread& self, std::shared_ptr<CTask> task);
    void JoinEndedTasks();
    void RunMessages();
    /// Runs the first piece of work if it is due.
    void RunOneDue();
    /// Waits until work is due (true), the deadline has passed or `stop()` is true (false).
    template <class Condition>
    bool WaitForWork(Guard& guard, Nanoseconds deadline, Condition stop);
    bool IsMessageThread() const { return message_thread_id_ == std::this_thread::get_id(); }

    std::atomic<bool> running_ = false;
    std::atomic<bool> stopping_ = false;

    std::mutex tasks_mutex_;
    std::list<TaskThread> tasks_;

    std::mutex yields_mutex_;
    std::map<const CTask*, bool> yields_;  ///< of the tasks that yield: whether theirs has been cut
    std::condition_variable yield_cut_;

    std::mutex mutex_;  ///< of everything below
    TimedQueue queue_;
    std::uint64_t generation_ = 0;  ///< counts the wake-ups of waiters
    bool end_messages_ = false;
    std::condition_variable work_changed_;   ///< the message thread waits here
    std::condition_variable state_changed_;  ///< all other waiters
    std::atomic<int> waiters_ = 0;
    std::thread message_thread_;
    std::atomic<std::thread::id> message_thread_id_;
};

}  // namespace orv::framework
