#include "results/IptvJoinLeaveResults.h"

#include "orv/ids/iptv_ids.h"
#include "results/IptvEventResults.h"
#include "results/IptvRrrEventResults.h"

namespace orv::iptv {

namespace Row = ids::IptvEventResults;

double CIptvJoinLeaveResults::CalcMultiLatency(std::int64_t pktTs, std::int64_t eventTs, bool tsValid,
                                               std::int64_t viewTicks, std::int64_t limit) {
    return tsValid ? CalcUniLatency(pktTs, eventTs, viewTicks, limit) : 0.0;
}

double CIptvJoinLeaveResults::CalcUniLatency(std::int64_t pktTs, std::int64_t eventTs, std::int64_t viewTicks,
                                             std::int64_t limit) {
    const std::int64_t ticks = TimestampsDifference(pktTs, eventTs);
    if (ticks < 0 || viewTicks <= limit || pktTs == 0 || eventTs == 0) return 0.0;
    return TicksToMs(ticks);
}

void CIptvJoinLeaveResults::CategorizeMultiJoin(bool& failed, bool& duplicate, bool hasChannel,
                                                std::int64_t firstPktTs, std::int64_t joinTs,
                                                bool firstPktValid, int thresholdMs, std::int64_t viewTicks,
                                                std::int64_t limit) {
    CategorizeUniJoin(failed, duplicate, hasChannel, firstPktTs, joinTs, viewTicks, limit);
    // A viewer who leaves before the join could be called slow has not seen it fail.
    if (failed && static_cast<double>(thresholdMs) > TicksToMs(viewTicks)) failed = false;
    duplicate = duplicate && firstPktValid;
}

void CIptvJoinLeaveResults::CategorizeUniJoin(bool& failed, bool& duplicate, bool hasChannel,
                                              std::int64_t firstPktTs, std::int64_t joinTs,
                                              std::int64_t viewTicks, std::int64_t limit) {
    failed = !hasChannel || (firstPktTs == 0 && viewTicks > limit);
    duplicate = !failed && firstPktTs != 0 && TimestampsDifference(firstPktTs, joinTs) < 0;
}

void CIptvJoinLeaveResults::CalcLatencies(const stbox_event_s& ev, CIptvEventResults* row,
                                          unsigned int thresholdMs) {
    batch_.channel_views += 1;
    AddLatencies(ev, row, thresholdMs);
    AddPackets(ev);
    AddUnicastRates(ev, row);
    AddErrors(ev);
}

void CIptvJoinLeaveResults::AddLatencies(const stbox_event_s& ev, CIptvEventResults* row,
                                         unsigned int thresholdMs) {
    const std::int64_t view = TimestampsDifference(ev.mcast_leave_ts, ev.mcast_join_ts);
    const std::int64_t unicast_view = TimestampsDifference(ev.unicast_leave_ts, ev.unicast_join_ts);
    const std::int64_t first_unicast = CIptvEventResults::GetFirstUnicastPacketTs(ev);
    const std::int64_t last_unicast = CIptvEventResults::GetLastUnicastPacketTs(ev);
    const bool has_channel = ev.viewed_channel != 0;

    bool failed = false;
    bool duplicate = false;
    CategorizeMultiJoin(failed, duplicate, has_channel, ev.first_mcast_pkt_ts, ev.mcast_join_ts,
                        ev.first_pkt_ts_valid, static_cast<int>(thresholdMs), view, kMinimumView);
    bool unicast_failed = false;
    bool unicast_duplicate = false;
    CategorizeUniJoin(unicast_failed, unicast_duplicate, has_channel, first_unicast, ev.unicast_join_ts,
                      unicast_view, kMinimumView);

    if (first_unicast != 0 && ev.first_mcast_pkt_ts != 0 && HasNoErrors(ev)) {
        batch_.stats[kUnicastMulticastPktGap].addStat(static_cast<double>(ev.uni_multi_gap_count));
        batch_.stats[kUnicastMulticastPktOverlap].addStat(static_cast<double>(ev.uni_multi_overlap_count));
    }
    batch_.counters[kInvalidFirst] += !ev.first_pkt_ts_valid;
    batch_.counters[kInvalidLast] += !ev.last_pkt_ts_valid;

    const auto record = [&](JoinLeaveStat stat, framework::PropId column, double value) {
        if (value <= 0) return;
        batch_.stats[stat].addStat(value);
        if (row) row->Set(column, value);
    };
    if (!failed) {
        record(kJoinLatency, Row::JoinLatency,
               CalcMultiLatency(ev.first_mcast_pkt_ts, ev.mcast_join_ts, ev.first_pkt_ts_valid, view,
                                kMinimumView));
    }
    if (!unicast_failed) {
        record(kUnicastJoinLatency, Row::UnicastJoinLatency,
               CalcUniLatency(first_unicast, ev.unicast_join_ts, unicast_view, kMinimumView));
    }
    if (!failed && has_channel) {
        record(kLeaveLatency, Row::LeaveLatency,
               CalcMultiLatency(ev.last_mcast_pkt_ts, ev.mcast_leave_ts, ev.last_pkt_ts_valid, view,
                                kMinimumView));
    }
    if (!unicast_failed && has_channel) {
        record(kUnicastLeaveLatency, Row::UnicastLeaveLatency,
               CalcUniLatency(last_unicast, ev.unicast_leave_ts, unicast_view, kMinimumView));
    }

    batch_.join_fails += failed;
    batch_.unicast_join_fails += unicast_failed;
    batch_.duplicate_joins += duplicate;
    batch_.duplicate_unicast_joins += unicast_duplicate;
    if (!row) return;
    if (failed) row->Set(Row::FailedJoin, true);
    if (unicast_failed) {
        row->Set(Row::FailedUnicastJoin, true);
        row->Set(Row::UnicastMulticastPktOverlapCount, std::uint64_t{0});
        row->Set(Row::UnicastMulticastPktGapCount, std::uint64_t{0});
    }
    if (duplicate) row->Set(Row::DuplicateJoin, true);
    if (unicast_duplicate) row->Set(Row::DuplicateUnicastJoin, true);
}

void CIptvJoinLeaveResults::AddPackets(const stbox_event_s& ev) {
    const auto add_time = [this](TrafficClass traffic, std::int64_t last, std::int64_t first) {
        if (last > 0 && first > 0)
            batch_.seconds[traffic] += TicksToSeconds(TimestampsDifference(last, first));
    };
    add_time(kAllTraffic, CIptvEventResults::GetLastAnyPacketTs(ev),
             CIptvEventResults::GetFirstAnyPacketTs(ev));
    add_time(kMulticast, ev.last_mcast_pkt_ts, ev.first_mcast_pkt_ts);
    add_time(kUnicast, CIptvEventResults::GetLastUnicastPacketTs(ev),
             CIptvEventResults::GetFirstUnicastPacketTs(ev));
    add_time(kUnicastNosb, ev.last_unicast_nosb_pkt_ts, ev.first_unicast_nosb_pkt_ts);
    add_time(kUnicastSbit, ev.last_unicast_sbit_pkt_ts, ev.first_unicast_sbit_pkt_ts);

    const auto multicast = static_cast<double>(CountOrZero(ev.total_mcast_packets));
    const auto nosb = static_cast<double>(CountOrZero(ev.total_unicast_nosb_packets));
    const auto sbit = static_cast<double>(CountOrZero(ev.total_unicast_sbit_packets));
    batch_.packets[kAllTraffic] += sbit + multicast + nosb;
    batch_.packets[kMulticast] += multicast;
    batch_.packets[kUnicast] += sbit + nosb;
    batch_.packets[kUnicastNosb] += nosb;
    batch_.packets[kUnicastSbit] += sbit;
}

void CIptvJoinLeaveResults::AddUnicastRates(const stbox_event_s& ev, CIptvEventResults* row) {
    const auto add_rate = [&](JoinLeaveStat stat, framework::PropId column, std::uint64_t packets,
                              std::int64_t last, std::int64_t first) {
        if (first <= 0 || last <= first) return;
        const double rate =
            static_cast<double>(CountOrZero(packets)) * 1000.0 / TicksToMs(TimestampsDifference(last, first));
        batch_.stats[stat].addStat(rate);
        if (row) row->Set(column, rate);
    };
    add_rate(kUnicastPktRateNosb, Row::UnicastPktRateNosb, ev.total_unicast_nosb_packets,
             ev.last_unicast_nosb_pkt_ts, ev.first_unicast_nosb_pkt_ts);
    add_rate(kUnicastPktRateSbit, Row::UnicastPktRateSbit, ev.total_unicast_sbit_packets,
             ev.last_unicast_sbit_pkt_ts, ev.first_unicast_sbit_pkt_ts);
}

void CIptvJoinLeaveResults::AddErrors(const stbox_event_s& ev) {
    auto& counters = batch_.counters;
    counters[kLost] += CountOrZero(ev.lost_mcast_packets);
    counters[kReordered] += CountOrZero(ev.reordered_mcast_packets);
    counters[kDuplicate] += CountOrZero(ev.duplicate_mcast_packets);
    counters[kPrbsErrors] += CountOrZero(ev.mcast_prbs_errors);
    counters[kLate] += CountOrZero(ev.late_mcast_packets);
    counters[kLostUnicast] += CountOrZero(ev.lost_unicast_packets);
    counters[kReorderedUnicast] += CountOrZero(ev.reordered_unicast_packets);
    counters[kDuplicateUnicast] += CountOrZero(ev.duplicate_unicast_packets);
    counters[kPrbsErrorsUnicast] += CountOrZero(ev.unicast_prbs_errors);
    counters[kLateUnicast] += CountOrZero(ev.late_unicast_packets);
    // A counter of which the port could not make sense is an error all the same.
    batch_.errored_streams += (ev.lost_mcast_packets | ev.reordered_mcast_packets | ev.mcast_prbs_errors |
                               ev.duplicate_mcast_packets | ev.late_mcast_packets) != 0;
    batch_.errored_unicast_streams +=
        (ev.lost_unicast_packets | ev.reordered_unicast_packets | ev.unicast_prbs_errors |
         ev.duplicate_unicast_packets | ev.late_unicast_packets) != 0;
}

void CIptvJoinLeaveResults::CalcLatencies(const stbox_event_rrr_s& ev, CIptvRrrEventResults* row) {
    const std::int64_t ticks = TimestampsDifference(ev.last_retrans_rtp_pkt_rx_ts, ev.nack_pkt_tx_ts);
    if (ticks > 0 && ev.nack_pkt_tx_ts != 0) {
        batch_.stats[kRetransmissionLatency].addStat(TicksToMs(ticks));
        if (row) row->Set(ids::IptvRrrEventResults::RetransmissionLatency, TicksToMs(ticks));
    }
    batch_.counters[kFlaggedRetransmissions] += ev.flagged_retrans;
    batch_.counters[kFailedRetransmissions] += ev.retrans_fail;
}

}  // namespace orv::iptv
