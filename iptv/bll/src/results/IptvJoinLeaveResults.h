// Joins, leaves, packets and errors.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "msgset/iptvcd_1.h"
#include "orv/core/result.h"
#include "results/IlTimestamp.h"
#include "results/JoinLeaveSums.h"

namespace orv::iptv {

class CIptvEventResults;
class CIptvRrrEventResults;
using common::ClassId;
using iptvcd_1_bll::stbox_event_rrr_s;
using iptvcd_1_bll::stbox_event_s;

/// Collects the values of one batch of events, and those of the whole test. A batch ends with AccumLatencies,
/// CopyJoinLeaveResultsToDataModel and ResetJoinLeaveClassVar, in this order.
class CIptvJoinLeaveResults : public ModelClass<ids::IptvJoinLeaveResults::CLASS.GetValue(), core::CResult> {
  public:
    /// A view of at most that many ticks (5 ms) counts as no real view: no latency is computed of it.
    static constexpr std::int64_t kMinimumView = 500000;

    static constexpr std::int64_t TimestampsDifference(std::int64_t a, std::int64_t b) {
        return iptv::TimestampsDifference(a, b);
    }
    /// From the event to the packet, ms; 0 when there is none: one of the two did not happen, the packet came
    /// first, its time does not hold, or the view was too short.
    static double CalcMultiLatency(std::int64_t pktTs, std::int64_t eventTs, bool tsValid,
                                   std::int64_t viewTicks, std::int64_t limit);
    static double CalcUniLatency(std::int64_t pktTs, std::int64_t eventTs, std::int64_t viewTicks,
                                 std::int64_t limit);
    /// A join fails when no packet came during a real view (of multicast: one not shorter than the threshold,
    /// ms); it is a duplicate when packets came before it.
    static void CategorizeMultiJoin(bool& failed, bool& duplicate, bool hasChannel, std::int64_t firstPktTs,
                                    std::int64_t joinTs, bool firstPktValid, int thresholdMs,
                                    std::int64_t viewTicks, std::int64_t limit);
    static void CategorizeUniJoin(bool& failed, bool& duplicate, bool hasChannel, std::int64_t firstPktTs,
                                  std::int64_t joinTs, std::int64_t viewTicks, std::int64_t limit);

    /// Adds one channel view to the batch, and to its row when there is one.
    void CalcLatencies(const stbox_event_s& ev, CIptvEventResults* row, unsigned int thresholdMs);
    /// Adds one retransmission.
    void CalcLatencies(const stbox_event_rrr_s& ev, CIptvRrrEventResults* row);
    /// Merges the batch into the test's values.
    void AccumLatencies();
    /// Takes the sums of several objects' batches as this object's batch, and merges it.
    void SetAndAccumLatencies(const JoinLeaveSums& sums);
    void CopyJoinLeaveResultsToDataModel();

    /// Empties the batch.
    void ResetJoinLeaveClassVar();
    /// Empties everything, properties included.
    void CompleteResetJoinLeaveResults();

    const JoinLeaveSums& GetBatch() const { return batch_; }

  private:
    struct Running {
        std::array<CAccumStatDouble, kJoinLeaveStats> stats;
        std::array<double, kTrafficClasses> packets{};
        std::array<double, kTrafficClasses> seconds{};
        double errored_streams = 0;
        double errored_unicast_streams = 0;
    };

    void AddLatencies(const stbox_event_s& ev, CIptvEventResults* row, unsigned int thresholdMs);
    void AddPackets(const stbox_event_s& ev);
    void AddUnicastRates(const stbox_event_s& ev, CIptvEventResults* row);
    void AddErrors(const stbox_event_s& ev);

    JoinLeaveSums batch_;
    Running running_;
};

}  // namespace orv::iptv
