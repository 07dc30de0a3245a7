#include "missing_packets.h"

#include <algorithm>

namespace orv::nic {

using il::kNever;
using il::Time;

namespace {

/// How long a retransmission may take after the view has ended.
constexpr Time kLastRepair = 300 * il::kMillisecond;

}  // namespace

MissingPackets::Outcome MissingPackets::Nack::outcome() const {
    return {.packet_id = packet_id,
            .sent = sent,
            .last_received = last_received == kNever ? sent : last_received,
            .failed = received < asked};
}

void MissingPackets::restart(const Settings& settings) {
    settings_ = settings;
    missing_.clear();
    nacks_.clear();
    first_nack_ = 0;
    ended_ = kNever;
}

std::size_t MissingPackets::miss_before(std::uint16_t sequence, std::uint64_t count, Time now) {
    if (ended_ != kNever) return 0;
    const std::size_t room = kMostMissing - std::min(missing_.size(), kMostMissing);
    const auto asks = static_cast<std::size_t>(std::min<std::uint64_t>(count, room));
    std::size_t added = 0;
    for (std::size_t i = asks; i > 0; --i) {
        const auto number = static_cast<std::uint16_t>(sequence - i);
        if (find(number) != missing_.end()) continue;  // in the burst as well
        missing_.push_back({number, now + settings_.delay, kNone});
        ++added;
    }
    return added;
}

std::vector<MissingPackets::Missing>::iterator MissingPackets::find(std::uint16_t sequence) {
    return std::ranges::find(missing_, sequence, &Missing::sequence);
}

MissingPackets::Nack* MissingPackets::find_nack(std::uint32_t number) {
    if (number == kNone || number < first_nack_ || number - first_nack_ >= nacks_.size()) return nullptr;
    return &nacks_[number - first_nack_];
}

bool MissingPackets::on_repair(std::uint16_t sequence, Time stamp) {
    const auto found = find(sequence);
    if (found == missing_.end() || found->nack == kNone) return false;
    if (Nack* nack = find_nack(found->nack)) {
        ++nack->received;
        nack->last_received = std::max(nack->last_received, stamp);
    }
    missing_.erase(found);
    return true;
}

Time MissingPackets::next() const {
    Time next = kNever;
    if (ended_ != kNever) return next;
    for (const Missing& missing : missing_)
        if (missing.due != kNever && (next == kNever || missing.due < next)) next = missing.due;
    return next;
}

void MissingPackets::take_over(Missing& missing, std::uint32_t number, Time now) {
    if (Nack* before = find_nack(missing.nack)) ++before->given_up;
    missing.nack = number;
    missing.due = settings_.interval > 0 ? now + settings_.interval : kNever;
}

std::optional<MissingPackets::Request> MissingPackets::ask(Time now) {
    if (ended_ != kNever) return {};
    const auto is_due = [now](const Missing& missing) { return missing.due != kNever && missing.due <= now; };
    const auto first = std::ranges::find_if(missing_, is_due);
    if (first == missing_.end()) return {};
    Request request{.number = first_nack_ + static_cast<std::uint32_t>(nacks_.size()), .entry = {}};
    request.entry.packet_id = first->sequence;
    Nack& nack = nacks_.emplace_back();
    nack.packet_id = first->sequence;
    for (Missing& missing : missing_) {
        const auto distance = static_cast<std::uint16_t>(missing.sequence - nack.packet_id);
        if (distance > 16) continue;
        const auto bit = static_cast<std::uint16_t>(distance == 0 ? 0 : 1U << (distance - 1));
        // One that is in flight waits for its interval.
        const bool may =
            distance == 0 || ((settings_.mask & bit) != 0 && (missing.nack == kNone || is_due(missing)));
        if (!may) continue;
        take_over(missing, request.number, now);
        ++nack.asked;
        request.entry.mask = static_cast<std::uint16_t>(request.entry.mask | bit);
    }
    return request;
}

void MissingPackets::on_sent(std::uint32_t number, Time stamp) {
    if (Nack* nack = find_nack(number)) nack->sent = stamp;
}

void MissingPackets::on_unsent(std::uint32_t number) {
    if (Nack* nack = find_nack(number)) nack->is_lost = true;
}

void MissingPackets::end(Time now) {
    ended_ = now;
}

bool MissingPackets::is_waiting(Time now) const {
    if (ended_ != kNever && now - ended_ >= kLastRepair) return false;
    return std::ranges::any_of(missing_, [](const Missing& missing) { return missing.nack != kNone; });
}

}  // namespace orv::nic
