#include "oracle_view.h"

#include <algorithm>
#include <utility>

namespace results_test {

namespace {

using Event = View::Event;

constexpr std::int64_t kShortestView = 500000;  // 5 ms

/// a - b. The counter has 46 bits; one value in its last quarter and one in its first: it has wrapped.
std::int64_t Difference(std::int64_t a, std::int64_t b) {
    const std::int64_t turn = std::int64_t{1} << 46;
    const auto quarter = [](std::int64_t ticks) { return (ticks >> 44) & 3; };
    if (quarter(a) == 0 && quarter(b) == 3) return a - b + turn;
    if (quarter(a) == 3 && quarter(b) == 0) return a - b - turn;
    return a - b;
}

double ToMs(std::int64_t ticks) {
    return static_cast<double>(ticks) / 100000.0;
}

std::int64_t EarlierNonZero(std::int64_t a, std::int64_t b) {
    if (a == 0 || b == 0) return a == 0 ? b : a;
    return std::min(a, b);
}

std::int64_t FirstUnicast(const Event& ev) {
    return EarlierNonZero(ev.first_unicast_nosb_pkt_ts, ev.first_unicast_sbit_pkt_ts);
}

std::int64_t LastUnicast(const Event& ev) {
    return std::max(ev.last_unicast_nosb_pkt_ts, ev.last_unicast_sbit_pkt_ts);
}

std::int64_t FirstPacket(const Event& ev) {
    return EarlierNonZero(ev.first_mcast_pkt_ts, FirstUnicast(ev));
}

std::int64_t LastPacket(const Event& ev) {
    return std::max(ev.last_mcast_pkt_ts, LastUnicast(ev));
}

std::int64_t FirstJoin(const Event& ev) {
    return EarlierNonZero(ev.mcast_join_ts, ev.unicast_join_ts);
}

std::int64_t LastLeave(const Event& ev) {
    return std::max(ev.mcast_leave_ts, ev.unicast_leave_ts);
}

View::Measure Latency(std::int64_t packet, std::int64_t event, std::int64_t viewed) {
    const std::int64_t latency = Difference(packet, event);
    if (packet == 0 || event == 0 || latency <= 0 || viewed <= kShortestView) return {};
    return ToMs(latency);
}

/// Not negative; measured from an event that happened.
View::Measure Interval(std::int64_t to, std::int64_t from) {
    const std::int64_t ticks = Difference(to, from);
    if (from == 0 || ticks < 0) return {};
    return ToMs(ticks);
}

View::Measure Rate(std::uint64_t packets, std::int64_t last, std::int64_t first) {
    if (first <= 0 || last <= first) return {};
    return static_cast<double>(packets) * 1000.0 / ToMs(Difference(last, first));
}

void MeasureJoinsAndLeaves(View& view, std::uint32_t threshold_ms) {
    const Event& ev = view.ev;
    const bool has_channel = ev.viewed_channel != 0;
    const std::int64_t viewed = Difference(ev.mcast_leave_ts, ev.mcast_join_ts);
    const bool missed = !has_channel || (ev.first_mcast_pkt_ts == 0 && viewed > kShortestView);
    view.failed = missed && static_cast<double>(threshold_ms) <= ToMs(viewed);
    view.duplicate = !missed && Difference(ev.first_mcast_pkt_ts, ev.mcast_join_ts) < 0 &&
                     ev.first_mcast_pkt_ts != 0 && ev.first_pkt_ts_valid;
    if (!view.failed) {
        if (ev.first_pkt_ts_valid) view.join = Latency(ev.first_mcast_pkt_ts, ev.mcast_join_ts, viewed);
        if (ev.last_pkt_ts_valid && has_channel) {
            view.leave = Latency(ev.last_mcast_pkt_ts, ev.mcast_leave_ts, viewed);
        }
    }
    const std::int64_t first = FirstUnicast(ev);
    const std::int64_t unicast_viewed = Difference(ev.unicast_leave_ts, ev.unicast_join_ts);
    view.unicast_failed = !has_channel || (first == 0 && unicast_viewed > kShortestView);
    view.unicast_duplicate = !view.unicast_failed && first != 0 && Difference(first, ev.unicast_join_ts) < 0;
    if (!view.unicast_failed) {
        view.unicast_join = Latency(first, ev.unicast_join_ts, unicast_viewed);
        view.unicast_leave = Latency(LastUnicast(ev), ev.unicast_leave_ts, unicast_viewed);
    }
}

void MeasureTraffic(View& view) {
    const Event& ev = view.ev;
    const std::uint64_t multicast = Known(ev.total_mcast_packets);
    const std::uint64_t nosb = Known(ev.total_unicast_nosb_packets);
    const std::uint64_t sbit = Known(ev.total_unicast_sbit_packets);
    const std::uint64_t packets[5] = {multicast + nosb + sbit, multicast, nosb + sbit, nosb, sbit};
    const std::pair<std::int64_t, std::int64_t> times[5] = {
        {LastPacket(ev), FirstPacket(ev)},
        {ev.last_mcast_pkt_ts, ev.first_mcast_pkt_ts},
        {LastUnicast(ev), FirstUnicast(ev)},
        {ev.last_unicast_nosb_pkt_ts, ev.first_unicast_nosb_pkt_ts},
        {ev.last_unicast_sbit_pkt_ts, ev.first_unicast_sbit_pkt_ts}};
    for (int i = 0; i < 5; ++i) {
        const auto [last, first] = times[i];
        view.packets[i] = static_cast<double>(packets[i]);
        if (last > 0 && first > 0) view.seconds[i] = ToMs(Difference(last, first)) / 1000.0;
    }
    view.nosb_rate = Rate(nosb, ev.last_unicast_nosb_pkt_ts, ev.first_unicast_nosb_pkt_ts);
    view.sbit_rate = Rate(sbit, ev.last_unicast_sbit_pkt_ts, ev.first_unicast_sbit_pkt_ts);
    if (FirstUnicast(ev) && ev.first_mcast_pkt_ts && !HasMulticastErrors(ev) && !HasUnicastErrors(ev)) {
        view.packet_gap = static_cast<double>(ev.uni_multi_gap_count);
        view.packet_overlap = static_cast<double>(ev.uni_multi_overlap_count);
    }
}

void MeasureZap(View& view, std::uint8_t zap_type) {
    const Event& ev = view.ev;
    const std::int64_t first = FirstPacket(ev);
    if (first && ev.first_pkt_ts_valid && view.previous.last_packet) {
        const std::int64_t ticks = Difference(view.previous.last_packet, first);
        if (ticks > 0) view.overlap = ToMs(ticks);
        if (ticks < 0) view.gap = ToMs(-ticks);
    }
    if (first && ev.first_pkt_ts_valid && view.previous.leave) {
        const std::int64_t ticks = Difference(first, view.previous.leave);
        if (ticks > 0) view.change = ToMs(ticks);
    }
    if (zap_type == 0) view.leave_to_leave = Interval(LastLeave(ev), view.previous.leave);
    if (zap_type == 1) {
        view.packet_to_leave =
            Interval(ev.mcast_leave_ts, ev.first_pkt_ts_valid ? ev.first_mcast_pkt_ts : ev.mcast_join_ts);
    }
    if (zap_type == 2) view.unicast_to_leave = Interval(LastLeave(ev), FirstUnicast(ev));
    view.leave_to_join = Interval(FirstJoin(ev), view.previous.leave);
}

}  // namespace

std::uint64_t Known(std::uint64_t count) {
    return count == ~std::uint64_t{0} ? 0 : count;
}

bool HasMulticastErrors(const Event& ev) {
    return ev.lost_mcast_packets || ev.reordered_mcast_packets || ev.duplicate_mcast_packets ||
           ev.late_mcast_packets || ev.mcast_prbs_errors;
}

bool HasUnicastErrors(const Event& ev) {
    return ev.lost_unicast_packets || ev.reordered_unicast_packets || ev.duplicate_unicast_packets ||
           ev.late_unicast_packets || ev.unicast_prbs_errors;
}

double DifferenceMs(std::int64_t a, std::int64_t b) {
    return ToMs(Difference(a, b));
}

PreviousView Remember(const Event& ev) {
    return {LastLeave(ev), LastPacket(ev)};
}

View MeasureView(const Event& ev, PreviousView previous, ViewingHabit habit) {
    View view;
    view.ev = ev;
    view.previous = previous;
    MeasureJoinsAndLeaves(view, habit.threshold_ms);
    MeasureTraffic(view);
    MeasureZap(view, habit.zap_type);
    return view;
}

Retransmission MeasureRetransmission(const iptvcd_1_bll::stbox_event_rrr_s& ev) {
    const std::int64_t ticks = Difference(ev.last_retrans_rtp_pkt_rx_ts, ev.nack_pkt_tx_ts);
    if (ev.nack_pkt_tx_ts == 0 || ticks <= 0) return {ev, {}};
    return {ev, ToMs(ticks)};
}

}  // namespace results_test
