// What the times of packets say of a join or a leave.
#pragma once

#include <cstdint>

#include "results/IlTimestamp.h"

namespace orv::iptv {

/// Times in ticks of the port. CIptvJoinLeaveResults has these operations from here.
struct JoinLeaveArithmetic {
    /// A view of at most that many ticks (5 ms) counts as no real view: no latency is computed of it.
    static constexpr std::int64_t kMinimumView = 500000;

    static constexpr std::int64_t TimestampsDifference(std::int64_t a, std::int64_t b) {
        return iptv::TimestampsDifference(a, b);
    }

    /// From the event to the packet, ms; 0 when there is none: one of the two did not happen, the packet came
    /// first, its time does not hold, or the view was too short.
    static constexpr double CalcMultiLatency(std::int64_t pktTs, std::int64_t eventTs, bool tsValid,
                                             std::int64_t viewTicks, std::int64_t limit) {
        return tsValid ? CalcUniLatency(pktTs, eventTs, viewTicks, limit) : 0.0;
    }
    static constexpr double CalcUniLatency(std::int64_t pktTs, std::int64_t eventTs, std::int64_t viewTicks,
                                           std::int64_t limit) {
        const std::int64_t ticks = TimestampsDifference(pktTs, eventTs);
        if (ticks < 0 || viewTicks <= limit || pktTs == 0 || eventTs == 0) return 0.0;
        return TicksToMs(ticks);
    }

    /// A join fails when no packet came during a real view (of multicast: one not shorter than the threshold,
    /// ms); it is a duplicate when packets came before it.
    static constexpr void CategorizeMultiJoin(bool& failed, bool& duplicate, bool hasChannel,
                                              std::int64_t firstPktTs, std::int64_t joinTs,
                                              bool firstPktValid, int thresholdMs, std::int64_t viewTicks,
                                              std::int64_t limit) {
        CategorizeUniJoin(failed, duplicate, hasChannel, firstPktTs, joinTs, viewTicks, limit);
        // A viewer who leaves before the join could be called slow has not seen it fail.
        if (failed && static_cast<double>(thresholdMs) > TicksToMs(viewTicks)) failed = false;
        duplicate = duplicate && firstPktValid;
    }
    static constexpr void CategorizeUniJoin(bool& failed, bool& duplicate, bool hasChannel,
                                            std::int64_t firstPktTs, std::int64_t joinTs,
                                            std::int64_t viewTicks, std::int64_t limit) {
        failed = !hasChannel || (firstPktTs == 0 && viewTicks > limit);
        duplicate = !failed && firstPktTs != 0 && TimestampsDifference(firstPktTs, joinTs) < 0;
    }
};

}  // namespace orv::iptv
