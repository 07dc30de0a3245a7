// Retransmission: what STBs miss, and the NACKs that they send for it.
#include "live_run.h"

namespace orv::nic {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about
using il::kNever;
using il::Step;
using il::Time;

/// A packet of the multicast stream, for all who view it.
void LiveRun::note_losses(const Flow& flow, std::size_t reception, const Arrival& arrival, Time stamp) {
    if (arrival.missing == 0) return;
    for (const std::uint32_t number : flow.viewers) {
        const View& view = views_[stbs_[number].view];
        // What came before its first packet is nothing that an STB misses.
        if (view.place.reception != reception || view.times.first == kNever) continue;
        if (view.unicast != kNone && unicast_views_[view.unicast].repairs)
            note_missing(number, arrival.sequence, arrival.missing, stamp);
    }
}

/// The `count` packets before `sequence`.
void LiveRun::note_missing(std::uint32_t number, std::uint16_t sequence, std::uint64_t count, Time stamp) {
    MissingPackets& missing = unicast_of(stbs_[number].view)->missing;
    context_.figures.packets_missed += missing.miss_before(sequence, count, stamp);
    schedule(number, Step::AskRepair, missing.next());
    arm();
}

/// A server that does hardly anything of what an STB wants is an error, one that fails now and then shows in
/// figures.
void LiveRun::look_at_servers() {
    constexpr std::uint64_t kFew = 3, kMost = 10;
    for (std::uint32_t number = 0; number < unicast_stbs_.size(); ++number) {
        const UnicastStb& own = unicast_stbs_[number];
        if (own.nacks >= kFew && kMost * own.repairs < own.nacks)
            complain(number, ServerKind::Repair, ServerComplaints::Kind::FewRepairs);
        if (own.bursts_without_sbit > 0 && own.bursts_with_sbit == 0)
            complain(number, ServerKind::Burst, ServerComplaints::Kind::NoSbit);
    }
}

/// What came late, or by the burst, or by multicast during the burst, is not missing to the viewer.
void LiveRun::forget_arrived(std::uint32_t id) {
    const View& view = views_[id];
    UnicastView& unicast = *unicast_of(id);
    const Reception& reception = reception_of(view);
    const auto is_viewed = [&](std::uint16_t sequence) {
        if (!unicast.first_multicast) return false;
        return unicast.all_viewed || static_cast<std::int16_t>(sequence - *unicast.first_multicast) >= 0;
    };
    // As long as numbers can be compared with the first one; no loss is older than some seconds.
    constexpr std::uint16_t kManyPackets = 0x6000;
    if (unicast.first_multicast && !unicast.all_viewed)
        unicast.all_viewed =
            static_cast<std::uint16_t>(reception.latest().sequence - *unicast.first_multicast) > kManyPackets;
    context_.figures.packets_missed -= unicast.missing.forget([&](std::uint16_t sequence) {
        return unicast.burst.has(sequence) || (is_viewed(sequence) && reception.has(sequence));
    });
}

void LiveRun::ask_repair(std::uint32_t number) {
    const std::uint32_t id = stbs_[number].view;
    UnicastView* unicast = unicast_of(id);
    if (!unicast || !unicast->repairs || !prepare(number, ServerKind::Repair, Step::AskRepair)) return;
    ServerLink& server = server_of(number, ServerKind::Repair);
    forget_arrived(id);
    if (const auto request = unicast->missing.ask(context_.timeline.GetNow().count())) {
        const std::size_t length = live::WriteNack(
            payload_room(server), sender_of(unicast_stbs_[number], server),
            unicast->stream_ssrc.value_or(unicast->media_ssrc), std::span(&request->entry, 1));
        ++context_.figures.nacks_sent;
        ++unicast_stbs_[number].nacks;
        send_to(server, length, {id, Act::Nack, request->number});
    }
    record_nacks(id, false);
    schedule(number, Step::AskRepair, unicast->missing.next());
}

/// False if nobody asked for the packet.
bool LiveRun::on_repair(std::uint32_t number, const live::RetransmissionPacket& packet, Time stamp) {
    UnicastStb& own = unicast_stbs_[number];
    const auto media = own.media_of(packet.ssrc);
    for (const std::uint32_t id : {stbs_[number].view, own.draining}) {
        UnicastView* unicast = unicast_of(id);
        if (!unicast || unicast->closed || !unicast->repairs) continue;
        if (media && *media != unicast->media_ssrc) continue;
        if (unicast->burst.is_next(packet.original_sequence_number) && !unicast->left) continue;
        forget_arrived(id);
        switch (unicast->missing.on_repair(packet.original_sequence_number, stamp)) {
            case MissingPackets::Repair::Unasked:
                continue;
            case MissingPackets::Repair::Repaired:
                own.learn(packet.ssrc, unicast->media_ssrc);
                ++context_.figures.packets_repaired;
                ++own.repairs;
                break;
            case MissingPackets::Repair::Copy:
                break;
        }
        record_nacks(id, false);
        return true;
    }
    return false;
}

/// Of the NACKs whose outcome is known.
void LiveRun::record_nacks(std::uint32_t id, bool is_final) {
    const View& view = views_[id];
    const Stb& stb = stbs_[view.stb];
    const il::PlannedBlock& block = block_of(stb);
    const auto& test = plan_.test.rrr_test_config;
    const Time threshold = il::ms(test.empty() ? 0 : test[0].testRetransThres);
    unicast_of(id)->missing.take_outcomes(is_final, [&](const MissingPackets::Outcome& nack) {
        stbox_event_rrr_s& event = context_.report.add_rrr_event(stb.block);
        il::identify(block, channel_of(view), stb.index, event);
        event.nack_rtp_seq_number = nack.packet_id;
        event.nack_pkt_tx_ts = context_.counter.read(nack.sent);
        event.last_retrans_rtp_pkt_rx_ts = context_.counter.read(nack.last_received);
        event.flagged_retrans = threshold > 0 && nack.last_received - nack.sent > threshold;
        event.retrans_fail = nack.failed;
        if (context_.report.is_full()) context_.report.deliver();
    });
}

}  // namespace orv::nic
