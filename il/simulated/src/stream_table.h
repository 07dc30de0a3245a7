// The multicast streams that reach a port's STBs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "orv/il/time.h"

namespace orv::il {

/// One stream per link (VLAN and PPP session) and group. It flows from its first packet until some time after
/// the last of its members has left; a join meanwhile keeps it flowing. A hash table with room for the
/// streams that flow: there may be many more pairs of link and group.
class StreamTable {
  public:
    StreamTable();

    /// Whether a join at that time finds a stream that flows already or is about to.
    bool flows(std::uint32_t link, std::uint32_t group, Time now) const {
        return slots_[slot_of(key_of(link, group))].flows(now);
    }
    /// Adds a member. `first_packet` starts the stream if it does not flow. Returns the time of the stream's
    /// first packet. Times of joins must not decrease.
    Time join(std::uint32_t link, std::uint32_t group, Time now, Time first_packet);
    /// Removes a member. If it was the last one, the stream ends at `last_packet`. Returns whether it was.
    bool leave(std::uint32_t link, std::uint32_t group, Time last_packet) {
        Stream& stream = slots_[slot_of(key_of(link, group))];
        if (--stream.members > 0) return false;
        stream.end = last_packet;
        return true;
    }
    /// Ends the streams without members of all groups that are true in the list (by index).
    void cut(const std::vector<bool>& groups, Time now);

  private:
    static constexpr std::uint64_t kFree = UINT64_MAX;
    struct Stream {
        std::uint64_t key = kFree;  ///< link and group
        Time first = 0;
        Time end = 0;  ///< no packets from then on; unused while there are members
        std::uint32_t members = 0;

        bool flows(Time now) const {
            // The stream was left, and ended, before its first packet: it never came.
            return members > 0 || (now < end && first < end);
        }
    };
    static std::uint64_t key_of(std::uint32_t link, std::uint32_t group) {
        return std::uint64_t{link} << 32 | group;
    }
    /// The slot of a stream, or a free slot for it.
    std::size_t slot_of(std::uint64_t key) const {
        const std::size_t mask = slots_.size() - 1;
        std::size_t slot =
            (key * 0x9e3779b97f4a7c15U) >> shift_;  // Fibonacci hashing: the upper bits are good
        while (slots_[slot].key != key && slots_[slot].key != kFree) slot = (slot + 1) & mask;
        return slot;
    }
    void make_room(Time now);

    std::vector<Stream> slots_;  ///< size is a power of two; at least half are free
    int shift_ = 0;              ///< reduces a hash to the index of a slot
    std::size_t used_ = 0;
};

}  // namespace orv::il
