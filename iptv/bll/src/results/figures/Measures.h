// The arithmetic of figures for one event. Latencies and intervals are in ms, packet gaps and overlaps in
// packets, rates in packets per second.
#pragma once

#include <cstdint>
#include <optional>

#include "msgset/iptvcd_1.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvEventResults.h"
#include "results/PreviousViews.h"
#include "results/figures/JoinLeaveArithmetic.h"

namespace orv::iptv::figures {

using Event = iptvcd_1_bll::stbox_event_s;
using Retransmission = iptvcd_1_bll::stbox_event_rrr_s;

/// No value if nothing was measured.
using Measure = std::optional<double>;

/// A channel view, with values that several figures need.
struct ChannelView : JoinLeaveArithmetic {
    ChannelView(const Event& event, unsigned int threshold_ms)
        : ev(event),
          has_channel(event.viewed_channel != 0),
          view(TimestampsDifference(event.mcast_leave_ts, event.mcast_join_ts)),
          unicast_view(TimestampsDifference(event.unicast_leave_ts, event.unicast_join_ts)),
          first_unicast(CIptvEventResults::GetFirstUnicastPacketTs(event)),
          last_unicast(CIptvEventResults::GetLastUnicastPacketTs(event)) {
        CategorizeMultiJoin(failed, duplicate, has_channel, ev.first_mcast_pkt_ts, ev.mcast_join_ts,
                            ev.first_pkt_ts_valid, static_cast<int>(threshold_ms), view, kMinimumView);
        CategorizeUniJoin(unicast_failed, unicast_duplicate, has_channel, first_unicast, ev.unicast_join_ts,
                          unicast_view, kMinimumView);
    }

    double GetLatency(std::int64_t packet, std::int64_t event, bool holds) const {
        return CalcMultiLatency(packet, event, holds, view, kMinimumView);
    }
    double GetUnicastLatency(std::int64_t packet, std::int64_t event) const {
        return CalcUniLatency(packet, event, unicast_view, kMinimumView);
    }

    const Event& ev;
    const bool has_channel;
    const std::int64_t view;  ///< ticks
    const std::int64_t unicast_view;
    const std::int64_t first_unicast;  ///< time of the first unicast packet
    const std::int64_t last_unicast;
    bool failed = false;
    bool duplicate = false;
    bool unicast_failed = false;
    bool unicast_duplicate = false;
};

/// A channel view and the previous view of the same set-top box.
struct ChannelChange {
    /// For a block without profile.
    static constexpr std::uint8_t kNoProfile = 0xff;

    const Event& ev;
    const SetTopTimeStampsForMap& previous;
    std::uint8_t zap_interval_type = kNoProfile;  ///< of the viewing profile
};

// --- Counters of an event

/// Counters of packets with errors.
inline constexpr std::uint64_t Event::*kMulticastErrors[] = {
    &Event::lost_mcast_packets, &Event::reordered_mcast_packets, &Event::duplicate_mcast_packets,
    &Event::late_mcast_packets, &Event::mcast_prbs_errors};
inline constexpr std::uint64_t Event::*kUnicastErrors[] = {
    &Event::lost_unicast_packets, &Event::reordered_unicast_packets, &Event::duplicate_unicast_packets,
    &Event::late_unicast_packets, &Event::unicast_prbs_errors};

/// A port sets a counter that underflowed to all ones; it counts as 0.
constexpr std::uint64_t CountOrZero(std::uint64_t counter) {
    return counter == UINT64_MAX ? 0 : counter;
}

/// A counter that underflowed is an error, too.
template <std::size_t count>
constexpr bool HasErrors(const Event& ev, std::uint64_t Event::*const (&counters)[count]) {
    std::uint64_t errors = 0;
    for (const auto counter : counters) errors |= ev.*counter;
    return errors != 0;
}
/// No packet of the view was lost, reordered, duplicated, late or corrupted.
inline bool HasNoErrors(const Event& ev) {
    return !HasErrors(ev, kMulticastErrors) && !HasErrors(ev, kUnicastErrors);
}
/// A multicast counter underflowed.
inline bool HasUnderflow(const Event& ev) {
    bool underflow = ev.total_mcast_packets == UINT64_MAX;
    for (const auto counter : kMulticastErrors) underflow |= ev.*counter == UINT64_MAX;
    return underflow;
}

template <auto counter>
std::uint64_t Count(const ChannelView& view) {
    return CountOrZero(view.ev.*counter);
}
template <auto flag>
bool IsFlagged(const ChannelChange& change) {
    return change.ev.*flag;
}
template <auto flag>
bool IsMarked(const Retransmission& event) {
    return event.*flag;
}
template <auto verdict>
bool Is(const ChannelView& view) {
    return view.*verdict;
}
/// The port reports the time stamp as invalid.
template <auto holds>
bool DoesNotHold(const ChannelView& view) {
    return !(view.ev.*holds);
}
inline bool IsView(const ChannelView&) {
    return true;
}
inline bool HasMulticastErrors(const ChannelView& view) {
    return HasErrors(view.ev, kMulticastErrors);
}
inline bool HasUnicastErrors(const ChannelView& view) {
    return HasErrors(view.ev, kUnicastErrors);
}

// --- Joins and leaves

inline Measure IfPositive(double value) {
    return value > 0 ? Measure(value) : std::nullopt;
}
inline Measure JoinLatency(const ChannelView& v) {
    if (v.failed) return {};
    return IfPositive(v.GetLatency(v.ev.first_mcast_pkt_ts, v.ev.mcast_join_ts, v.ev.first_pkt_ts_valid));
}
inline Measure UnicastJoinLatency(const ChannelView& v) {
    if (v.unicast_failed) return {};
    return IfPositive(v.GetUnicastLatency(v.first_unicast, v.ev.unicast_join_ts));
}
inline Measure LeaveLatency(const ChannelView& v) {
    if (v.failed || !v.has_channel) return {};
    return IfPositive(v.GetLatency(v.ev.last_mcast_pkt_ts, v.ev.mcast_leave_ts, v.ev.last_pkt_ts_valid));
}
inline Measure UnicastLeaveLatency(const ChannelView& v) {
    if (v.unicast_failed || !v.has_channel) return {};
    return IfPositive(v.GetUnicastLatency(v.last_unicast, v.ev.unicast_leave_ts));
}
/// Packets missing or received twice at the handover from unicast to multicast. Only for views that received
/// both, without packet errors.
template <auto packets>
[[gnu::always_inline]] inline Measure Handover(const ChannelView& v) {
    if (v.first_unicast == 0 || v.ev.first_mcast_pkt_ts == 0 || !HasNoErrors(v.ev)) return {};
    return static_cast<double>(v.ev.*packets);
}
inline Measure RetransmissionLatency(const Retransmission& ev) {
    const std::int64_t ticks = TimestampsDifference(ev.last_retrans_rtp_pkt_rx_ts, ev.nack_pkt_tx_ts);
    if (ticks <= 0 || ev.nack_pkt_tx_ts == 0) return {};
    return TicksToMs(ticks);
}

// --- Packets, and the time in which they were received, s

template <auto... counters>
double Packets(const ChannelView& v) {
    return (... + static_cast<double>(CountOrZero(v.ev.*counters)));
}
[[gnu::always_inline]] inline double SecondsBetween(std::int64_t first, std::int64_t last) {
    return last > 0 && first > 0 ? TicksToSeconds(TimestampsDifference(last, first)) : 0.0;
}
[[gnu::always_inline]] inline double Seconds(const ChannelView& v) {
    return SecondsBetween(CIptvEventResults::GetFirstAnyPacketTs(v.ev),
                          CIptvEventResults::GetLastAnyPacketTs(v.ev));
}
inline double UnicastSeconds(const ChannelView& v) {
    return SecondsBetween(v.first_unicast, v.last_unicast);
}
template <auto first, auto last>
[[gnu::always_inline]] inline double SecondsOf(const ChannelView& v) {
    return SecondsBetween(v.ev.*first, v.ev.*last);
}
template <auto packets, auto first, auto last>
[[gnu::always_inline]] inline Measure PacketRate(const ChannelView& v) {
    if (v.ev.*first <= 0 || v.ev.*last <= v.ev.*first) return {};
    return static_cast<double>(CountOrZero(v.ev.*packets)) * 1000.0 /
           TicksToMs(TimestampsDifference(v.ev.*last, v.ev.*first));
}

// --- From one view to the next

/// Overlap of the previous channel with this one, ms; a gap is negative. 0 if either time is unknown.
[[gnu::always_inline]] inline double OverlapOrGap(const ChannelChange& c) {
    const std::int64_t first = CIptvEventResults::GetFirstAnyPacketTs(c.ev);
    if (first == 0 || !c.ev.first_pkt_ts_valid || c.previous.last_packet == 0) return 0.0;
    return TicksToMs(TimestampsDifference(c.previous.last_packet, first));
}
inline Measure Gap(const ChannelChange& c) {
    return IfPositive(-OverlapOrGap(c));
}
inline Measure Overlap(const ChannelChange& c) {
    return IfPositive(OverlapOrGap(c));
}
inline Measure ChangeLatency(const ChannelChange& c) {
    const std::int64_t first = CIptvEventResults::GetFirstAnyPacketTs(c.ev);
    if (first == 0 || !c.ev.first_pkt_ts_valid || c.previous.leave == 0) return {};
    return IfPositive(TicksToMs(TimestampsDifference(first, c.previous.leave)));
}
/// Time between two events, ms. No value if the first did not happen or was later.
inline Measure Interval(std::int64_t from, std::int64_t to) {
    const std::int64_t ticks = TimestampsDifference(to, from);
    if (ticks < 0 || from == 0) return {};
    return TicksToMs(ticks);
}
inline Measure LeaveJoinDelay(const ChannelChange& c) {
    return Interval(c.previous.leave, CIptvEventResults::GetFirstAnyJoinTs(c.ev));
}
// Only the interval that the viewing profile selects is measured.
inline Measure LeaveToLeave(const ChannelChange& c) {
    if (c.zap_interval_type != ids::ZapIntervalType::LTL) return {};
    return Interval(c.previous.leave, CIptvEventResults::GetLastAnyLeaveTs(c.ev));
}
inline Measure MulticastPktToLeave(const ChannelChange& c) {
    if (c.zap_interval_type != ids::ZapIntervalType::MTL) return {};
    return Interval(c.ev.first_pkt_ts_valid ? c.ev.first_mcast_pkt_ts : c.ev.mcast_join_ts,
                    c.ev.mcast_leave_ts);
}
inline Measure UnicastPktToLeave(const ChannelChange& c) {
    if (c.zap_interval_type != ids::ZapIntervalType::UTL) return {};
    return Interval(CIptvEventResults::GetFirstUnicastPacketTs(c.ev),
                    CIptvEventResults::GetLastAnyLeaveTs(c.ev));
}

// --- Columns of event rows

template <auto counter>
std::uint64_t Known(const Event& ev) {
    return CountOrZero(ev.*counter);
}
template <auto counter>
std::uint64_t AsReported(const Event& ev) {
    return ev.*counter;
}
template <auto flag>
bool Flag(const Event& ev) {
    return ev.*flag;
}
template <auto mark>
std::uint64_t MarkOf(const Retransmission& ev) {
    return ev.*mark;
}
template <auto packets>
std::uint64_t HandoverPackets(const Event& ev) {
    return HasNoErrors(ev) && !HasUnderflow(ev) ? ev.*packets : 0;
}

}  // namespace orv::iptv::figures
