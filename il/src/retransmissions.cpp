#include "retransmissions.h"

#include <algorithm>

namespace orv::il {

namespace {

constexpr std::uint64_t kMaskBits = 16;

/// Whether the NACK for a packet may ask for one that came `distance` later, too.
bool is_in_mask(std::uint16_t mask, std::uint64_t distance) {
    return distance >= 1 && distance <= kMaskBits && (mask >> (distance - 1) & 1) != 0;
}

}  // namespace

const std::vector<Retransmissions::Nack>& Retransmissions::work_out(
    const View& view, const iptvcd_1_bll::rrr_stbConfig_s& config, std::uint32_t threshold_ms,
    const NetworkBehaviour& network, Random& random) {
    nacks_.clear();
    lost_.clear();
    const double packets_per_ns = network.packet_rate / static_cast<double>(kSecond);
    const double length = static_cast<double>(view.end - view.first);
    for (std::uint64_t i = 0; i < view.lost; ++i) {
        const double time = static_cast<double>(view.first) + random.fraction() * length;
        lost_.push_back(static_cast<std::uint64_t>(time * packets_per_ns));
    }
    std::sort(lost_.begin(), lost_.end());
    lost_.erase(std::unique(lost_.begin(), lost_.end()), lost_.end());

    const Time delay = static_cast<Time>(config.nackDelay) * kMillisecond;
    Time soonest = 0;
    for (std::size_t i = 0; i < lost_.size();) {
        // The gap shows when the next packet arrives.
        const auto noticed = static_cast<Time>(static_cast<double>(lost_[i] + 1) / packets_per_ns);
        Nack nack;
        nack.sequence = static_cast<std::uint16_t>(lost_[i]);
        nack.sent = std::max(noticed + delay, soonest);
        if (nack.sent >= view.end) break;
        soonest = nack.sent + static_cast<Time>(config.nackInterval) * kMillisecond;

        const std::uint64_t asked_first = lost_[i];
        std::uint32_t asked = 0, lost_again = 0;
        do {
            ++asked;
            if (random.happens(network.retransmission_loss)) ++lost_again;
            ++i;
        } while (i < lost_.size() && is_in_mask(config.nackSeqBits, lost_[i] - asked_first));
        nack.failed = lost_again > 0;
        if (lost_again < asked) {
            nack.last_received =
                nack.sent + random.duration(network.retransmission_delay) + random.duration(network.jitter);
            nack.flagged = nack.last_received - nack.sent > static_cast<Time>(threshold_ms) * kMillisecond;
        }
        nacks_.push_back(nack);
    }
    return nacks_;
}

}  // namespace orv::il
