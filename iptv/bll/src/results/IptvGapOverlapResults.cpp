#include "results/IptvGapOverlapResults.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"
#include "results/EventRows.h"
#include "results/IptvEventResults.h"

namespace orv::iptv {

template <class Row>
void CIptvGapOverlapResults::AddChange(const stbox_event_s& ev, Row* row,
                                       const SetTopTimeStampsForMap& previous,
                                       distributions::ViewSink* sink) {
    gap_overlap_.Take(figures::ChannelChange{ev, previous}, row, sink);
    if (!row) return;
    SetTime(*row, ids::IptvEventResults::LastLastMcastPktTS, previous.last_packet);
    SetTime(*row, ids::IptvEventResults::LastLeaveTS, previous.leave);
}

void CIptvGapOverlapResults::CalculateDiffnChangeLatencies(const stbox_event_s& ev, CIptvEventResults* row,
                                                           const SetTopTimeStampsForMap& previous,
                                                           distributions::ViewSink* sink) {
    AddChange(ev, row, previous, sink);
}

void CIptvGapOverlapResults::CalculateDiffnChangeLatencies(const stbox_event_s& ev, core::PackedRow& row,
                                                           const SetTopTimeStampsForMap& previous,
                                                           distributions::ViewSink* sink) {
    AddChange(ev, &row, previous, sink);
}

void CIptvGapOverlapResults::AccumGapOverlapResults() {
    gap_overlap_.Accum();
}

void CIptvGapOverlapResults::SetAndAccumGapOverlapResults(const GapOverlapSums& sums) {
    gap_overlap_.SetAndAccum(sums);
}

void CIptvGapOverlapResults::CopyGapOverlapResultsToDataModel() {
    gap_overlap_.CopyTo(*this);
}

void CIptvGapOverlapResults::ClearGapOverlapBatch() {
    gap_overlap_.ClearBatch();
}

void CIptvGapOverlapResults::CompleteResetGapOverlapResults() {
    CompleteResetJoinLeaveResults();
    gap_overlap_.Clear();
    ZeroOwnNumbers(*this, CLASS_ID());
}

IPTV_REGISTER_CLASS(CIptvGapOverlapResults);

}  // namespace orv::iptv
