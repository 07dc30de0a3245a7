// Several threads for the runs of several ports.
#pragma once

#include <cstddef>
#include <memory>

#include "orv/il/time.h"

namespace orv::il {

/// Lets runs that are due at the same time process their events on several threads. Between two wake-ups a
/// run depends on nothing but itself, so results do not depend on the number of threads. What runs report is
/// sent by the timeline's thread, port by port, as without a pool.
class RunPool {
  public:
    /// A port's part in a pool.
    class Member {
      public:
        virtual ~Member() = default;
        /// When the run is to be processed next; kNever if it is not.
        virtual Time due() const = 0;
        /// Processes the run until it was due; afterwards it is due later, or never. Called on any thread,
        /// while the timeline's waits. Must not throw.
        virtual void process() noexcept = 0;
        /// About how many views process() will end.
        virtual std::size_t expected_views() const = 0;
    };

    /// `threads`: at most so many, the caller's included.
    explicit RunPool(std::size_t threads);
    /// As many threads as there are cores.
    RunPool();
    ~RunPool();
    RunPool(const RunPool&) = delete;
    RunPool& operator=(const RunPool&) = delete;

    /// All operations are for the timeline's thread. A member is removed before it is destroyed.
    void add(Member& member);
    void remove(Member& member);
    /// Processes all members that are due until `now`.
    void process(Time now);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::il
