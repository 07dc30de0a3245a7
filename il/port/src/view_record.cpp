#include "orv/il/view_record.h"

namespace orv::il {

using iptvcd_1_bll::stbox_event_s;

namespace {

bool slower_than(Time from, Time to, std::int32_t threshold_ms) {
    return from != kNever && to != kNever && to - from > threshold_ms * kMillisecond;
}

}  // namespace

void stamp_multicast(const ViewTimes& view, const TickCounter& counter, stbox_event_s& event) {
    event.mcast_join_ts = counter.read(view.join);
    event.mcast_leave_ts = counter.read(view.leave);
    event.first_mcast_pkt_ts = counter.read(view.first);
    event.last_mcast_pkt_ts = counter.read(view.last);
    const bool any_packet = view.first != kNever || view.unicast_first != kNever;
    event.first_pkt_ts_valid = any_packet;
    event.last_pkt_ts_valid = any_packet && view.last_valid;
}

void count_multicast(const Packets& packets, stbox_event_s& event) {
    event.total_mcast_packets = packets.received;
    event.lost_mcast_packets = packets.lost;
    event.reordered_mcast_packets = packets.reordered;
    event.duplicate_mcast_packets = packets.duplicate;
    event.late_mcast_packets = packets.late;
    event.mcast_prbs_errors = packets.payload_errors;
}

void flag_latencies(const ViewTimes& view, const iptvcd_1_bll::profileConfig_s& profile,
                    stbox_event_s& event) {
    event.mcast_join_latency_flag = slower_than(view.join, view.first, profile.join_latency_threshold);
    event.mcast_leave_latency_flag =
        view.last_valid && slower_than(view.leave, view.last, profile.leave_latency_threshold);
    event.unicast_join_latency_flag =
        slower_than(view.unicast_join, view.unicast_first, profile.unicast_join_threshold);
    event.unicast_leave_latency_flag =
        slower_than(view.unicast_leave, view.unicast_last, profile.unicast_leave_threshold);
}

}  // namespace orv::il
