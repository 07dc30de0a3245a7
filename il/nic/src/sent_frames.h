// Frames that were sent and have not yet been seen leaving the interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>

#include "hash.h"

namespace orv::nic {

/// Frames are recognised by their bytes; of equal ones, the first that was sent leaves first.
template <class Ticket>
class SentFrames {
  public:
    void add(std::span<const std::byte> frame, il::Time now, const Ticket& ticket) {
        waiting_.push_back({hash_of(frame, 0), now, ticket});
    }

    /// The ticket of a frame seen leaving; none if it is not one of ours.
    std::optional<Ticket> take(std::span<const std::byte> frame) {
        const std::uint64_t hash = hash_of(frame, 0);
        // Frames leave in the order in which they were sent, so it is one of the first.
        for (auto at = waiting_.begin(); at != waiting_.end(); ++at) {
            if (at->hash != hash) continue;
            const Ticket ticket = at->ticket;
            waiting_.erase(at);
            return ticket;
        }
        return {};
    }

    /// The next ticket of a frame that was sent before `time`, if there is one.
    std::optional<Ticket> take_sent_before(il::Time time) {
        if (waiting_.empty() || waiting_.front().sent >= time) return {};
        const Ticket ticket = waiting_.front().ticket;
        waiting_.pop_front();
        return ticket;
    }

    bool empty() const { return waiting_.empty(); }

  private:
    struct Sent {
        std::uint64_t hash;
        il::Time sent;
        Ticket ticket;
    };
    std::deque<Sent> waiting_;
};

}  // namespace orv::nic
