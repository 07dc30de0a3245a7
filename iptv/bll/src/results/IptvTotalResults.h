// Results that cover all views of set-top boxes: intervals between events, and numbers of flags.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "results/IptvGapOverlapResults.h"

namespace orv::iptv {

/// Context needed to evaluate a view.
struct ViewContext {
    PreviousViews* previous_views = nullptr;
    std::uint32_t base_stb_index = 0;  ///< number of the block's first set-top box in the test
    std::uint8_t zap_interval_type = figures::ChannelChange::kNoProfile;  ///< of the block's viewing profile
};

class CIptvTotalResults : public ModelClass<ids::IptvTotalResults::CLASS.GetValue(), CIptvGapOverlapResults> {
  public:
    /// Adds a view to the batch, its row and the distributions, and stores it as the set-top box's previous
    /// view.
    void BinEvent(const stbox_event_s& ev, CIptvEventResults* row, const ViewContext& context,
                  distributions::ViewSink* sink = nullptr);
    void BinEvent(const stbox_event_s& ev, core::PackedRow& row, const ViewContext& context,
                  distributions::ViewSink* sink = nullptr);
    /// Call after the last view of a batch: merges gaps, overlaps, changes and intervals into the values of
    /// the test.
    void AccumEvents();
    void CopyTotalResultsToDataModel();

    /// Clears the batch of intervals and flags.
    void ResetTotalResultsClassVar();
    void CompleteResetTotalResults();

  private:
    FigureStore<ids::IptvTotalResults::CLASS.GetValue()> totals_;
};

}  // namespace orv::iptv
