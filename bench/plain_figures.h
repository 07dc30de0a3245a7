// The figures of channel views by a plain loop: what binning is measured against.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "msgset/iptvcd_1.h"

namespace bench {

class PlainFigures {
  public:
    explicit PlainFigures(std::size_t settop_boxes) : previous_(settop_boxes) {}

    void Add(const iptvcd_1_bll::stbox_event_s& ev, double threshold_ms) {
        ++views_;
        const std::int64_t view = Minus(ev.mcast_leave_ts, ev.mcast_join_ts);
        const std::int64_t unicast_view = Minus(ev.unicast_leave_ts, ev.unicast_join_ts);
        const std::int64_t first_unicast =
            FirstOf(ev.first_unicast_nosb_pkt_ts, ev.first_unicast_sbit_pkt_ts);
        const std::int64_t last_unicast = std::max(ev.last_unicast_nosb_pkt_ts, ev.last_unicast_sbit_pkt_ts);
        const bool no_channel = ev.viewed_channel == 0;
        bool failed = no_channel || (ev.first_mcast_pkt_ts == 0 && view > kShort);
        if (failed && threshold_ms > Ms(view)) {
            failed = false;
        } else if (!failed && ev.first_mcast_pkt_ts != 0 && ev.first_pkt_ts_valid &&
                   Minus(ev.first_mcast_pkt_ts, ev.mcast_join_ts) < 0) {
            ++duplicates_;
        }
        const bool unicast_failed = no_channel || (first_unicast == 0 && unicast_view > kShort);
        fails_ += failed;
        unicast_fails_ += unicast_failed;
        if (!unicast_failed && first_unicast != 0 && Minus(first_unicast, ev.unicast_join_ts) < 0)
            ++unicast_duplicates_;

        if (!failed && ev.first_pkt_ts_valid) Latency(join_, ev.first_mcast_pkt_ts, ev.mcast_join_ts, view);
        if (!failed && ev.last_pkt_ts_valid) Latency(leave_, ev.last_mcast_pkt_ts, ev.mcast_leave_ts, view);
        if (!unicast_failed) {
            Latency(unicast_join_, first_unicast, ev.unicast_join_ts, unicast_view);
            Latency(unicast_leave_, last_unicast, ev.unicast_leave_ts, unicast_view);
        }
        const std::uint64_t multicast_errors = ev.lost_mcast_packets | ev.reordered_mcast_packets |
                                               ev.duplicate_mcast_packets | ev.late_mcast_packets |
                                               ev.mcast_prbs_errors;
        const std::uint64_t unicast_errors = ev.lost_unicast_packets | ev.reordered_unicast_packets |
                                             ev.duplicate_unicast_packets | ev.late_unicast_packets |
                                             ev.unicast_prbs_errors;
        errored_ += multicast_errors != 0;
        unicast_errored_ += unicast_errors != 0;
        if (first_unicast != 0 && ev.first_mcast_pkt_ts != 0 && (multicast_errors | unicast_errors) == 0) {
            packet_gap_.Add(static_cast<double>(ev.uni_multi_gap_count));
            packet_overlap_.Add(static_cast<double>(ev.uni_multi_overlap_count));
        }
        invalid_first_ += !ev.first_pkt_ts_valid;
        invalid_last_ += !ev.last_pkt_ts_valid;
        AddPackets(ev, first_unicast, last_unicast);
        const std::uint64_t counts[] = {ev.lost_mcast_packets,        ev.reordered_mcast_packets,
                                        ev.duplicate_mcast_packets,   ev.late_mcast_packets,
                                        ev.mcast_prbs_errors,         ev.lost_unicast_packets,
                                        ev.reordered_unicast_packets, ev.duplicate_unicast_packets,
                                        ev.late_unicast_packets,      ev.unicast_prbs_errors};
        for (int i = 0; i < 10; ++i) errors_[i] += Known(counts[i]);
        AddPrevious(ev, first_unicast, last_unicast);
    }

  private:
    static constexpr std::int64_t kShort = 500000;

    struct Stat {
        double min = 1e300;
        double max = 0;
        double sum = 0;
        std::uint64_t count = 0;
        void Add(double value) {
            min = std::min(min, value);
            max = std::max(max, value);
            sum += value;
            ++count;
        }
    };
    struct Previous {
        std::int64_t leave = 0;
        std::int64_t packet = 0;
    };

    static std::int64_t Minus(std::int64_t a, std::int64_t b) {
        const std::int64_t top_a = a >> 44 & 3;
        const std::int64_t top_b = b >> 44 & 3;
        const std::int64_t wrap = std::int64_t{1} << 46;
        return a - b + (top_a == 0 && top_b == 3 ? wrap : top_a == 3 && top_b == 0 ? -wrap : 0);
    }
    static double Ms(std::int64_t ticks) { return static_cast<double>(ticks) * 10.0 / 1000000.0; }
    static std::uint64_t Known(std::uint64_t count) { return count == UINT64_MAX ? 0 : count; }
    static std::int64_t FirstOf(std::int64_t a, std::int64_t b) {
        return a == 0 ? b : b == 0 ? a : std::min(a, b);
    }

    static void Latency(Stat& stat, std::int64_t packet, std::int64_t event, std::int64_t view) {
        const std::int64_t ticks = Minus(packet, event);
        if (ticks > 0 && packet != 0 && event != 0 && view > kShort) stat.Add(Ms(ticks));
    }

    void AddPackets(const iptvcd_1_bll::stbox_event_s& ev, std::int64_t first_unicast,
                    std::int64_t last_unicast) {
        const std::int64_t spans[5][2] = {
            {std::max(ev.last_mcast_pkt_ts, last_unicast), FirstOf(ev.first_mcast_pkt_ts, first_unicast)},
            {ev.last_mcast_pkt_ts, ev.first_mcast_pkt_ts},
            {last_unicast, first_unicast},
            {ev.last_unicast_nosb_pkt_ts, ev.first_unicast_nosb_pkt_ts},
            {ev.last_unicast_sbit_pkt_ts, ev.first_unicast_sbit_pkt_ts}};
        const auto m = static_cast<double>(Known(ev.total_mcast_packets));
        const auto n = static_cast<double>(Known(ev.total_unicast_nosb_packets));
        const auto s = static_cast<double>(Known(ev.total_unicast_sbit_packets));
        const double packets[5] = {m + n + s, m, n + s, n, s};
        for (int i = 0; i < 5; ++i) {
            if (spans[i][0] > 0 && spans[i][1] > 0)
                seconds_[i] += Ms(Minus(spans[i][0], spans[i][1])) / 1000.0;
            packets_[i] += packets[i];
        }
        for (int i = 3; i < 5; ++i) {
            if (spans[i][1] > 0 && spans[i][0] > spans[i][1])
                rates_[i - 3].Add(packets[i] * 1000.0 / Ms(Minus(spans[i][0], spans[i][1])));
        }
    }

    void AddPrevious(const iptvcd_1_bll::stbox_event_s& ev, std::int64_t first_unicast,
                     std::int64_t last_unicast) {
        Previous& previous = previous_[ev.settop_index];
        const std::int64_t first = FirstOf(ev.first_mcast_pkt_ts, first_unicast);
        const std::int64_t leave = std::max(ev.mcast_leave_ts, ev.unicast_leave_ts);
        if (first != 0 && ev.first_pkt_ts_valid) {
            if (previous.packet != 0) {
                const double overlap = Ms(Minus(previous.packet, first));
                if (overlap > 0) overlap_.Add(overlap);
                if (overlap < 0) gap_.Add(-overlap);
            }
            if (previous.leave != 0 && Minus(first, previous.leave) > 0)
                change_.Add(Ms(Minus(first, previous.leave)));
        }
        flags_[0] += ev.mcast_join_latency_flag;
        flags_[1] += ev.mcast_leave_latency_flag;
        flags_[2] += ev.unicast_join_latency_flag;
        flags_[3] += ev.unicast_leave_latency_flag;
        flags_[4] += ev.ext_hdr_error;
        flags_[5] += ev.sbit_failure;
        if (previous.leave != 0) {
            if (Minus(leave, previous.leave) >= 0) interval_.Add(Ms(Minus(leave, previous.leave)));
            const std::int64_t join = FirstOf(ev.mcast_join_ts, ev.unicast_join_ts);
            if (Minus(join, previous.leave) >= 0) delay_.Add(Ms(Minus(join, previous.leave)));
        }
        previous = {leave, std::max(ev.last_mcast_pkt_ts, last_unicast)};
    }

    std::vector<Previous> previous_;
    std::uint64_t views_ = 0, fails_ = 0, unicast_fails_ = 0, duplicates_ = 0, unicast_duplicates_ = 0;
    std::uint64_t errored_ = 0, unicast_errored_ = 0, invalid_first_ = 0, invalid_last_ = 0;
    std::uint64_t errors_[10] = {}, flags_[6] = {};
    double packets_[5] = {}, seconds_[5] = {};
    Stat join_, leave_, unicast_join_, unicast_leave_, packet_gap_, packet_overlap_, rates_[2];
    Stat gap_, overlap_, change_, interval_, delay_;
};

}  // namespace bench
