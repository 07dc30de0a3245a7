#include "results/IptvTotalResults.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvEventResults.h"

namespace orv::iptv {

void CIptvTotalResults::BinEvent(const stbox_event_s& ev, CIptvEventResults* row, const ViewContext& context,
                                 distributions::ViewSink* sink) {
    SetTopTimeStampsForMap& previous =
        context.previous_views->FindOrAdd(context.base_stb_index + ev.settop_index);
    CalculateDiffnChangeLatencies(ev, row, previous, sink);
    totals_.Take(figures::ChannelChange{ev, previous, context.zap_interval_type}, row);
    previous = {CIptvEventResults::GetLastAnyLeaveTs(ev), CIptvEventResults::GetLastAnyPacketTs(ev)};
}

void CIptvTotalResults::AccumEvents() {
    AccumGapOverlapResults();
    totals_.Accum();
}

void CIptvTotalResults::CopyTotalResultsToDataModel() {
    totals_.CopyTo(*this);
}

void CIptvTotalResults::ResetTotalResultsClassVar() {
    totals_.ClearBatch();
}

void CIptvTotalResults::CompleteResetTotalResults() {
    CompleteResetGapOverlapResults();
    totals_.Clear();
    ZeroOwnNumbers(*this, CLASS_ID());
}

IPTV_REGISTER_CLASS(CIptvTotalResults);

}  // namespace orv::iptv
