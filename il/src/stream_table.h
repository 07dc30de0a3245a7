// The multicast streams that reach a port's STBs.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "random.h"

namespace orv::il {

/// One stream per link (VLAN and PPP session) and group. It flows from its first packet until some time after
/// the last of its members has left; whoever joins meanwhile keeps it flowing.
class StreamTable {
  public:
    StreamTable(std::size_t links, std::size_t groups) : groups_(groups), streams_(links * groups) {}

    /// Whether a join at that time meets a stream that flows already, or is about to.
    bool flows(std::size_t link, std::size_t group, Time now) const;
    /// A new member. `first_packet` starts the stream when it does not flow. Returns the time of the stream's
    /// first packet.
    Time join(std::size_t link, std::size_t group, Time now, Time first_packet);
    /// A member less. When it was the last one, the stream ends at `last_packet`. Returns whether it was.
    bool leave(std::size_t link, std::size_t group, Time last_packet);

  private:
    struct Stream {
        Time first = 0;
        Time end = 0;  ///< no packet then or later; of no meaning while there are members
        std::uint32_t members = 0;
    };
    Stream& at(std::size_t link, std::size_t group) { return streams_[link * groups_ + group]; }

    std::size_t groups_;
    std::vector<Stream> streams_;
};

}  // namespace orv::il
