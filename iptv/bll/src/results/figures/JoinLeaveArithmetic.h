// Latencies and verdicts of joins and leaves, computed from time stamps.
#pragma once

#include <cstdint>

#include "results/IlTimestamp.h"

namespace orv::iptv {

/// Time stamps are in ticks. Base class of CIptvJoinLeaveResults.
struct JoinLeaveArithmetic {
    /// Views of at most this many ticks (5 ms) are too short to have a latency.
    static constexpr std::int64_t kMinimumView = 500000;

    static constexpr std::int64_t TimestampsDifference(std::int64_t a, std::int64_t b) {
        return iptv::TimestampsDifference(a, b);
    }

    /// Time from the event to the packet, ms. 0 if there is none: one of the two did not happen, the packet
    /// came first, its time stamp is invalid, or the view was too short (at most `limit` ticks).
    static constexpr double CalcMultiLatency(std::int64_t pktTs, std::int64_t eventTs, bool tsValid,
                                             std::int64_t viewTicks, std::int64_t limit) {
        return tsValid ? CalcUniLatency(pktTs, eventTs, viewTicks, limit) : 0.0;
    }
    // Inlined, like others that mostly find out at once that there is nothing to measure: the compiler takes
    // them for too large.
    [[gnu::always_inline]] static constexpr double CalcUniLatency(std::int64_t pktTs, std::int64_t eventTs,
                                                                  std::int64_t viewTicks,
                                                                  std::int64_t limit) {
        const std::int64_t ticks = TimestampsDifference(pktTs, eventTs);
        if (ticks < 0 || viewTicks <= limit || pktTs == 0 || eventTs == 0) return 0.0;
        return TicksToMs(ticks);
    }

    /// A join fails if no packet came and the view was longer than `limit` ticks (multicast: also not shorter
    /// than the threshold). It is a duplicate if packets came before it.
    static constexpr void CategorizeMultiJoin(bool& failed, bool& duplicate, bool hasChannel,
                                              std::int64_t firstPktTs, std::int64_t joinTs,
                                              bool firstPktValid, int thresholdMs, std::int64_t viewTicks,
                                              std::int64_t limit) {
        CategorizeUniJoin(failed, duplicate, hasChannel, firstPktTs, joinTs, viewTicks, limit);
        // If the viewer left within the threshold, it is unknown whether the join failed.
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
