#include "missing_packets.h"

#include <cstdlib>
#include <utility>

namespace orv::nic {

using il::kNever;
using il::Time;

namespace {

/// How long a retransmission may take after the view has ended.
constexpr Time kLastRepair = 300 * il::kMillisecond;
/// What has not come by then, or for so many intervals, will not come: no server keeps more than some
/// seconds.
constexpr Time kLongestWait = il::kSecond;
constexpr Time kMostIntervals = 3;

/// Whether `a` comes before `b`, of numbers that are near each other.
bool is_before(std::uint16_t a, std::uint16_t b) {
    return static_cast<std::int16_t>(a - b) < 0;
}

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
    asked_.clear();
    nacks_.clear();
    first_nack_ = 0;
    dones_ = 0;
    ended_ = kNever;
}

Time MissingPackets::longest_wait() const {
    return std::max(kLongestWait, settings_.delay + kMostIntervals * settings_.interval);
}

std::uint64_t MissingPackets::miss_before(std::uint16_t sequence, std::uint64_t count, Time now) {
    if (ended_ != kNever) return 0;
    const std::size_t room = kMostMissing - std::min(missing_.size(), kMostMissing);
    const auto asks = static_cast<std::size_t>(std::min<std::uint64_t>(count, room));
    // Losses of one stream come in order; the burst may have lost the same.
    const auto first = static_cast<std::uint16_t>(sequence - asks);
    const bool may_be_known = !missing_.empty() && !is_before(missing_.back().sequence, first);
    std::uint64_t known = 0;
    for (std::size_t i = asks; i > 0; --i) {
        const auto number = static_cast<std::uint16_t>(sequence - i);
        if (may_be_known && find(number) != missing_.end()) {
            ++known;
        } else {
            missing_.push_back({number, now, now + settings_.delay});
        }
    }
    return count - known;
}

std::vector<MissingPackets::Missing>::iterator MissingPackets::find(std::uint16_t sequence) {
    return std::ranges::find(missing_, sequence, &Missing::sequence);
}

MissingPackets::Nack* MissingPackets::find_nack(std::uint32_t number) {
    if (number < first_nack_ || number - first_nack_ >= nacks_.size()) return nullptr;
    return &nacks_[number - first_nack_];
}

MissingPackets::Repair MissingPackets::on_repair(std::uint16_t sequence, Time stamp) {
    const auto asked = find_asked(sequence, stamp);
    if (asked == asked_.end()) {
        const auto end = done_.begin() + static_cast<std::ptrdiff_t>(std::min(dones_, done_.size()));
        return std::find(done_.begin(), end, sequence) != end ? Repair::Copy : Repair::Unasked;
    }
    if (Nack* nack = find_nack(asked->nack)) {
        ++nack->received;
        nack->last_received = std::max(nack->last_received, stamp);
    }
    asked_.erase(asked);
    const auto missing = find(sequence);
    if (missing == missing_.end()) return Repair::Copy;
    missing_.erase(missing);
    remember(sequence);
    return Repair::Repaired;
}

/// Which of several NACKs for a packet is answered: the one that was sent about as long ago as answers take.
std::vector<MissingPackets::Asked>::iterator MissingPackets::find_asked(std::uint16_t sequence, Time stamp) {
    auto first = asked_.end(), best = asked_.end();
    const auto error = [&](const Asked& asked) { return std::abs(stamp - asked.time - response_); };
    for (auto asked = asked_.begin(); asked != asked_.end(); ++asked) {
        if (asked->sequence != sequence) continue;
        if (first == asked_.end()) first = asked;
        if (best == asked_.end() || error(*asked) < error(*best)) best = asked;
    }
    if (first == asked_.end()) return best;
    // It is known of an only one, and of one whose packet has come before: then all are answered in turn.
    const bool is_only = first == best && !first->is_repeated;
    if (is_only || find(sequence) == missing_.end())
        response_ += (stamp - first->time - response_) / (is_only ? 8 : 2);
    return best;
}

Time MissingPackets::next() const {
    Time next = kNever;
    if (ended_ != kNever) return next;
    for (const Missing& missing : missing_)
        if (missing.due != kNever && (next == kNever || missing.due < next)) next = missing.due;
    return next;
}

/// So that numbers can come again, and an outcome does not wait for the end of a view of hours.
void MissingPackets::give_up_old(Time now) {
    const Time oldest = now - longest_wait();
    std::erase_if(missing_, [oldest](const Missing& missing) { return missing.noticed < oldest; });
    std::erase_if(asked_, [this, oldest](const Asked& asked) {
        if (asked.time >= oldest) return false;
        if (Nack* nack = find_nack(asked.nack)) ++nack->given_up;
        return true;
    });
}

std::optional<MissingPackets::Request> MissingPackets::ask(Time now) {
    if (ended_ != kNever) return {};
    give_up_old(now);
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
            distance == 0 || ((settings_.mask & bit) != 0 && (!missing.is_asked || is_due(missing)));
        if (!may) continue;
        missing.due = settings_.interval > 0 ? now + settings_.interval : kNever;
        asked_.push_back({missing.sequence, request.number, now, std::exchange(missing.is_asked, true)});
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
    return !asked_.empty() && (ended_ == kNever || now - ended_ < kLastRepair);
}

}  // namespace orv::nic
