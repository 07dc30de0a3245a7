// How a view ends and what is recorded of it.
#include <algorithm>

#include "test_run.h"

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about

namespace {

/// How long routers keep sending a group that nobody reports any more, when nobody can say that he left
/// (RFC 2236 section 8.4: twice the query interval of 125 s, and the response interval of 10 s).
constexpr Time kGroupMembershipInterval = 260 * kSecond;

}  // namespace

void TestRun::end_view(Stb& stb, Time now) {
    ViewTimes view;
    if (stb.unicast_join != kNever) leave_unicast(stb, now, view);
    if (stb.join != kNever) leave_multicast(stb, now, view);
    record(stb, view);
    stb.viewing = stb.member = false;
    stb.last_leave = now;
    stb.join = stb.first = kNever;
}

void TestRun::leave_multicast(Stb& stb, Time now, ViewTimes& view) {
    view.join = stb.join;
    view.leave = now;
    if (!stb.member) return;
    const PlannedChannel& channel = channel_of(stb);
    const bool tells = block_of(stb).config.igmp_version != IgmpVersion::IGMP_VERSION1;
    Time last = now + kGroupMembershipInterval;
    if (tells) {
        last = now + stb.random.duration(channel.network->leave_delay) +
               stb.random.duration(channel.network->jitter);
    }
    const bool was_last = streams_.leave(stb.link, channel.group_index, last);
    if (stb.first == kNever || stb.first > now) return;  // the first packet is nobody's any more
    view.first = stb.first;
    view.last = was_last ? last : now;
    if (!tells && view.last > end_) {
        view.last = std::max(end_, now);
        view.last_valid = false;
    }
}

void TestRun::leave_unicast(Stb& stb, Time now, ViewTimes& view) const {
    const PlannedBlock& block = block_of(stb);
    const NetworkBehaviour& network = *channel_of(stb).network;
    const bool stays = block.profile.unicast_only || block.profile.unicast_stay;
    view.unicast_join = stb.unicast_join;
    view.unicast_leave = stays || stb.unicast_leave == kNever ? now : std::min(stb.unicast_leave, now);
    view.sbit_failure = stb.sbit_failure;
    if (stb.unicast_first == kNever) return;
    const Time last = view.unicast_leave + stb.random.duration(network.unicast_leave_delay) +
                      stb.random.duration(network.jitter);
    if (stb.unicast_first > last) return;
    view.unicast_first = stb.unicast_first;
    view.unicast_last = last;
    if (stb.sbit_first != kNever && stb.sbit_first <= last) view.sbit_first = stb.sbit_first;
}

template <class Event>
void TestRun::identify(const Stb& stb, Event& event) const {
    const PlannedChannel& channel = channel_of(stb);
    const settopBlockConfig_s& config = block_of(stb).config;
    event.settop_index = stb.index;
    event.viewed_channel = channel.number;
    event.viewed_ip = channel.group;
    event.vlan_tag = static_cast<std::uint16_t>(config.vlan_tag + stb.index * config.vlan_step);
    event.vlan_inner_tag =
        static_cast<std::uint16_t>(config.vlan_inner_tag + stb.index * config.vlan_inner_step);
    if (!config.ppp_index.empty()) event.ppp_index = config.ppp_index[stb.index];
}

void TestRun::record(Stb& stb, const ViewTimes& view) {
    const PlannedBlock& block = block_of(stb);
    const PlannedChannel& channel = channel_of(stb);
    stbox_event_s& event = report_.add_event(stb.block);
    identify(stb, event);
    fill_in(view, block.profile, *channel.network, counter_, stb.random, event);

    const auto& nack = block.config.rrr_stbConfig;
    if (!plan_.retransmits() || nack.empty() || !nack[0].stbNackEnable || !channel.nack_enable) return;
    if (event.lost_mcast_packets == 0) return;
    const auto& test = plan_.test.rrr_test_config;
    const std::uint32_t threshold = test.empty() ? 0 : test[0].testRetransThres;
    const Retransmissions::View lossy{view.first, view.leave, event.lost_mcast_packets};
    for (const auto& sent :
         retransmissions_.work_out(lossy, nack[0], threshold, *channel.network, stb.random)) {
        stbox_event_rrr_s& rrr_event = report_.add_rrr_event(stb.block);
        identify(stb, rrr_event);
        rrr_event.nack_rtp_seq_number = sent.sequence;
        rrr_event.nack_pkt_tx_ts = counter_.read(sent.sent);
        rrr_event.last_retrans_rtp_pkt_rx_ts = counter_.read(sent.last_received);
        rrr_event.flagged_retrans = sent.flagged;
        rrr_event.retrans_fail = sent.failed;
    }
}

}  // namespace orv::il
