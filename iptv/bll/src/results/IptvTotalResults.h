// The totals of set-top boxes: intervals between events, and what was flagged.
#pragma once

#include <array>
#include <cstdint>

#include "ModelClass.h"
#include "results/IptvGapOverlapResults.h"

namespace orv::iptv {

/// What a view is measured against besides itself.
struct ViewContext {
    /// For a block whose profile is missing.
    static constexpr std::uint8_t kNoProfile = 0xff;

    PreviousViews* previous_views = nullptr;
    std::uint32_t base_stb_index = 0;             ///< number of the block's first set-top box in the test
    std::uint8_t zap_interval_type = kNoProfile;  ///< of the block's viewing profile
};

class CIptvTotalResults : public ModelClass<ids::IptvTotalResults::CLASS.GetValue(), CIptvGapOverlapResults> {
  public:
    /// Adds one view to the batch and to its row, and remembers it as the set-top box's previous one.
    void BinEvent(const stbox_event_s& ev, CIptvEventResults* row, const ViewContext& context);
    /// After the last view of a batch: merges gaps, overlaps, changes and intervals into the test's values.
    void AccumEvents();
    void CopyTotalResultsToDataModel();

    /// Empties the batch of the intervals and of the flags.
    void ResetTotalResultsClassVar();
    void CompleteResetTotalResults();

  private:
    enum Interval : std::size_t {
        kLeaveToLeave,
        kMulticastPktToLeave,
        kLeaveJoinDelay,
        kUnicastPktToLeave,
        kIntervals
    };
    enum Flag : std::size_t {
        kFlaggedJoin,
        kFlaggedUnicastJoin,
        kFlaggedLeave,
        kFlaggedUnicastLeave,
        kExtHdrError,
        kSbitFailure,
        kFlags
    };

    void AddFlags(const stbox_event_s& ev);
    void AddZapInterval(const stbox_event_s& ev, CIptvEventResults* row, std::uint8_t type,
                        std::int64_t previous_leave);
    void AddInterval(Interval interval, CIptvEventResults* row, framework::PropId column, std::int64_t to,
                     std::int64_t from);

    std::array<BatchAndRunning, kIntervals> intervals_;  ///< ms
    std::array<double, kFlags> flags_{};
};

}  // namespace orv::iptv
