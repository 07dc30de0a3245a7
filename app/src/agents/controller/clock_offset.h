// How far an agent's clocks are ahead of ours.
#pragma once

#include <algorithm>
#include <chrono>
#include <deque>

namespace orv::app {

/// From questions and their answers. The answer's time lies between those of the question and of its arrival:
/// the shorter the round trip, the better is known when. The best of the latest samples counts, because
/// clocks drift.
class ClockOffset {
  public:
    using Nanoseconds = std::chrono::nanoseconds;
    struct Estimate {
        Nanoseconds offset{};      ///< the agent's time minus ours
        Nanoseconds round_trip{};  ///< the offset is exact to half of it
        Nanoseconds GetUncertainty() const { return round_trip / 2; }
    };

    void Add(Nanoseconds asked, Nanoseconds answered, Nanoseconds agent_time) {
        samples_.push_back({agent_time - asked - (answered - asked) / 2, answered - asked});
        if (samples_.size() > kSamples) samples_.pop_front();
    }
    /// All 0 before the first sample.
    Estimate Get() const {
        const auto best =
            std::min_element(samples_.begin(), samples_.end(),
                             [](const auto& a, const auto& b) { return a.round_trip < b.round_trip; });
        return best == samples_.end() ? Estimate{} : *best;
    }

  private:
    static constexpr std::size_t kSamples = 16;
    std::deque<Estimate> samples_;
};

}  // namespace orv::app
