// What the views of one batch of events add up to.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "results/AccumStat.h"

namespace orv::iptv {

/// Statistics of joins, leaves and packets: latencies in ms, gaps and overlaps in packets, rates in packets
/// per second.
enum JoinLeaveStat : std::size_t {
    kJoinLatency,
    kLeaveLatency,
    kUnicastJoinLatency,
    kUnicastLeaveLatency,
    kUnicastMulticastPktGap,
    kUnicastMulticastPktOverlap,
    kRetransmissionLatency,
    kUnicastPktRateNosb,
    kUnicastPktRateSbit,
    kJoinLeaveStats
};

/// Kinds of traffic. S-bit: the packets that a server marks while it leads a viewer over to multicast.
enum TrafficClass : std::size_t {
    kAllTraffic,
    kMulticast,
    kUnicast,
    kUnicastNosb,
    kUnicastSbit,
    kTrafficClasses
};

/// Counters of packets that did not arrive as they should, and of views and retransmissions with a mark.
enum JoinLeaveCounter : std::size_t {
    kLost,
    kLostUnicast,
    kReordered,
    kReorderedUnicast,
    kDuplicate,
    kDuplicateUnicast,
    kPrbsErrors,
    kPrbsErrorsUnicast,
    kLate,
    kLateUnicast,
    kInvalidFirst,
    kInvalidLast,
    kFlaggedRetransmissions,
    kFailedRetransmissions,
    kJoinLeaveCounters
};

struct JoinLeaveSums {
    std::array<CAccumStatDouble, kJoinLeaveStats> stats;
    double channel_views = 0;  ///< one for each event record
    double duplicate_joins = 0;
    double duplicate_unicast_joins = 0;
    double join_fails = 0;
    double unicast_join_fails = 0;
    std::array<double, kTrafficClasses> packets{};
    std::array<double, kTrafficClasses> seconds{};
    double errored_streams = 0;  ///< views with a multicast error
    double errored_unicast_streams = 0;
    std::array<std::uint64_t, kJoinLeaveCounters> counters{};

    bool operator==(const JoinLeaveSums&) const = default;
    bool IsEmpty() const { return *this == JoinLeaveSums(); }

    JoinLeaveSums& operator+=(const JoinLeaveSums& other) {
        for (std::size_t i = 0; i < kJoinLeaveStats; ++i) stats[i].accum(other.stats[i]);
        channel_views += other.channel_views;
        duplicate_joins += other.duplicate_joins;
        duplicate_unicast_joins += other.duplicate_unicast_joins;
        join_fails += other.join_fails;
        unicast_join_fails += other.unicast_join_fails;
        for (std::size_t i = 0; i < kTrafficClasses; ++i) {
            packets[i] += other.packets[i];
            seconds[i] += other.seconds[i];
        }
        errored_streams += other.errored_streams;
        errored_unicast_streams += other.errored_unicast_streams;
        for (std::size_t i = 0; i < kJoinLeaveCounters; ++i) counters[i] += other.counters[i];
        return *this;
    }
};

}  // namespace orv::iptv
