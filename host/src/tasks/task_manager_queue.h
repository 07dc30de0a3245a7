// Work scheduled at given times.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <unordered_map>

namespace orv::framework {

/// Ordered by (time, sequence): what was posted first runs first among equal times. The sequence number is
/// also the id under which work is cancelled. Not thread-safe.
class TimedQueue {
  public:
    using Nanoseconds = std::chrono::nanoseconds;

    std::uint64_t Push(Nanoseconds time, std::function<void()> work);
    /// The work, so that its caller destroys it without a lock; empty when it has run already or never was.
    std::function<void()> Cancel(std::uint64_t id);

    /// Time of the first entry.
    std::optional<Nanoseconds> GetFirstTime() const;
    /// Sequence number of the first entry; only when there is one.
    std::uint64_t GetFirstId() const { return entries_.begin()->first.second; }
    std::function<void()> PopFirst();

    /// Larger than the id of every entry made so far.
    std::uint64_t GetNextId() const { return next_id_; }
    bool IsEmpty() const { return entries_.empty(); }

  private:
    std::map<std::pair<Nanoseconds, std::uint64_t>, std::function<void()>> entries_;
    std::unordered_map<std::uint64_t, Nanoseconds> times_;
    std::uint64_t next_id_ = 1;
};

}  // namespace orv::framework
