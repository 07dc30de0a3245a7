#include "reception.h"

#include <algorithm>
#include <utility>

#include "orv/live/stream_packet.h"

namespace orv::nic {

namespace {

constexpr il::Time kShortestQuiet = 300 * il::kMillisecond;
constexpr il::Time kLongestQuiet = 5 * il::kSecond;
/// Longest gaps that the time without packets is longer than.
constexpr il::Time kQuietGaps = 3;
constexpr il::Time kShortestPause = 100 * il::kMillisecond;
constexpr il::Time kGapWindow = 3 * il::kSecond;
constexpr il::Time kFlowingGaps = 4;
/// RFC 3550 appendix A.1: numbers that may be missing at once without the sender having started anew; more of
/// them when so much time has passed.
constexpr std::uint64_t kMostDropout = 3000;
constexpr il::Time kShortestFlowing = 5 * il::kMillisecond;
/// A source that is silent this long is replaced by a new one. No active source is displaced by
/// a flood of made-up ones.
constexpr il::Time kSilent = il::kSecond;

/// A number that a damaged signature may have right.
bool is_near(std::uint64_t sequence, const SequenceCounter& counter) {
    constexpr std::uint64_t kNear = 64;
    return counter.has_begun() && sequence + kNear > counter.highest() &&
           sequence < counter.highest() + kNear;
}

}  // namespace

bool SourceChoice::lets_pass(const live::IpAddress& source) const {
    return (std::find(sources.begin(), sources.end(), source) != sources.end()) == include;
}

std::optional<Arrival> Reception::add(il::Time stamp, const live::UdpPacket& packet) {
    const auto arrival =
        numbering_ == Numbering::Rtp ? add_foreign(stamp, packet) : add_signed(stamp, packet);
    if (!arrival) return {};
    if (last_ != il::kNever && stamp > last_) note_gap(stamp);
    last_ = std::max(last_, stamp);
    if (arrival->is_numbered && stamp == last_) latest_ = *arrival;
    return arrival;
}

void Reception::note_gap(il::Time stamp) {
    const il::Time gap = std::min(stamp - last_, kLongestQuiet);
    gap_ = gap_ == 0 ? gap : gap_ + (gap - gap_) / 8;
    if (stamp - window_ > kGapWindow) {
        longest_before_ = std::exchange(longest_, 0);
        window_ = stamp;
    }
    longest_ = std::max(longest_, gap);
}

bool Reception::flows(il::Time time) const {
    const il::Time longest = std::max({longest_, longest_before_, kFlowingGaps * gap_, kShortestFlowing});
    return last_ != il::kNever && time - last_ <= longest;
}

il::Time Reception::quiet_time() const {
    return std::clamp(kQuietGaps * std::max(longest_, longest_before_), kShortestQuiet, kLongestQuiet);
}

bool Reception::has_paused(il::Time time) const {
    return last_ != il::kNever &&
           time - last_ > std::max(kQuietGaps * std::max(longest_, longest_before_), kShortestPause);
}

bool Reception::has(std::uint16_t sequence) const {
    return std::ranges::any_of(sources_, [&](const Source& source) { return source.counter.has(sequence); });
}

void Reception::restart() {
    sources_.clear();
    last_ = il::kNever;
    gap_ = 0;
}

/// Null when there are too many.
Reception::Source* Reception::source_of(il::Time stamp, const live::UdpPacket& packet, std::uint32_t stream) {
    const auto found = std::find_if(sources_.begin(), sources_.end(), [&](const Source& source) {
        return source.stream == stream && source.port == packet.source_port &&
               source.address == packet.source;
    });
    if (found != sources_.end()) {
        found->heard = stamp;
        return &*found;
    }
    const Source made{packet.source, packet.source_port, stream, {}, stamp};
    if (sources_.size() < kMostSources) return &sources_.emplace_back(made);
    const auto longest_silent = std::ranges::min_element(sources_, {}, &Source::heard);
    if (stamp - longest_silent->heard < kSilent) return nullptr;
    *longest_silent = made;
    return &*longest_silent;
}

std::optional<Arrival> Reception::add_signed(il::Time stamp, const live::UdpPacket& packet) {
    const auto read = live::ReadStreamPacket(packet.payload);
    if (!read) return {};
    const live::StreamSignature& signature = read->signature;
    const auto counted = [&](SequenceCounter& counter) {
        // The signature's CRC does not cover the RTP header: a sender's SSRC is what the header says.
        const auto rtp = live::ReadRtpPacket(packet.payload);
        return Arrival{true, static_cast<std::uint16_t>(signature.sequence_number), rtp ? rtp->ssrc : 0,
                       counter.add(signature.sequence_number, packets_)};
    };
    if (read->is_intact) {
        if (Source* source = source_of(stamp, packet, signature.stream_id)) return counted(source->counter);
    } else {
        ++packets_.payload_errors;
        for (Source& source : sources_) {
            if (source.stream != signature.stream_id || source.address != packet.source ||
                !is_near(signature.sequence_number, source.counter))
                continue;
            source.heard = stamp;
            return counted(source.counter);
        }
    }
    ++packets_.received;
    return Arrival{};
}

Arrival Reception::add_foreign(il::Time stamp, const live::UdpPacket& packet) {
    const auto rtp = live::ReadRtpPacket(packet.payload);
    Source* source = rtp ? source_of(stamp, packet, rtp->ssrc) : nullptr;
    if (!source) {
        ++packets_.received;
        return {};
    }
    const auto missing = gap_ > 0 && last_ != il::kNever ? 2 * (stamp - last_) / gap_ : 0;
    const std::uint64_t missing_before = source->counter.add_wrapping(
        rtp->sequence_number, std::max(kMostDropout, static_cast<std::uint64_t>(missing)), packets_);
    return {true, rtp->sequence_number, rtp->ssrc, missing_before};
}

}  // namespace orv::nic
