// Gaps, overlaps and change latencies between successive views of a set-top box.
#pragma once

#include "ModelClass.h"
#include "results/IptvJoinLeaveResults.h"
#include "results/PreviousViews.h"

namespace orv::iptv {

class CIptvGapOverlapResults
    : public ModelClass<ids::IptvGapOverlapResults::CLASS.GetValue(), CIptvJoinLeaveResults> {
  public:
    /// Adds to the batch: gap or overlap between the last packet of the previous view and the first of this
    /// one, and the time from the previous leave to the first packet. Does not update `previous`.
    void CalculateDiffnChangeLatencies(const stbox_event_s& ev, CIptvEventResults* row,
                                       const SetTopTimeStampsForMap& previous,
                                       distributions::ViewSink* sink = nullptr);
    void CalculateDiffnChangeLatencies(const stbox_event_s& ev, core::PackedRow& row,
                                       const SetTopTimeStampsForMap& previous,
                                       distributions::ViewSink* sink = nullptr);
    /// Merges the batch into the values of the test.
    void AccumGapOverlapResults();
    /// Adds another object's batch to this one's, and merges it into the values of the test.
    void SetAndAccumGapOverlapResults(const GapOverlapSums& sums);
    void CopyGapOverlapResultsToDataModel();
    /// Clears the batch.
    void ClearGapOverlapBatch();
    void CompleteResetGapOverlapResults();

    const GapOverlapSums& GetGapOverlapBatch() const { return gap_overlap_.GetBatch(); }

  private:
    template <class Row>
    void AddChange(const stbox_event_s& ev, Row* row, const SetTopTimeStampsForMap& previous,
                   distributions::ViewSink* sink);

    FigureStore<ids::IptvGapOverlapResults::CLASS.GetValue()> gap_overlap_;
};

}  // namespace orv::iptv
