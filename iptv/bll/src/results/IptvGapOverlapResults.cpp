#include "results/IptvGapOverlapResults.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvEventResults.h"

namespace orv::iptv {

namespace Row = ids::IptvEventResults;

void CIptvGapOverlapResults::CalculateDiffnChangeLatencies(const stbox_event_s& ev, CIptvEventResults* row,
                                                           const SetTopTimeStampsForMap& previous,
                                                           distributions::ViewSink* sink) {
    gap_overlap_.Take(figures::ChannelChange{ev, previous}, row, sink);
    if (!row) return;
    row->SetT<std::string>(Row::LastLastMcastPktTS, ConvertTimestampToString(previous.last_packet));
    row->SetT<std::string>(Row::LastLeaveTS, ConvertTimestampToString(previous.leave));
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
