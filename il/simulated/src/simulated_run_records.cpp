// End and record of a view.
#include <algorithm>

#include "packets.h"
#include "simulated_record.h"
#include "simulated_run.h"

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about

namespace {

/// How long routers keep forwarding a group without reports, when hosts cannot send a leave
/// (RFC 2236 section 8.4: twice the query interval of 125 s, and the response interval of 10 s).
constexpr Time kGroupMembershipInterval = 260 * kSecond;

}  // namespace

/// Whether a packet is in flight that decides whether the join failed.
bool SimulatedRun::awaits_packet(const Stb& stb, Time now) const {
    const bool multicast = stb.member && stb.first > now;
    return multicast ||
           (stb.unicast_join != kNever && stb.unicast_first > now && !has_left_unicast(stb, now));
}

void SimulatedRun::end_view(Stb& stb, Time now, Ending ending) {
    ViewTimes view;
    if (stb.unicast_join != kNever) leave_unicast(stb, now, ending, view);
    if (stb.join != kNever) leave_multicast(stb, now, view);
    record(stb, view);
    if (stb.interrupted) interruptions_.erase(number_of(stb));
    stb.viewing = stb.member = stb.interrupted = false;
    stb.last_leave = now;
    stb.join = stb.first = kNever;
}

void SimulatedRun::leave_multicast(Stb& stb, Time now, ViewTimes& view) {
    const PlannedChannel& channel = channel_of(stb);
    const NetworkBehaviour& network = network_of(channel);
    view.join = stb.join;
    view.leave = now;
    Time last = now;
    if (stb.member) {
        const bool tells = block_of(stb).config.igmp_version != IgmpVersion::IGMP_VERSION1;
        const Time end =
            tells ? now + draw_delay(network.leave_delay, stb.random) + draw_delay(network.jitter, stb.random)
                  : now + kGroupMembershipInterval;
        const bool was_last = streams_.leave(stb.link, channel.group_index, end);
        // An STB that cannot send a leave still stops listening.
        if (tells && was_last) last = end;
        view.last_valid = tells;
    }
    if (stb.first == kNever || stb.first > now) return;  // the first packet came too late
    view.first = stb.first;
    view.last = last;
    if (stb.interrupted) add_interruption(stb, now, view);
    view.last = last_arrival(view.first, view.last, network.packet_rate, network.loss, stb.random);
}

void SimulatedRun::record(Stb& stb, const ViewTimes& view) {
    const PlannedBlock& block = block_of(stb);
    const PlannedChannel& channel = channel_of(stb);
    stbox_event_s& event = report_.add_event(stb.block);
    identify(block, channel, stb.index, event);
    fill_in(view, block.profile, network_of(channel), counter_, stb.random, event);

    if (event.lost_mcast_packets > 0 && plan_.retransmits() && channel.nack_enable)
        record_nacks(stb, view, event.lost_mcast_packets);
}

void SimulatedRun::record_nacks(Stb& stb, const ViewTimes& view, std::uint64_t lost) {
    const PlannedBlock& block = block_of(stb);
    const PlannedChannel& channel = channel_of(stb);
    const auto& config = block.config.rrr_stbConfig;
    if (config.empty() || !config[0].stbNackEnable) return;
    const auto& test = plan_.test.rrr_test_config;
    const std::uint32_t threshold = test.empty() ? 0 : test[0].testRetransThres;
    const Retransmissions::View lossy{view.first, std::min(view.last, view.leave), view.leave, lost};
    for (const auto& sent : retransmissions_.work_out(lossy, config[0], threshold, network_of(channel),
                                                      stb.random, stb.next_nack)) {
        stbox_event_rrr_s& rrr_event = report_.add_rrr_event(stb.block);
        identify(block, channel, stb.index, rrr_event);
        rrr_event.nack_rtp_seq_number = sent.sequence;
        rrr_event.nack_pkt_tx_ts = counter_.read(sent.sent);
        rrr_event.last_retrans_rtp_pkt_rx_ts = counter_.read(sent.last_received);
        rrr_event.flagged_retrans = sent.flagged;
        rrr_event.retrans_fail = sent.failed;
    }
}

}  // namespace orv::il
