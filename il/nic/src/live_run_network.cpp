// What the network shows of the STBs' joins and leaves, and what it does about them.
#include <algorithm>

#include "live_run.h"

namespace orv::nic {

using il::kMillisecond;
using il::kNever;
using il::kSecond;
using il::Time;

namespace {

/// A network that still sends that long after a leave does not stop.
constexpr Time kLongestLeave = 10 * kSecond;
/// Polling interval for packets after a leave, and for frames in flight.
constexpr Time kWatchInterval = 50 * kMillisecond;
/// A frame that has not left by then is lost.
constexpr Time kLongestWay = kSecond;
constexpr Time kMostLateness = kMillisecond;
/// A port that is this late does not follow the test, and answers queries too late.
constexpr Time kOverload = 50 * kMillisecond;
/// Shortest interval between two notices of an older querier.
constexpr Time kNoteInterval = kSecond;

}  // namespace

std::size_t LiveRun::LinkAddressHash::operator()(const LinkAddress& key) const {
    return hash_of(key.address, key.link);
}

void LiveRun::on_sent(std::span<const std::byte> frame, Time stamp) {
    const auto ticket = sent_.take(frame);
    if (!ticket || ticket->view == kNone) return;
    View& view = views_[ticket->view];
    --view.on_the_way;
    if (ticket->act != Act::Nack) ++view.seen;
    if (is_concluded(view)) return release(ticket->view);
    switch (ticket->act) {
        case Act::Join:
            note_lateness(view.planned_join, stamp);
            return on_join(ticket->view, stamp);
        case Act::Leave:
            note_lateness(view.planned_leave, stamp);
            return on_leave(ticket->view, stamp, true);
        case Act::UnicastJoin:
            note_lateness(unicast_views_[view.unicast].planned_join, stamp);
            return on_unicast_join(ticket->view, stamp);
        case Act::UnicastLeave:
            note_lateness(unicast_views_[view.unicast].planned_leave, stamp);
            unicast_views_[view.unicast].leave = stamp;
            return;
        case Act::Nack:
            return unicast_views_[view.unicast].missing.on_sent(ticket->nack, stamp);
        case Act::Repeat:
            return;
    }
}

void LiveRun::note_lateness(Time planned, Time stamp) {
    if (planned == kNever) return;
    const Time late = stamp - planned;
    if (late > kMostLateness) ++context_.figures.late_joins;
    if (late > kOverload) ++context_.figures.very_late_joins;
    context_.figures.latest_join = std::max(context_.figures.latest_join, Nanoseconds(late));
}

void LiveRun::on_join(std::uint32_t id, Time stamp) {
    View& view = views_[id];
    Flow& flow = flow_of(view);
    Reception& reception = reception_of(view);
    view.times.join = stamp;
    // For any choice of sources: packets from now on may belong to this view.
    if (flow.leaver != kNone) resolve_leaver(flow, !reception_of(views_[flow.leaver]).flows(stamp));
    ++flow.members;
    const bool flows = reception.flows(stamp);
    if (reception.members++ == 0 && !flows) reception.restart();
    if (!flows) {
        reception.waiting.push_back(id);
        return;
    }
    // The link already receives the channel: the STB joins a flowing stream.
    view.times.first = reception.last();
    view.before = reception.packets();
    --view.before.received;
    on_first_multicast(id, reception.latest());
}

/// `told`: a leave frame was sent. There is none in IGMPv1, and with report suppression when another host was
/// the last to report. Packets that arrive later do not show a leave latency then.
void LiveRun::on_leave(std::uint32_t id, Time stamp, bool told) {
    View& view = views_[id];
    view.times.leave = stamp;
    if (view.times.join == kNever) return close(id);  // the join was not seen leaving
    Flow& flow = flow_of(view);
    Reception& reception = reception_of(view);
    --reception.members;
    --flow.members;
    const bool has_packet = view.times.first != kNever;
    if (has_packet) {
        view.times.last = reception.last();
        view.packets = reception.packets();
        view.times.last_valid = told;
    } else {
        std::erase(reception.waiting, id);
    }
    if (flow.members > 0 || !has_packet || !view.times.last_valid) return close(id);
    // The last member has left: measure how long the network still sends.
    flow.leaver = id;
    leavers_.push_back(&flow);
}

void LiveRun::on_packet(const live::ParsedFrame& frame, const live::UdpPacket& packet, Time stamp) {
    const auto link = links_.find(frame.vlan);
    Flow* flow = link ? flows_.find_or_make(*link, packet.destination, stamp) : nullptr;
    if (!flow) return;
    for (std::size_t index = 0; index < flow->receptions.size(); ++index) {
        Reception& reception = flow->receptions[index];
        if (!flows_.get_choice(*flow, index).lets_pass(packet.source)) continue;
        // The device stopped after the leave, and restarts for another member: nothing in between is missing.
        if (flow->leaver != kNone && views_[flow->leaver].place.reception == index &&
            reception.has_paused(stamp))
            resolve_leaver(*flow, true);
        const auto arrival = reception.add(stamp, packet);
        if (!arrival) continue;
        if (plan_.retransmits()) note_losses(*flow, index, *arrival, stamp);
        for (const std::uint32_t id : reception.waiting) {
            View& view = views_[id];
            view.times.first = stamp;
            view.before = reception.packets();
            --view.before.received;
            on_first_multicast(id, *arrival);
        }
        reception.waiting.clear();
    }
}

void LiveRun::on_frame(const live::ParsedFrame& frame, Time stamp) {
    if (const auto* packet = std::get_if<live::UdpPacket>(&frame.content)) {
        packet->destination.IsMulticast() ? on_packet(frame, *packet, stamp)
                                          : on_unicast(frame, *packet, stamp);
    } else if (const auto* query = std::get_if<live::MembershipQuery>(&frame.content)) {
        on_query(frame.vlan, *query);
    }
}

/// A device with many viewers behind one port asks for a group whenever one of them leaves it: only those who
/// view it have an answer. However many queries come, those that all hosts of a link have to hear are few.
void LiveRun::on_query(const live::VlanTags& vlan, const live::MembershipQuery& query) {
    const auto number = links_.find(vlan);
    if (!number) return;
    if (!query.destination.IsMulticast()) {
        const auto asked = own_addresses_.find({*number, query.destination});
        if (asked != own_addresses_.end()) hosts_[asked->second].OnQuery(query);
        return;
    }
    Link& link = by_link_[*number];
    const Time now = context_.timeline.GetNow().count();
    const bool concerns_version =
        query.group.IsUnspecified() || query.version == live::MembershipVersion::Mld1;
    if (concerns_version && std::exchange(link.querier, query.version) != query.version)
        ++link.querier_changes;
    if (query.group.IsUnspecified()) {
        if (!link.general_queries.lets_pass(query, now)) return;
        fan_out_.add(link.stbs, query);
        return;
    }
    // An older querier concerns all hosts of the link (RFC 3810 section 8.2.1).
    if (query.version == live::MembershipVersion::Mld1 &&
        (link.querier_noted == kNever || now - link.querier_noted >= kNoteInterval)) {
        link.querier_noted = now;
        for (const std::uint32_t stb : link.stbs) hosts_[stb].NoteQuerier(query);
    }
    Flow* flow = flows_.find(*number, query.group);
    if (!flow) return;
    flow->viewers.ask(query, now, link.querier_changes,
                      [&](std::uint32_t stb) { hosts_[stb].OnQuery(query); });
}

void LiveRun::on_report(const live::VlanTags& vlan, const live::IpAddress& group,
                        const live::MacAddress& sender) {
    const auto link = links_.find(vlan);
    if (!link) return;
    Flow* flow = flows_.find(*link, group);
    if (!flow) return;
    for (const std::uint32_t number : flow->viewers)
        if (hosts_[number].GetAddress().mac != sender) hosts_[number].OnReport(group);
    flow->viewers.on_nobody_answers();  // they leave it to the sender
}

/// The leaver gets only what has arrived up to now.
/// `is_known`: no more would have come.
void LiveRun::resolve_leaver(Flow& flow, bool is_known) {
    View& view = views_[flow.leaver];
    const Reception& reception = reception_of(view);
    view.times.last = reception.last();
    view.times.last_valid = is_known;
    view.packets = reception.packets();
    close(std::exchange(flow.leaver, kNone));
}

void LiveRun::watch() {
    const Time now = context_.timeline.GetNow().count();
    forget_unseen(now - kLongestWay);
    watch_draining(now);
    std::erase_if(leavers_, [this, now](Flow* flow) {
        if (flow->leaver == kNone) return true;
        const View& view = views_[flow->leaver];
        const Reception& reception = reception_of(view);
        const Time leave = view.times.leave;
        const Time silent_since = std::max(reception.last(), leave);
        if (now - silent_since < reception.quiet_time() && now - leave < kLongestLeave) return false;
        resolve_leaver(*flow, true);
        return true;
    });
    watch_timer_ = 0;
    const bool has_idle_flows = flows_.take_back_idle(now);
    if (leavers_.empty() && draining_.empty() && sent_.empty() && !has_idle_flows) return;
    watch_timer_ = context_.timeline.PostAfter(Nanoseconds(kWatchInterval), [this] { watch(); });
}

/// Discards views whose frames did not leave the interface.
void LiveRun::forget_unseen(Time sent_before) {
    while (const auto ticket = sent_.take_sent_before(sent_before)) {
        if (ticket->view == kNone) continue;
        ++context_.figures.unseen;
        View& view = views_[ticket->view];
        --view.on_the_way;
        // Only the record of the NACK is wrong.
        if (ticket->act != Act::Nack) view.unseen = true;
        if (is_concluded(view)) {
            release(ticket->view);
        } else if (ticket->act == Act::Leave) {
            on_leave(ticket->view, sent_before, true);
        } else if (ticket->act == Act::UnicastJoin) {
            on_unicast_join(ticket->view, context_.timeline.GetNow().count());
        } else if (ticket->act == Act::UnicastLeave) {
            unicast_views_[view.unicast].leave = sent_before;
        } else if (ticket->act == Act::Nack) {
            unicast_views_[view.unicast].missing.on_unsent(ticket->nack);
        }
    }
}

}  // namespace orv::nic
