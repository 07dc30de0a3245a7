#include "retransmissions.h"

#include <algorithm>

#include "packets.h"

namespace orv::il {

namespace {

constexpr std::size_t kMaskBits = 16;

/// Whether the NACK for a packet may ask for one that came `distance` later, too.
bool is_in_mask(std::uint16_t mask, std::uint64_t distance) {
    return distance >= 1 && distance <= kMaskBits && (mask >> (distance - 1) & 1) != 0;
}

}  // namespace

void Retransmissions::Queue::skip_asked() {
    while (!empty() && packets[head].asked) ++head;
}

void Retransmissions::draw_losses(const View& view, double packets_per_ns, Random& random) {
    auto& packets = noticed_.packets;
    packets.clear();
    const auto length = static_cast<double>(view.last - view.first);
    for (std::uint64_t i = 0; i < view.lost; ++i) {
        const double time = static_cast<double>(view.first) + random.fraction() * length;
        const auto number = static_cast<std::uint64_t>(time * packets_per_ns);
        // The gap is detected when the next packet arrives.
        packets.push_back({number, static_cast<Time>(static_cast<double>(number + 1) / packets_per_ns)});
    }
    std::sort(packets.begin(), packets.end(),
              [](const Missing& a, const Missing& b) { return a.number < b.number; });
    const auto twice = std::unique(packets.begin(), packets.end(),
                                   [](const Missing& a, const Missing& b) { return a.number == b.number; });
    packets.erase(twice, packets.end());
}

/// One NACK for the first packet of the queue and what the mask allows of those noticed by then.
void Retransmissions::ask(Queue& queue, Time now, std::uint16_t mask) {
    const std::uint64_t first = queue.packets[queue.head].number;
    const std::size_t end = std::min(queue.head + kMaskBits + 1, queue.packets.size());
    asked_.clear();
    for (std::size_t i = queue.head; i < end; ++i) {
        Missing& packet = queue.packets[i];
        const bool may = i == queue.head || (packet.known <= now && is_in_mask(mask, packet.number - first));
        if (packet.asked || !may) continue;
        packet.asked = true;
        asked_.push_back(packet.number);
    }
    queue.skip_asked();
}

const std::vector<Retransmissions::Nack>& Retransmissions::work_out(
    const View& view, const iptvcd_1_bll::rrr_stbConfig_s& config, std::uint32_t threshold_ms,
    const NetworkBehaviour& network, Random& random, Time& next_nack) {
    const Time interval = ms(config.nackInterval), threshold = ms(threshold_ms);
    nacks_.clear();
    draw_losses(view, network.packet_rate / static_cast<double>(kSecond), random);
    noticed_.head = 0;
    noticed_.delay = ms(config.nackDelay);
    lost_again_.packets.clear();
    lost_again_.head = 0;
    while (!noticed_.empty() || !lost_again_.empty()) {
        const bool again =
            !lost_again_.empty() && (noticed_.empty() || lost_again_.ready() <= noticed_.ready());
        Queue& queue = again ? lost_again_ : noticed_;
        Nack nack;
        nack.sequence = static_cast<std::uint16_t>(queue.packets[queue.head].number);
        nack.sent = std::max(queue.ready(), next_nack);
        if (nack.sent >= view.end) break;
        next_nack = nack.sent + interval;
        ask(queue, nack.sent, config.nackSeqBits);

        std::size_t lost = 0;
        for (const std::uint64_t number : asked_) {
            if (!random.happens(network.retransmission_loss)) continue;
            ++lost;
            if (interval > 0) lost_again_.packets.push_back({number, next_nack});
        }
        nack.failed = lost > 0;
        nack.last_received = nack.sent;
        if (lost < asked_.size())
            nack.last_received +=
                draw_delay(network.retransmission_delay, random) + draw_delay(network.jitter, random);
        nack.flagged = threshold > 0 && nack.last_received - nack.sent > threshold;
        nacks_.push_back(nack);
    }
    return nacks_;
}

}  // namespace orv::il
