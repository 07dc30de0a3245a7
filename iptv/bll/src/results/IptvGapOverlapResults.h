// What happens between one view of a set-top box and its next.
#pragma once

#include "ModelClass.h"
#include "results/IptvJoinLeaveResults.h"
#include "results/PreviousViews.h"

namespace orv::iptv {

class CIptvGapOverlapResults
    : public ModelClass<ids::IptvGapOverlapResults::CLASS.GetValue(), CIptvJoinLeaveResults> {
  public:
    /// Gap or overlap between the last packet of the previous view and the first of this one, and the time
    /// from the previous leave to the first packet. Only reads the previous view.
    void CalculateDiffnChangeLatencies(const stbox_event_s& ev, CIptvEventResults* row,
                                       const SetTopTimeStampsForMap& previous);
    /// Merges the batch into the test's values.
    void AccumGapOverlapResults();
    /// Takes another object's batch as part of this one's, and merges it.
    void SetAndAccumGapOverlapResults(const GapOverlapSums& sums);
    void CopyGapOverlapResultsToDataModel();
    /// Empties the batch of the three statistics.
    void ClearGapOverlapBatch();
    void CompleteResetGapOverlapResults();

    const GapOverlapSums& GetGapOverlapBatch() const { return gap_overlap_.GetBatch(); }

  private:
    FigureStore<ids::IptvGapOverlapResults::CLASS.GetValue()> gap_overlap_;
};

}  // namespace orv::iptv
