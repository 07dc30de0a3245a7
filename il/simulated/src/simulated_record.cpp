#include "simulated_record.h"

#include <algorithm>
#include <cmath>

#include "packets.h"

namespace orv::il {

using iptvcd_1_bll::stbox_event_s;

namespace {

/// The last packet before the first one with S-bit.
Time last_without_sbit(const ViewTimes& view, double rate) {
    return std::max(view.unicast_first, view.sbit_first - packet_gap(rate));
}

void fill_in_unicast(const ViewTimes& view, const NetworkBehaviour& network, const TickCounter& counter,
                     Random& random, stbox_event_s& event) {
    event.unicast_join_ts = counter.read(view.unicast_join);
    event.unicast_leave_ts = counter.read(view.unicast_leave);
    event.sbit_failure = view.sbit_failure;
    if (view.unicast_first == kNever) return;

    Packets burst, steady;
    const double burst_rate = burst_rate_of(network);
    const bool has_sbit = view.sbit_first != kNever;
    if (!has_sbit || view.sbit_first > view.unicast_first) {
        const Time last = has_sbit ? last_without_sbit(view, burst_rate) : view.unicast_last;
        event.first_unicast_nosb_pkt_ts = counter.read(view.unicast_first);
        event.last_unicast_nosb_pkt_ts = counter.read(last);
        burst = draw_packets(view.unicast_first, last, 0, burst_rate, network, random);
    }
    if (has_sbit) {
        event.first_unicast_sbit_pkt_ts = counter.read(view.sbit_first);
        event.last_unicast_sbit_pkt_ts = counter.read(view.unicast_last);
        steady = draw_packets(view.sbit_first, view.unicast_last, 0, network.packet_rate, network, random);
    }
    event.total_unicast_nosb_packets = burst.received;
    event.total_unicast_sbit_packets = steady.received;
    event.lost_unicast_packets = burst.lost + steady.lost;
    event.reordered_unicast_packets = burst.reordered + steady.reordered;
    event.duplicate_unicast_packets = burst.duplicate + steady.duplicate;
    event.late_unicast_packets = burst.late + steady.late;
    event.unicast_prbs_errors = burst.payload_errors + steady.payload_errors;
    if (view.first == kNever) return;
    const double overlap = static_cast<double>(view.unicast_last - view.first) /
                           static_cast<double>(kSecond) * network.packet_rate;
    (overlap > 0 ? event.uni_multi_overlap_count : event.uni_multi_gap_count) =
        static_cast<std::uint64_t>(std::abs(overlap));
}

}  // namespace

void fill_in(const ViewTimes& view, const iptvcd_1_bll::profileConfig_s& profile,
             const NetworkBehaviour& network, const TickCounter& counter, Random& random,
             stbox_event_s& event) {
    stamp_multicast(view, counter, event);
    flag_latencies(view, profile, event);
    count_multicast(draw_packets(view.first, view.last, view.silence, network.packet_rate, network, random),
                    event);
    if (view.unicast_join != kNever) fill_in_unicast(view, network, counter, random, event);
}

}  // namespace orv::il
