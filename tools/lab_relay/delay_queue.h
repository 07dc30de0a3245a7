// Frames that wait until their time has come.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <random>

#include "lab_common/clock.h"
#include "lab_common/frame.h"

namespace orv::lab {

/// In at one end, out at the other `delay` later.
class DelayQueue {
  public:
    /// Capacity.
    static constexpr std::size_t kMostFrames = 200'000;

    /// Percentage of frames that overtake the frame before them, if that still waits.
    DelayQueue(Nanoseconds delay, unsigned reorder_percent) : delay_(delay), percent_(reorder_percent) {}

    /// `arrival` never goes back, whatever clock it is of. Returns false, and forgets the frame, when the
    /// queue is full.
    bool Push(const Frame& frame, Nanoseconds arrival);
    /// When the first frame has to go.
    std::optional<Nanoseconds> NextTime() const;
    /// The first `count` frames, oldest first, are `at(0)` and so on.
    const Frame& at(std::size_t index) const { return frames_[index].frame; }
    /// How many of the first `most` frames have to go by `now`.
    std::size_t CountDue(Nanoseconds now, std::size_t most) const;
    /// Forgets the first `count` frames.
    void Pop(std::size_t count);

  private:
    struct Waiting {
        Nanoseconds time;
        Frame frame;
    };

    Nanoseconds delay_;
    unsigned percent_;
    std::minstd_rand random_;  // the same in each run
    std::deque<Waiting> frames_;
};

}  // namespace orv::lab
