#include "burst.h"

#include <algorithm>

#include "orv/live/rams_response.h"
#include "orv/live/stream_packet.h"

namespace orv::nic {

using il::kNever;
using il::Time;
using Sbit = UnicastSettings::Sbit;

namespace {

/// As of a multicast stream (RFC 3550 appendix A.1).
constexpr std::uint64_t kMostDropout = 3000;

}  // namespace

void Burst::Part::add(Time stamp) {
    if (packets++ == 0) first = stamp;
    last = stamp;
}

Burst::Reaction Burst::on_information(const live::RamsInformation& information) {
    const bool was_refused = state_ == State::Refused;
    response_ = information.response;
    // Messages may be repeated, and an updated one may leave out what has not changed.
    if (information.earliest_join_ms) join_time_ = il::ms(*information.earliest_join_ms);
    switch (live::ExplainRamsResponse(information.response).meaning) {
        case live::RamsMeaning::Accepted:
            if (was_refused) return Reaction::None;  // one that was overtaken: no request follows a refusal
            state_ = State::Accepted;
            if (information.first_sequence) first_sequence_ = information.first_sequence;
            return Reaction::None;
        case live::RamsMeaning::Update:
        case live::RamsMeaning::Completed:
            return Reaction::None;
        case live::RamsMeaning::Correctable:
        case live::RamsMeaning::Transient:
        case live::RamsMeaning::Permanent:
            state_ = State::Refused;
            join_time_.reset();  // that of a refusal is always 0
            return Reaction::JoinNow;
        case live::RamsMeaning::Unknown:
            break;
    }
    state_ = State::Refused;
    join_time_.reset();
    return Reaction::Terminate;
}

void Burst::give_up() {
    if (state_ == State::Requested) state_ = State::Unanswered;
}

Time Burst::announced_sbit() const {
    const bool may_be_announced = sbit_ == Sbit::JoinTime || (sbit_ == Sbit::Automatic && !has_extension_);
    return may_be_announced && join_time_ && first_ != kNever ? first_ + *join_time_ : kNever;
}

bool Burst::has_sbit(const live::RetransmissionPacket& packet, Time stamp) {
    has_extension_ = has_extension_ || packet.has_extension;
    if (sbit_ == Sbit::HeaderExtension || (sbit_ == Sbit::Automatic && has_extension_))
        return packet.has_sbit;
    const Time announced = announced_sbit();
    return announced != kNever && stamp >= announced;
}

std::uint64_t Burst::on_packet(const live::RetransmissionPacket& packet, Time stamp) {
    const bool is_first = first_ == kNever;
    if (state_ == State::Requested || state_ == State::Unanswered) state_ = State::Accepted;
    if (!ssrc_) ssrc_ = packet.ssrc;
    if (is_first) first_ = stamp;
    last_ = std::max(last_, stamp);
    (has_sbit(packet, stamp) ? with_sbit_ : without_sbit_).add(stamp);
    if (is_signed_) {
        const auto read = live::ReadStreamPayload(packet.payload);
        if (read && !read->is_intact) ++packets_.payload_errors;
        has_right_number_ =
            !read || !read->is_intact ||
            static_cast<std::uint16_t>(read->signature.sequence_number) == packet.original_sequence_number;
    }
    if (!counter_.has_begun() && first_sequence_) {
        // What the server says it began with may be lost.
        const auto lost = static_cast<std::int16_t>(packet.sequence_number - *first_sequence_);
        if (lost > 0 && static_cast<std::uint64_t>(lost) <= kMostDropout)
            counter_.expect(static_cast<std::uint16_t>(packet.original_sequence_number - lost));
    }
    const std::uint64_t missing =
        counter_.add_wrapping(packet.original_sequence_number, kMostDropout, packets_);
    // Multicast came before the burst.
    if (is_first && first_multicast_) multicast_ = extended(*first_multicast_);
    return missing;
}

std::int64_t Burst::extended(std::uint16_t sequence) const {
    const auto highest = static_cast<std::int64_t>(counter_.highest());
    return highest + static_cast<std::int16_t>(sequence - static_cast<std::uint16_t>(highest));
}

bool Burst::is_next(std::uint16_t original_sequence) const {
    return counter_.has_begun() && original_sequence == static_cast<std::uint16_t>(counter_.highest() + 1);
}

void Burst::note_multicast(std::uint16_t sequence) {
    first_multicast_ = sequence;
    if (counter_.has_begun()) multicast_ = extended(sequence);
}

bool Burst::is_before_multicast(std::uint16_t original_sequence) const {
    return first_multicast_ && extended(original_sequence) < multicast_;
}

void Burst::fill_in(const il::TickCounter& counter, iptvcd_1_bll::stbox_event_s& event) const {
    event.first_unicast_nosb_pkt_ts = counter.read(without_sbit_.first);
    event.last_unicast_nosb_pkt_ts = counter.read(without_sbit_.last);
    event.first_unicast_sbit_pkt_ts = counter.read(with_sbit_.first);
    event.last_unicast_sbit_pkt_ts = counter.read(with_sbit_.last);
    event.total_unicast_nosb_packets = without_sbit_.packets;
    event.total_unicast_sbit_packets = with_sbit_.packets;
    event.lost_unicast_packets = packets_.lost;
    event.reordered_unicast_packets = packets_.reordered;
    event.duplicate_unicast_packets = packets_.duplicate;
    event.late_unicast_packets = packets_.late;
    event.unicast_prbs_errors = packets_.payload_errors;
    if (first_ == kNever || !first_multicast_) return;
    // Packets that came both ways, or neither.
    const std::int64_t both = static_cast<std::int64_t>(counter_.highest()) - multicast_ + 1;
    (both > 0 ? event.uni_multi_overlap_count : event.uni_multi_gap_count) =
        static_cast<std::uint64_t>(both > 0 ? both : -both);
}

}  // namespace orv::nic
