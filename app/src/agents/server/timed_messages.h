// Messages on their way to a port, some of which wait for their time.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <utility>
#include <vector>

#include "orv/framework/task_manager.h"

namespace orv::app {

/// Passes messages on in their order: one that waits holds up those behind it. Used under the task lock.
class TimedMessages {
  public:
    using Nanoseconds = std::chrono::nanoseconds;
    using Bytes = std::vector<std::byte>;

    explicit TimedMessages(std::function<void(const Bytes&)> pass) : pass_(std::move(pass)) {}
    ~TimedMessages() { framework::CTaskManager::Instance().CancelTimer(timer_); }
    TimedMessages(const TimedMessages&) = delete;
    TimedMessages& operator=(const TimedMessages&) = delete;

    /// `time` is of the steady clock; 0: at once.
    void Add(Nanoseconds time, Bytes message) {
        waiting_.emplace_back(time, std::move(message));
        if (waiting_.size() == 1) Pass();
    }
    /// How much too late a message with a time was passed at most.
    Nanoseconds GetLatest() const { return latest_; }

  private:
    /// A port is a little late, always; that is no news.
    static constexpr std::chrono::milliseconds kUnnoticed{1};
    /// Nobody's clock is that wrong; a message must not wait forever.
    static constexpr std::chrono::seconds kLongestWait{10};

    void Pass() {
        timer_ = 0;
        while (!waiting_.empty()) {
            const Nanoseconds time = waiting_.front().first;
            const Nanoseconds late = std::chrono::steady_clock::now().time_since_epoch() - time;
            if (time != Nanoseconds::zero() && late < Nanoseconds::zero() && late > -kLongestWait) {
                timer_ = framework::CTaskManager::Instance().PostAfter(-late, [this] { Pass(); });
                return;
            }
            if (time != Nanoseconds::zero() && late > kUnnoticed) latest_ = std::max(latest_, late);
            const Bytes passed = std::move(waiting_.front().second);
            waiting_.pop_front();
            pass_(passed);
        }
    }

    const std::function<void(const Bytes&)> pass_;
    std::deque<std::pair<Nanoseconds, Bytes>> waiting_;
    Nanoseconds latest_{};
    std::uint64_t timer_ = 0;  ///< id of the task manager
};

}  // namespace orv::app
