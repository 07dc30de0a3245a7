// Results on joins, leaves, packets and errors.
#pragma once

#include "ModelClass.h"
#include "msgset/iptvcd_1.h"
#include "orv/core/packed_rows.h"
#include "orv/core/result.h"
#include "results/figures/FigureSums.h"
#include "results/figures/JoinLeaveArithmetic.h"

namespace orv::iptv {

class CIptvEventResults;
class CIptvRrrEventResults;
using common::ClassId;
using iptvcd_1_bll::stbox_event_rrr_s;
using iptvcd_1_bll::stbox_event_s;

/// Collects the values of one batch of events and of the whole test. A batch ends with AccumLatencies,
/// CopyJoinLeaveResultsToDataModel and ResetJoinLeaveClassVar, in this order.
class CIptvJoinLeaveResults : public ModelClass<ids::IptvJoinLeaveResults::CLASS.GetValue(), core::CResult>,
                              public JoinLeaveArithmetic {
  public:
    /// Adds a channel view to the batch, and to its row and the distributions unless they are null.
    void CalcLatencies(const stbox_event_s& ev, CIptvEventResults* row, unsigned int thresholdMs,
                       distributions::ViewSink* sink = nullptr);
    void CalcLatencies(const stbox_event_s& ev, core::PackedRow& row, unsigned int thresholdMs,
                       distributions::ViewSink* sink = nullptr);
    /// Adds a retransmission.
    void CalcLatencies(const stbox_event_rrr_s& ev, CIptvRrrEventResults* row,
                       distributions::ViewSink* sink = nullptr);
    void CalcLatencies(const stbox_event_rrr_s& ev, core::PackedRow& row,
                       distributions::ViewSink* sink = nullptr);
    /// Merges the batch into the values of the test.
    void AccumLatencies();
    /// Makes the sums of other objects' batches this object's batch, and merges it.
    void SetAndAccumLatencies(const JoinLeaveSums& sums);
    void CopyJoinLeaveResultsToDataModel();

    /// Clears the batch.
    void ResetJoinLeaveClassVar();
    /// Clears batch, values of the test and properties.
    void CompleteResetJoinLeaveResults();

    const JoinLeaveSums& GetBatch() const { return join_leave_.GetBatch(); }

  private:
    template <class Row>
    void AddView(const stbox_event_s& ev, Row* row, unsigned int threshold_ms, distributions::ViewSink* sink);

    FigureStore<ids::IptvJoinLeaveResults::CLASS.GetValue()> join_leave_;
};

}  // namespace orv::iptv
