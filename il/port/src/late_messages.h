// Messages that a fault holds back.
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "orv/il/timeline.h"

namespace orv::il {

/// What has not been sent when it is destroyed is not sent any more.
class LateMessages {
  public:
    explicit LateMessages(ITimeline& timeline) : timeline_(timeline) {}
    LateMessages(const LateMessages&) = delete;
    LateMessages& operator=(const LateMessages&) = delete;
    ~LateMessages() { clear(); }

    /// Without a delay at once, within the call.
    template <typename Send>
    void send_after(std::uint32_t delay_ms, Send send) {
        if (delay_ms == 0) return send();
        const std::uint64_t number = ++last_;
        timers_[number] =
            timeline_.PostAfter(std::chrono::milliseconds(delay_ms), [this, number, send = std::move(send)] {
                Send work = send;  // this one ends with its timer
                timers_.erase(number);
                work();
            });
    }
    void clear() {
        for (const auto& [number, timer] : timers_) timeline_.Cancel(timer);
        timers_.clear();
    }

  private:
    ITimeline& timeline_;
    std::map<std::uint64_t, std::uint64_t> timers_;
    std::uint64_t last_ = 0;
};

}  // namespace orv::il
