// Joins, leaves, packets and errors.
#pragma once

#include "ModelClass.h"
#include "msgset/iptvcd_1.h"
#include "orv/core/result.h"
#include "results/figures/FigureSums.h"
#include "results/figures/JoinLeaveArithmetic.h"

namespace orv::iptv {

class CIptvEventResults;
class CIptvRrrEventResults;
using common::ClassId;
using iptvcd_1_bll::stbox_event_rrr_s;
using iptvcd_1_bll::stbox_event_s;

/// Collects the values of one batch of events, and those of the whole test. A batch ends with AccumLatencies,
/// CopyJoinLeaveResultsToDataModel and ResetJoinLeaveClassVar, in this order.
class CIptvJoinLeaveResults : public ModelClass<ids::IptvJoinLeaveResults::CLASS.GetValue(), core::CResult>,
                              public JoinLeaveArithmetic {
  public:
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

    const JoinLeaveSums& GetBatch() const { return join_leave_.GetBatch(); }

  private:
    FigureStore<ids::IptvJoinLeaveResults::CLASS.GetValue()> join_leave_;
};

}  // namespace orv::iptv
