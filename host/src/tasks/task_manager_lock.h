// The task lock: recursive, and granted in the order of asking.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace orv::framework {

/// A std::recursive_mutex would let a thread that gives the lock up and asks again at once win against those
/// that already wait, so that a yield would yield nothing. Here the releasing thread hands the lock to the
/// longest waiter.
class TaskLock {
  public:
    /// A place in the queue. It may be taken by one thread and used by another, which is how posted tasks run
    /// in the order in which they were posted.
    class Place {
      public:
        Place() = default;
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

      private:
        friend class TaskLock;
        bool granted_ = false;
        std::condition_variable changed_;
    };

    /// Holds the lock while it lives.
    class Holder {
      public:
        explicit Holder(TaskLock& lock) : lock_(lock) { lock_.Enter(); }
        ~Holder() { lock_.Exit(); }
        Holder(const Holder&) = delete;
        Holder& operator=(const Holder&) = delete;

      private:
        TaskLock& lock_;
    };

    void Enter();
    /// True when this was the outermost of the holder's entries, so that the lock is now free or another's.
    bool Exit();
    bool IsHeldByThisThread() const;

    /// Queues up for the lock. The place must live until Enter(place) has returned or Leave(place) was
    /// called.
    void Reserve(Place& place);
    /// Waits for a reserved place's turn; the calling thread then holds the lock.
    void Enter(Place& place);
    /// Releases a reserved place.
    void Leave(Place& place);

    /// Releases the lock whatever its depth, and returns the depth; 0 when this thread does not hold it.
    int ReleaseAll();
    void Reacquire(int depth);

  private:
    bool IsMine() const { return depth_ > 0 && owner_ == std::this_thread::get_id(); }
    void ReserveLocked(Place& place);
    void WaitLocked(std::unique_lock<std::mutex>& guard, Place& place);
    void HandOverLocked();

    mutable std::mutex mutex_;
    std::deque<Place*> queue_;
    bool taken_ = false;  ///< held by a thread, or granted to a place whose thread has not noticed yet
    int depth_ = 0;       ///< 0 while not held
    std::thread::id owner_;
};

}  // namespace orv::framework
