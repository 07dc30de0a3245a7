#include "oracle.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace results_test {

namespace {

using Event = View::Event;
using Views = std::vector<const View*>;

bool HasUnicastErrors(const Event& ev) {
    return ev.lost_unicast_packets || ev.reordered_unicast_packets || ev.duplicate_unicast_packets ||
           ev.late_unicast_packets || ev.unicast_prbs_errors;
}

bool HasMulticastErrors(const Event& ev) {
    return ev.lost_mcast_packets || ev.reordered_mcast_packets || ev.duplicate_mcast_packets ||
           ev.late_mcast_packets || ev.mcast_prbs_errors;
}

constexpr std::uint64_t kNoCount = ~std::uint64_t{0};
/// An all-ones count is none.
std::uint64_t Known(std::uint64_t count) {
    return count == kNoCount ? 0 : count;
}

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

double DifferenceMs(std::int64_t a, std::int64_t b) {
    return ToMs(Difference(a, b));
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
        if (ev.last_pkt_ts_valid && has_channel)
            view.leave = Latency(ev.last_mcast_pkt_ts, ev.mcast_leave_ts, viewed);
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

std::string ToText(std::int64_t ticks) {
    const std::int64_t us = ticks / 100;
    const std::int64_t s = us / 1000000;
    return fmt::format("{:04}:{:02}:{:02}.{:06}{:03}", s / 3600, s / 60 % 60, s % 60, us % 1000000,
                       ticks % 100 * 10);
}

/// Smallest, largest and mean; all 0 without a value. The largest is never less than the smallest positive
/// number.
void PutStatistic(Figures& figures, const std::string& object, const std::string& name,
                  const std::vector<double>& values) {
    double smallest = std::numeric_limits<double>::max();
    double largest = std::numeric_limits<double>::min();
    double sum = 0;
    for (const double value : values) {
        smallest = std::min(smallest, value);
        largest = std::max(largest, value);
        sum += value;
    }
    const bool any = !values.empty();
    figures[object + "/Min" + name] = any ? smallest : 0.0;
    figures[object + "/Max" + name] = any ? largest : 0.0;
    figures[object + "/Avg" + name] = any ? sum / static_cast<double>(values.size()) : 0.0;
}

using Measures = std::initializer_list<std::pair<const char*, View::Measure View::*>>;
void PutStatistics(Figures& figures, const std::string& object, const Views& views, Measures measures) {
    for (const auto& [name, measure] : measures) {
        std::vector<double> values;
        for (const View* view : views)
            if (view->*measure) values.push_back(*(view->*measure));
        PutStatistic(figures, object, name, values);
    }
}

template <class Predicate>
std::uint64_t Count(const Views& views, Predicate predicate) {
    std::uint64_t count = 0;
    for (const View* view : views) count += predicate(*view) ? 1 : 0;
    return count;
}

template <class Predicate>
double CountAsDouble(const Views& views, Predicate predicate) {
    return static_cast<double>(Count(views, predicate));
}

std::uint64_t Total(const Views& views, std::uint64_t Event::*counter) {
    std::uint64_t total = 0;
    for (const View* view : views) total += Known(view->ev.*counter);
    return total;
}

double Total(const Views& views, double (View::*numbers)[5], int index) {
    double total = 0;
    for (const View* view : views) total += (view->*numbers)[index];
    return total;
}

double Ratio(double packets, double seconds) {
    return seconds == 0 ? 0.0 : packets / seconds;
}

template <class Address>
std::string HostAddress(const HostAddresses<Address>& addresses, std::uint32_t index) {
    if (index == 0) return Address().ToString();
    if (!addresses.list.empty()) return addresses.list.at(index - 1).ToString();
    Address address = addresses.first;
    for (std::uint32_t i = 1; i < index; ++i) address += addresses.step;
    return address.ToString();
}

/// The columns that both kinds of rows have.
template <class AnyEvent>
void PutCommonColumns(Figures& figures, const std::string& row, const OracleBlock& block,
                      const AnyEvent& ev) {
    using orv::common::CIpAddress;
    using orv::common::CIpv6Address;
    const auto put = [&](const char* column, Value value) { figures[row + "/" + column] = std::move(value); };
    const auto put_number = [&](const char* column, std::uint64_t number) { put(column, number); };
    put_number("EventNumber", ev.event_number);
    put_number("SetTopIndex", static_cast<std::uint32_t>(block.base_index + ev.settop_index));
    put_number("ViewedChannel", ev.viewed_channel);
    put_number("VlanTag", ev.vlan_tag);
    put_number("VlanInnerTag", ev.vlan_inner_tag);
    put_number("PppIndex", ev.ppp_index);
    put_number("Vci", ev.vci);
    put_number("Vpi", ev.vpi);
    const bool group_is_v4 = ev.viewed_ip.type == 0;
    put("ViewedIpv4Addr", (group_is_v4 ? CIpAddress(ev.viewed_ip.v4.address) : CIpAddress()).ToString());
    put("ViewedIpv6Addr", (group_is_v4 ? CIpv6Address() : CIpv6Address(ev.viewed_ip.v6.address)).ToString());
    put("Ipv4Addr", CIpAddress().ToString());
    put("Ipv6Addr", CIpv6Address().ToString());
    std::visit(
        [&](const auto& hosts) {
            constexpr bool kV4 = std::is_same_v<decltype(hosts), const HostAddresses<CIpAddress>&>;
            put(kV4 ? "Ipv4Addr" : "Ipv6Addr", HostAddress(hosts, ev.settop_index));
        },
        block.addresses);
}

void PutViewColumns(Figures& figures, const std::string& row, const View& view) {
    const Event& ev = view.ev;
    const auto put = [&](const char* column, Value value) { figures[row + "/" + column] = std::move(value); };
    const auto number = [&](const char* column, std::uint64_t value) { put(column, value); };
    const auto measure = [&](const char* column, View::Measure value) { put(column, value.value_or(0.0)); };

    put("LeaveTS", ToText(ev.mcast_leave_ts));
    put("LastMcastPktTS", ToText(ev.last_mcast_pkt_ts));
    put("LastLeaveTS", ToText(view.previous.leave));
    put("LastLastMcastPktTS", ToText(view.previous.last_packet));
    put("JoinTS", ToText(ev.mcast_join_ts));
    put("FirstMcastPktTS", ToText(ev.first_mcast_pkt_ts));
    put("UnicastJoinTS", ToText(ev.unicast_join_ts));
    put("UnicastLeaveTS", ToText(ev.unicast_leave_ts));
    put("FirstUnicastNosbPktTs", ToText(ev.first_unicast_nosb_pkt_ts));
    put("FirstUnicastSbitPktTs", ToText(ev.first_unicast_sbit_pkt_ts));
    put("LastUnicastNosbPktTs", ToText(ev.last_unicast_nosb_pkt_ts));
    put("LastUnicastSbitPktTs", ToText(ev.last_unicast_sbit_pkt_ts));
    put("TotalTime", DifferenceMs(ev.last_mcast_pkt_ts, ev.first_mcast_pkt_ts));
    put("TotalUnicastTimeNosb", DifferenceMs(ev.last_unicast_nosb_pkt_ts, ev.first_unicast_nosb_pkt_ts));
    put("TotalUnicastTimeSbit", DifferenceMs(ev.last_unicast_sbit_pkt_ts, ev.first_unicast_sbit_pkt_ts));

    number("TotalPkts", Known(ev.total_mcast_packets));
    number("DroppedFrameCount", Known(ev.lost_mcast_packets));
    number("ReorderedFrameCount", Known(ev.reordered_mcast_packets));
    number("DuplicateFrameCount", Known(ev.duplicate_mcast_packets));
    number("LateFrameCount", Known(ev.late_mcast_packets));
    number("PrbsErrorCount", Known(ev.mcast_prbs_errors));
    number("DroppedUnicastFrameCount", ev.lost_unicast_packets);
    number("ReorderedUnicastFrameCount", ev.reordered_unicast_packets);
    number("DuplicateUnicastFrameCount", ev.duplicate_unicast_packets);
    number("LateUnicastFrameCount", ev.late_unicast_packets);
    number("UnicastPrbsErrorCount", ev.unicast_prbs_errors);
    number("TotalUnicastPktsNosb", ev.total_unicast_nosb_packets);
    number("TotalUnicastPktsSbit", ev.total_unicast_sbit_packets);
    const bool underflow = ev.total_mcast_packets == kNoCount || ev.lost_mcast_packets == kNoCount ||
                           ev.reordered_mcast_packets == kNoCount || ev.duplicate_mcast_packets == kNoCount ||
                           ev.late_mcast_packets == kNoCount || ev.mcast_prbs_errors == kNoCount;
    const bool counted =
        !HasMulticastErrors(ev) && !HasUnicastErrors(ev) && !underflow && !view.unicast_failed;
    number("UnicastMulticastPktOverlapCount", counted ? ev.uni_multi_overlap_count : 0);
    number("UnicastMulticastPktGapCount", counted ? ev.uni_multi_gap_count : 0);

    number("UnderflowEvent", underflow);
    number("JoinLatencyFlag", ev.mcast_join_latency_flag);
    number("LeaveLatencyFlag", ev.mcast_leave_latency_flag);
    number("UnicastJoinLatencyFlag", ev.unicast_join_latency_flag);
    number("UnicastLeaveLatencyFlag", ev.unicast_leave_latency_flag);
    number("InvalidFirstPktTs", ev.first_pkt_ts_valid);
    number("InvalidLastPktTs", ev.last_pkt_ts_valid);
    number("ExtensionHeaderError", ev.ext_hdr_error);
    number("SbitFailure", ev.sbit_failure);
    number("FailedJoin", view.failed);
    number("DuplicateJoin", view.duplicate);
    number("FailedUnicastJoin", view.unicast_failed);
    number("DuplicateUnicastJoin", view.unicast_duplicate);

    measure("JoinLatency", view.join);
    measure("LeaveLatency", view.leave);
    measure("UnicastJoinLatency", view.unicast_join);
    measure("UnicastLeaveLatency", view.unicast_leave);
    measure("UnicastPktRateNosb", view.nosb_rate);
    measure("UnicastPktRateSbit", view.sbit_rate);
    measure("ChangeLatency", view.change);
    measure("GapLatency", view.gap);
    measure("OverlapLatency", view.overlap);
    measure("LeaveToLeaveInterval", view.leave_to_leave);
    measure("MulticastPktToLeaveInterval", view.packet_to_leave);
    measure("UnicastPktToLeaveInterval", view.unicast_to_leave);
    measure("LeaveJoinDelay", view.leave_to_join);
}

void PutJoinLeave(Figures& figures, const std::string& object, const Feed& feed) {
    const Views& views = feed.views;
    PutStatistics(figures, object, views,
                  {{"JoinLatency", &View::join},
                   {"LeaveLatency", &View::leave},
                   {"UnicastJoinLatency", &View::unicast_join},
                   {"UnicastLeaveLatency", &View::unicast_leave},
                   {"UnicastMulticastPktGap", &View::packet_gap},
                   {"UnicastMulticastPktOverlap", &View::packet_overlap},
                   {"UnicastPktRateNosb", &View::nosb_rate},
                   {"UnicastPktRateSbit", &View::sbit_rate}});
    for (const auto& [name, counter] : std::initializer_list<std::pair<const char*, std::uint64_t Event::*>>{
             {"DroppedFrameCount", &Event::lost_mcast_packets},
             {"ReorderedFrameCount", &Event::reordered_mcast_packets},
             {"DuplicateFrameCount", &Event::duplicate_mcast_packets},
             {"LateFrameCount", &Event::late_mcast_packets},
             {"PrbsErrorCount", &Event::mcast_prbs_errors},
             {"DroppedUnicastFrameCount", &Event::lost_unicast_packets},
             {"ReorderedUnicastFrameCount", &Event::reordered_unicast_packets},
             {"DuplicateUnicastFrameCount", &Event::duplicate_unicast_packets},
             {"LateUnicastFrameCount", &Event::late_unicast_packets},
             {"UnicastPrbsErrorCount", &Event::unicast_prbs_errors}}) {
        figures[object + "/" + name] = Total(views, counter);
    }
    const char* const kinds[5] = {"", "Multicast", "Unicast", "Unicast", "Unicast"};
    const char* const bits[5] = {"", "", "", "Nosb", "Sbit"};
    for (int i = 0; i < 5; ++i) {
        const double packets = Total(views, &View::packets, i);
        const std::string total = object + "/Total" + kinds[i];
        figures[total + "Pkts" + bits[i]] = packets;
        figures[total + "PktRate" + bits[i]] = Ratio(packets, Total(views, &View::seconds, i));
    }
    const auto put = [&](const char* name, Value value) { figures[object + "/" + name] = std::move(value); };
    put("NumOfChannelChanges", static_cast<double>(views.size()));
    put("JoinFails", CountAsDouble(views, [](const View& v) { return v.failed; }));
    put("UnicastJoinFails", CountAsDouble(views, [](const View& v) { return v.unicast_failed; }));
    put("DuplicateJoins", CountAsDouble(views, [](const View& v) { return v.duplicate; }));
    put("DuplicateUnicastJoins", CountAsDouble(views, [](const View& v) { return v.unicast_duplicate; }));
    put("ErroredStreams", CountAsDouble(views, [](const View& v) { return HasMulticastErrors(v.ev); }));
    put("ErroredUnicastStreams", CountAsDouble(views, [](const View& v) { return HasUnicastErrors(v.ev); }));
    put("InvalidFirstPktCount", Count(views, [](const View& v) { return !v.ev.first_pkt_ts_valid; }));
    put("InvalidLastPktCount", Count(views, [](const View& v) { return !v.ev.last_pkt_ts_valid; }));

    std::vector<double> latencies;
    std::uint64_t flagged = 0;
    std::uint64_t failed = 0;
    for (const Retransmission* retransmission : feed.retransmissions) {
        if (retransmission->latency) latencies.push_back(*retransmission->latency);
        flagged += retransmission->ev.flagged_retrans;
        failed += retransmission->ev.retrans_fail;
    }
    PutStatistic(figures, object, "RetransmissionLatency", latencies);
    put("FlaggedRetransmissionCount", flagged);
    put("FailedRetransmissionCount", failed);
}

void PutGapOverlap(Figures& figures, const std::string& object, const Feed& feed) {
    PutStatistics(
        figures, object, feed.views,
        {{"GapLatency", &View::gap}, {"OverlapLatency", &View::overlap}, {"ChangeLatency", &View::change}});
}

void PutTotals(Figures& figures, const std::string& object, const Feed& feed) {
    PutStatistics(figures, object, feed.views,
                  {{"LeaveToLeaveInterval", &View::leave_to_leave},
                   {"MulticastPktToLeaveInterval", &View::packet_to_leave},
                   {"UnicastPktToLeaveInterval", &View::unicast_to_leave},
                   {"LeaveJoinDelay", &View::leave_to_join}});
    for (const auto& [name, flag] : std::initializer_list<std::pair<const char*, bool Event::*>>{
             {"FlaggedJoins", &Event::mcast_join_latency_flag},
             {"FlaggedLeaves", &Event::mcast_leave_latency_flag},
             {"FlaggedUnicastJoins", &Event::unicast_join_latency_flag},
             {"FlaggedUnicastLeaves", &Event::unicast_leave_latency_flag},
             {"ExtHdrErrors", &Event::ext_hdr_error},
             {"SbitFailures", &Event::sbit_failure}}) {
        figures[object + "/" + name] =
            CountAsDouble(feed.views, [flag = flag](const View& v) { return v.ev.*flag; });
    }
}

void PutPort(Figures& figures, const std::string& object, const Feed& feed) {
    const auto put_total = [&](const char* name, std::uint64_t Event::*multicast,
                               std::uint64_t Event::*unicast) {
        figures[object + "/" + name] = Total(feed.views, multicast) + Total(feed.views, unicast);
    };
    put_total("DroppedFrameCount", &Event::lost_mcast_packets, &Event::lost_unicast_packets);
    put_total("ReorderedFrameCount", &Event::reordered_mcast_packets, &Event::reordered_unicast_packets);
    put_total("DuplicateFrameCount", &Event::duplicate_mcast_packets, &Event::duplicate_unicast_packets);
    put_total("LateFrameCount", &Event::late_mcast_packets, &Event::late_unicast_packets);
    put_total("PrbsErrorCount", &Event::mcast_prbs_errors, &Event::unicast_prbs_errors);
    const double packets = Total(feed.views, &View::packets, 0);
    figures[object + "/TotalPkts"] = packets;
    figures[object + "/TotalPktRate"] = Ratio(packets, Total(feed.views, &View::seconds, 0));
}

void PutRows(Figures& figures, const OracleBlock& block, const Feed& feed) {
    for (std::size_t i = 0; i < feed.views.size(); ++i) {
        const std::string row = fmt::format("Block {} view {}", block.name, i);
        PutCommonColumns(figures, row, block, feed.views[i]->ev);
        PutViewColumns(figures, row, *feed.views[i]);
    }
    for (std::size_t i = 0; i < feed.retransmissions.size(); ++i) {
        const std::string row = fmt::format("Block {} retransmission {}", block.name, i);
        const Retransmission& retransmission = *feed.retransmissions[i];
        const auto& ev = retransmission.ev;
        PutCommonColumns(figures, row, block, ev);
        figures[row + "/NackRtpSeqNum"] = std::uint64_t{ev.nack_rtp_seq_number};
        figures[row + "/RtpNackTs"] = ToText(ev.nack_pkt_tx_ts);
        figures[row + "/LastRetransmissionRtpPktTs"] = ToText(ev.last_retrans_rtp_pkt_rx_ts);
        figures[row + "/RetransmissionLatency"] = retransmission.latency.value_or(0.0);
        figures[row + "/FlaggedRetransmissionCount"] = std::uint64_t{ev.flagged_retrans};
        figures[row + "/FailedRetransmissionCount"] = std::uint64_t{ev.retrans_fail};
    }
}

const OracleRange* FindRange(const OracleBlock& block, std::uint32_t channel) {
    for (const OracleRange& range : block.ranges)
        if (range.active && range.first <= channel && channel <= range.last) return &range;
    return nullptr;
}

}  // namespace

void Oracle::Take(const iptvcd_1_bll::stblock_event_s& record) {
    for (const OracleBlock& block : blocks_) {
        if (block.handle != record.stblock_handle || !block.active) continue;
        const std::vector<Feed*> shared = {&feeds_["Block " + block.name],
                                           &feeds_["Profile " + block.profile],
                                           &feeds_["Port " + block.port]};
        const auto feeds_of = [&](const OracleRange& range) {
            std::vector<Feed*> feeds = shared;
            feeds.push_back(&feeds_["Range " + range.name]);
            return feeds;
        };
        for (const OracleRange& range : block.ranges)
            if (range.active) feeds_of(range);
        for (const Event& ev : record.events) {
            const OracleRange* range = FindRange(block, ev.viewed_channel);
            if (!range) continue;
            PreviousView& previous = previous_[block.base_index + ev.settop_index];
            views_.push_back(MeasureView(ev, previous, block.habit));
            previous = Remember(ev);
            for (Feed* feed : feeds_of(*range)) feed->views.push_back(&views_.back());
        }
        for (const auto& ev : record.rrr_events) {
            const OracleRange* range = FindRange(block, ev.viewed_channel);
            if (!range) continue;
            retransmissions_.push_back(MeasureRetransmission(ev));
            for (Feed* feed : feeds_of(*range)) feed->retransmissions.push_back(&retransmissions_.back());
        }
    }
}

double Oracle::GetFailedJoins() const {
    double failed = 0;
    for (const View& view : views_) failed += view.failed + view.unicast_failed;
    return failed;
}

double Oracle::GetNetChannelChanges() const {
    double changes = 0;
    for (const View& view : views_) changes += 1 - view.duplicate - view.unicast_duplicate;
    return changes;
}

std::map<std::string, std::vector<double>> Oracle::GetLatencies() const {
    std::map<std::string, Feed> feeds = feeds_;
    for (const View& view : views_) feeds["Test"].views.push_back(&view);
    for (const Retransmission& event : retransmissions_) feeds["Test"].retransmissions.push_back(&event);
    std::map<std::string, std::vector<double>> latencies;
    for (const auto& [object, feed] : feeds) {
        const auto put = [&, &name = object](const char* latency, const std::optional<double>& value) {
            if (value) latencies[name + "/" + latency].push_back(*value);
        };
        for (const View* view : feed.views) {
            put("join latency", view->join);
            put("leave latency", view->leave);
            put("change latency", view->change);
            put("gap latency", view->gap);
            put("overlap latency", view->overlap);
            put("unicast join latency", view->unicast_join);
        }
        for (const Retransmission* event : feed.retransmissions)
            put("retransmission latency", event->latency);
    }
    for (auto& [name, values] : latencies) std::sort(values.begin(), values.end());
    return latencies;
}

Figures Oracle::GetFigures() const {
    Figures figures;
    const auto find = [this](const std::string& object) {
        const auto found = feeds_.find(object);
        return found == feeds_.end() ? nullptr : &found->second;
    };
    for (const OracleBlock& block : blocks_) {
        for (const OracleRange& range : block.ranges) {
            const std::string object = "Range " + range.name;
            if (!find(object)) continue;
            PutJoinLeave(figures, object, *find(object));
            figures[object + "/ChannelName"] = range.channel_name;
            figures[object + "/NumOfChannels"] = std::uint64_t{range.last + 1 - range.first};
        }
        const std::string object = "Block " + block.name;
        const Feed* feed = find(object);
        if (!feed) continue;
        PutJoinLeave(figures, object, *feed);
        PutGapOverlap(figures, object, *feed);
        PutTotals(figures, object, *feed);
        figures[object + "/ProfileName"] = block.profile;
        figures[object + "/JoinLatencyThreshold"] = static_cast<double>(block.habit.threshold_ms);
        figures[object + "/NumClients"] = std::uint64_t{block.clients};
        if (block.rows) PutRows(figures, block, *feed);
        const std::string profile = "Profile " + block.profile;
        PutJoinLeave(figures, profile, *find(profile));
        PutGapOverlap(figures, profile, *find(profile));
        PutPort(figures, "Port " + block.port, *find("Port " + block.port));
    }
    return figures;
}

}  // namespace results_test
