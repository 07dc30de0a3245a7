// The totals of set-top boxes: intervals between events, and what was flagged.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "results/IptvGapOverlapResults.h"

namespace orv::iptv {

/// What a view is measured against besides itself.
struct ViewContext {
    PreviousViews* previous_views = nullptr;
    std::uint32_t base_stb_index = 0;  ///< number of the block's first set-top box in the test
    std::uint8_t zap_interval_type = figures::ChannelChange::kNoProfile;  ///< of the block's viewing profile
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
    FigureStore<ids::IptvTotalResults::CLASS.GetValue()> totals_;
};

}  // namespace orv::iptv
