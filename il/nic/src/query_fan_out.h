// Tells general queries to all hosts of a link.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <utility>

#include "orv/il/timeline.h"
#include "orv/live/membership_message.h"

namespace orv::nic {

/// Some hosts at a time: while thousands of them set their timers, joins would be late.
class QueryFanOut {
  public:
    using Tell = std::function<void(std::uint32_t stb, const live::MembershipQuery& query)>;

    QueryFanOut(il::ITimeline& timeline, Tell tell) : timeline_(timeline), tell_(std::move(tell)) {}
    ~QueryFanOut() {
        if (timer_ != 0) timeline_.Cancel(timer_);
    }
    QueryFanOut(const QueryFanOut&) = delete;
    QueryFanOut& operator=(const QueryFanOut&) = delete;

    /// The list must stay where it is as long as the fan-out.
    void add(std::span<const std::uint32_t> stbs, const live::MembershipQuery& query) {
        waiting_.push_back({stbs, query, timeline_.GetNow() + query.max_response_time});
        waiting_.back().query.sources = {};  // a general query has none, and they lie in the frame
        if (timer_ == 0) go_on();
    }

  private:
    static constexpr std::size_t kAtOnce = 128;

    struct Waiting {
        std::span<const std::uint32_t> stbs;  ///< not told yet
        live::MembershipQuery query;
        il::Nanoseconds answered_by;
    };

    void go_on() {
        timer_ = 0;
        for (std::size_t left = kAtOnce; left > 0 && !waiting_.empty();) {
            Waiting& first = waiting_.front();
            first.query.max_response_time =
                std::max(first.answered_by - timeline_.GetNow(), il::Nanoseconds(0));
            const auto now = first.stbs.first(std::min(left, first.stbs.size()));
            for (const std::uint32_t stb : now) tell_(stb, first.query);
            left -= now.size();
            first.stbs = first.stbs.subspan(now.size());
            if (first.stbs.empty()) waiting_.pop_front();
        }
        if (!waiting_.empty()) timer_ = timeline_.PostAfter(il::Nanoseconds(0), [this] { go_on(); });
    }

    il::ITimeline& timeline_;
    Tell tell_;
    std::deque<Waiting> waiting_;
    std::uint64_t timer_ = 0;
};

}  // namespace orv::nic
