#include "results/IptvJoinLeaveResults.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvEventResults.h"
#include "results/IptvRrrEventResults.h"

namespace orv::iptv {

template <class Row>
void CIptvJoinLeaveResults::AddView(const stbox_event_s& ev, Row* row, unsigned int threshold_ms,
                                    distributions::ViewSink* sink) {
    const figures::ChannelView view(ev, threshold_ms);
    join_leave_.Take(view, row, sink);
    if (!row || !view.unicast_failed) return;
    // No unicast stream, so no handover from it.
    row->Set(ids::IptvEventResults::UnicastMulticastPktOverlapCount, std::uint64_t{0});
    row->Set(ids::IptvEventResults::UnicastMulticastPktGapCount, std::uint64_t{0});
}

void CIptvJoinLeaveResults::CalcLatencies(const stbox_event_s& ev, CIptvEventResults* row,
                                          unsigned int thresholdMs, distributions::ViewSink* sink) {
    AddView(ev, row, thresholdMs, sink);
}

void CIptvJoinLeaveResults::CalcLatencies(const stbox_event_s& ev, core::PackedRow& row,
                                          unsigned int thresholdMs, distributions::ViewSink* sink) {
    AddView(ev, &row, thresholdMs, sink);
}

void CIptvJoinLeaveResults::CalcLatencies(const stbox_event_rrr_s& ev, CIptvRrrEventResults* row,
                                          distributions::ViewSink* sink) {
    join_leave_.Take(ev, row, sink);
}

void CIptvJoinLeaveResults::CalcLatencies(const stbox_event_rrr_s& ev, core::PackedRow& row,
                                          distributions::ViewSink* sink) {
    join_leave_.Take(ev, &row, sink);
}

void CIptvJoinLeaveResults::AccumLatencies() {
    join_leave_.Accum();
}

void CIptvJoinLeaveResults::SetAndAccumLatencies(const JoinLeaveSums& sums) {
    join_leave_.SetAndAccum(sums);
}

void CIptvJoinLeaveResults::CopyJoinLeaveResultsToDataModel() {
    join_leave_.CopyTo(*this);
}

void CIptvJoinLeaveResults::ResetJoinLeaveClassVar() {
    join_leave_.ClearBatch();
}

void CIptvJoinLeaveResults::CompleteResetJoinLeaveResults() {
    join_leave_.Clear();
    ZeroOwnNumbers(*this, CLASS_ID());
}

IPTV_REGISTER_CLASS(CIptvJoinLeaveResults);

}  // namespace orv::iptv
