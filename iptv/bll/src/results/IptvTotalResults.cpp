#include "results/IptvTotalResults.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvEventResults.h"

namespace orv::iptv {

namespace {

SetTopTimeStampsForMap& FindPrevious(const stbox_event_s& ev, const ViewContext& context) {
    return context.previous_views->FindOrAdd(context.base_stb_index + ev.settop_index);
}

void Remember(const stbox_event_s& ev, SetTopTimeStampsForMap& previous) {
    previous = {CIptvEventResults::GetLastAnyLeaveTs(ev), CIptvEventResults::GetLastAnyPacketTs(ev)};
}

}  // namespace

void CIptvTotalResults::BinEvent(const stbox_event_s& ev, CIptvEventResults* row, const ViewContext& context,
                                 distributions::ViewSink* sink) {
    SetTopTimeStampsForMap& previous = FindPrevious(ev, context);
    CalculateDiffnChangeLatencies(ev, row, previous, sink);
    totals_.Take(figures::ChannelChange{ev, previous, context.zap_interval_type}, row);
    Remember(ev, previous);
}

void CIptvTotalResults::BinEvent(const stbox_event_s& ev, core::PackedRow& row, const ViewContext& context,
                                 distributions::ViewSink* sink) {
    SetTopTimeStampsForMap& previous = FindPrevious(ev, context);
    CalculateDiffnChangeLatencies(ev, row, previous, sink);
    totals_.Take(figures::ChannelChange{ev, previous, context.zap_interval_type}, &row);
    Remember(ev, previous);
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
