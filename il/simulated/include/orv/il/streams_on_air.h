// Which multicast groups are sent, and from where.
#pragma once

#include <cstddef>
#include <map>
#include <vector>

#include "orv/il/address_order.h"
#include "orv/il/network.h"

namespace orv::il {

/// The streams of a number of traffic paths. Stream i of a path goes from its host i to its group i, each
/// counted modulo their number.
class StreamsOnAir {
  public:
    struct Path {
        std::vector<ipAddress_t> hosts;
        std::vector<ipAddress_t> groups;
    };
    using Paths = std::vector<Path>;

    StreamsOnAir() = default;
    explicit StreamsOnAir(Paths paths);

    const Paths& GetPaths() const { return paths_; }
    /// True if a source that passes the filter sends the group.
    bool IsSent(const ipAddress_t& group, const SourceFilter& filter) const;

  private:
    /// The hosts of a path that send the same group.
    struct Senders {
        std::size_t path = 0;
        std::size_t first = 0;
        std::size_t step = 1;  ///< from one to the next
    };

    Paths paths_;
    std::map<ipAddress_t, std::vector<Senders>, AddressOrder> senders_;  ///< by group
};

}  // namespace orv::il
