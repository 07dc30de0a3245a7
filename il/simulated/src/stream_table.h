// The multicast streams that reach a port's STBs.
#pragma once

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

    /// Whether a join at that time meets a stream that flows already, or is about to.
    bool flows(std::uint32_t link, std::uint32_t group, Time now) const;
    /// A new member. `first_packet` starts the stream when it does not flow. Returns the time of the stream's
    /// first packet. Times of joins do not go back.
    Time join(std::uint32_t link, std::uint32_t group, Time now, Time first_packet);
    /// A member less. When it was the last one, the stream ends at `last_packet`. Returns whether it was.
    bool leave(std::uint32_t link, std::uint32_t group, Time last_packet);
    /// Streams without members of groups (by index) that are true end now.
    void cut(const std::vector<bool>& groups, Time now);

  private:
    static constexpr std::uint64_t kFree = UINT64_MAX;
    struct Stream {
        std::uint64_t key = kFree;  ///< link and group
        Time first = 0;
        Time end = 0;  ///< no packet then or later; of no meaning while there are members
        std::uint32_t members = 0;

        bool flows(Time now) const;
    };
    static std::uint64_t key_of(std::uint32_t link, std::uint32_t group) {
        return std::uint64_t{link} << 32 | group;
    }
    /// Where the stream is, or is to be put.
    std::size_t slot_of(std::uint64_t key) const;
    void make_room(Time now);

    std::vector<Stream> slots_;  ///< a power of two, half of it free
    int shift_ = 0;              ///< leaves as many bits of a hash as there are slots
    std::size_t used_ = 0;
};

}  // namespace orv::il
