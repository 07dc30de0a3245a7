#include "results/IptvTotalResults.h"

#include <iterator>

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvEventResults.h"
#include "results/ResultProperties.h"

namespace orv::iptv {

namespace Id = ids::IptvTotalResults;
namespace Row = ids::IptvEventResults;

void CIptvTotalResults::BinEvent(const stbox_event_s& ev, CIptvEventResults* row,
                                 const ViewContext& context) {
    SetTopTimeStampsForMap& previous = context.previous_views->Get(context.base_stb_index + ev.settop_index);
    CalculateDiffnChangeLatencies(ev, row, previous);
    AddFlags(ev);
    AddZapInterval(ev, row, context.zap_interval_type, previous.leave);
    AddInterval(kLeaveJoinDelay, row, Row::LeaveJoinDelay, CIptvEventResults::GetFirstAnyJoinTs(ev),
                previous.leave);
    previous = {CIptvEventResults::GetLastAnyLeaveTs(ev), CIptvEventResults::GetLastAnyPacketTs(ev)};
}

void CIptvTotalResults::AddFlags(const stbox_event_s& ev) {
    flags_[kFlaggedJoin] += ev.mcast_join_latency_flag;
    flags_[kFlaggedLeave] += ev.mcast_leave_latency_flag;
    flags_[kFlaggedUnicastJoin] += ev.unicast_join_latency_flag;
    flags_[kFlaggedUnicastLeave] += ev.unicast_leave_latency_flag;
    flags_[kExtHdrError] += ev.ext_hdr_error;
    flags_[kSbitFailure] += ev.sbit_failure;
}

void CIptvTotalResults::AddInterval(Interval interval, CIptvEventResults* row, framework::PropId column,
                                    std::int64_t to, std::int64_t from) {
    const std::int64_t ticks = TimestampsDifference(to, from);
    const bool happened = ticks >= 0 && from != 0;
    const double value = happened ? TicksToMs(ticks) : 0.0;
    if (happened) intervals_[interval].batch.addStat(value);
    if (row) row->Set(column, value);
}

void CIptvTotalResults::AddZapInterval(const stbox_event_s& ev, CIptvEventResults* row, std::uint8_t type,
                                       std::int64_t previous_leave) {
    switch (type) {
        case ids::ZapIntervalType::LTL:
            AddInterval(kLeaveToLeave, row, Row::LeaveToLeaveInterval,
                        CIptvEventResults::GetLastAnyLeaveTs(ev), previous_leave);
            break;
        case ids::ZapIntervalType::MTL:
            AddInterval(kMulticastPktToLeave, row, Row::MulticastPktToLeaveInterval, ev.mcast_leave_ts,
                        ev.first_pkt_ts_valid ? ev.first_mcast_pkt_ts : ev.mcast_join_ts);
            break;
        case ids::ZapIntervalType::UTL:
            AddInterval(kUnicastPktToLeave, row, Row::UnicastPktToLeaveInterval,
                        CIptvEventResults::GetLastAnyLeaveTs(ev),
                        CIptvEventResults::GetFirstUnicastPacketTs(ev));
            break;
        default:
            break;
    }
}

void CIptvTotalResults::AccumEvents() {
    AccumGapOverlapResults();
    for (BatchAndRunning& interval : intervals_) interval.AccumBatch();
}

void CIptvTotalResults::CopyTotalResultsToDataModel() {
    constexpr StatProperties kIntervalProperties[] = {
        {Id::MinLeaveToLeaveInterval, Id::AvgLeaveToLeaveInterval, Id::MaxLeaveToLeaveInterval},
        {Id::MinMulticastPktToLeaveInterval, Id::AvgMulticastPktToLeaveInterval,
         Id::MaxMulticastPktToLeaveInterval},
        {Id::MinLeaveJoinDelay, Id::AvgLeaveJoinDelay, Id::MaxLeaveJoinDelay},
        {Id::MinUnicastPktToLeaveInterval, Id::AvgUnicastPktToLeaveInterval,
         Id::MaxUnicastPktToLeaveInterval}};
    static_assert(std::size(kIntervalProperties) == kIntervals);
    constexpr framework::PropId kFlagProperties[] = {Id::FlaggedJoins,  Id::FlaggedUnicastJoins,
                                                     Id::FlaggedLeaves, Id::FlaggedUnicastLeaves,
                                                     Id::ExtHdrErrors,  Id::SbitFailures};
    static_assert(std::size(kFlagProperties) == kFlags);
    for (std::size_t i = 0; i < kIntervals; ++i)
        SetStat(*this, kIntervalProperties[i], intervals_[i].running);
    for (std::size_t i = 0; i < kFlags; ++i) AddTo(*this, kFlagProperties[i], flags_[i]);
}

void CIptvTotalResults::ResetTotalResultsClassVar() {
    for (BatchAndRunning& interval : intervals_) interval.batch.clear();
    flags_ = {};
}

void CIptvTotalResults::CompleteResetTotalResults() {
    CompleteResetGapOverlapResults();
    ResetTotalResultsClassVar();
    for (BatchAndRunning& interval : intervals_) interval.running.clear();
    ZeroOwnNumbers(*this, CLASS_ID());
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvTotalResults> registration{CIptvTotalResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
