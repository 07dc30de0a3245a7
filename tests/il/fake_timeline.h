// A clock that stands still until a test moves it.
#pragma once

#include <map>
#include <utility>

#include "orv/il/timeline.h"

namespace testing_aids {

struct FakeTimeline : orv::il::ITimeline {
    using Nanoseconds = orv::il::Nanoseconds;

    Nanoseconds GetNow() const override { return now_; }
    std::uint64_t PostAfter(Nanoseconds delay, std::function<void()> work) override {
        work_[{now_ + delay, ++last_id_}] = std::move(work);
        return last_id_;
    }
    void Cancel(std::uint64_t id) override {
        if (std::erase_if(work_, [id](const auto& entry) { return entry.first.second == id; }) == 0)
            ++vain_cancels_;
    }

    std::size_t GetPending() const { return work_.size(); }
    /// Of what has run or never was.
    int GetVainCancels() const { return vain_cancels_; }
    /// Runs what is due until `time`, and stops there.
    void RunTo(Nanoseconds time) {
        while (!work_.empty() && work_.begin()->first.first <= time) {
            const auto first = work_.extract(work_.begin());
            now_ = first.key().first;
            first.mapped()();
        }
        now_ = time;
    }

  private:
    Nanoseconds now_{};
    std::uint64_t last_id_ = 0;
    int vain_cancels_ = 0;
    std::map<std::pair<Nanoseconds, std::uint64_t>, std::function<void()>> work_;
};

}  // namespace testing_aids
