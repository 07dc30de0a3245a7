#include "results/IptvGapOverlapResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvEventResults.h"
#include "results/ResultProperties.h"

namespace orv::iptv {

namespace Id = ids::IptvGapOverlapResults;
namespace Row = ids::IptvEventResults;

void CIptvGapOverlapResults::CalculateDiffnChangeLatencies(const stbox_event_s& ev, CIptvEventResults* row,
                                                           const SetTopTimeStampsForMap& previous) {
    const std::int64_t first = CIptvEventResults::GetFirstAnyPacketTs(ev);
    const bool first_holds = first != 0 && ev.first_pkt_ts_valid;
    if (first_holds && previous.last_packet != 0) {
        const double overlap = TicksToMs(TimestampsDifference(previous.last_packet, first));
        if (overlap > 0) {
            overlap_.batch.addStat(overlap);
            if (row) row->Set(Row::OverlapLatency, overlap);
        } else if (overlap < 0) {
            gap_.batch.addStat(-overlap);
            if (row) row->Set(Row::GapLatency, -overlap);
        }
    }
    if (first_holds && previous.leave != 0) {
        const double change = TicksToMs(TimestampsDifference(first, previous.leave));
        if (change > 0) {
            change_.batch.addStat(change);
            if (row) row->Set(Row::ChangeLatency, change);
        }
    }
    if (!row) return;
    row->SetT<std::string>(Row::LastLastMcastPktTS, ConvertTimestampToString(previous.last_packet));
    row->SetT<std::string>(Row::LastLeaveTS, ConvertTimestampToString(previous.leave));
}

void CIptvGapOverlapResults::AccumGapOverlapResults() {
    gap_.AccumBatch();
    overlap_.AccumBatch();
    change_.AccumBatch();
}

void CIptvGapOverlapResults::SetAndAccumGapOverlapResults(const CAccumStatDouble& gap,
                                                          const CAccumStatDouble& overlap,
                                                          const CAccumStatDouble& change) {
    gap_.batch.accum(gap);
    overlap_.batch.accum(overlap);
    change_.batch.accum(change);
    AccumGapOverlapResults();
}

void CIptvGapOverlapResults::CopyGapOverlapResultsToDataModel() {
    SetStat(*this, {Id::MinChangeLatency, Id::AvgChangeLatency, Id::MaxChangeLatency}, change_.running);
    SetStat(*this, {Id::MinGapLatency, Id::AvgGapLatency, Id::MaxGapLatency}, gap_.running);
    SetStat(*this, {Id::MinOverlapLatency, Id::AvgOverlapLatency, Id::MaxOverlapLatency}, overlap_.running);
}

void CIptvGapOverlapResults::ClearGapOverlapBatch() {
    gap_.batch.clear();
    overlap_.batch.clear();
    change_.batch.clear();
}

void CIptvGapOverlapResults::CompleteResetGapOverlapResults() {
    CompleteResetJoinLeaveResults();
    gap_ = overlap_ = change_ = {};
    ZeroOwnNumbers(*this, CLASS_ID());
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvGapOverlapResults> registration{CIptvGapOverlapResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
