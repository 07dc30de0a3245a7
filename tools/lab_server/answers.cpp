#include "lab_server/answers.h"

#include <algorithm>

#include "lab_server/rtx.h"

namespace orv::lab {

Answers::Answers(const ServerOptions& options, const History& history, Counts& counts, Outbox& outbox)
    : options_(options),
      history_(history),
      counts_(counts),
      outbox_(outbox),
      streams_(std::random_device()()),
      losses_(options.seed) {}

bool Answers::IsLost(double probability) {
    return probability > 0 && std::uniform_real_distribution<double>(0, 1)(losses_) < probability;
}

// A lost packet has a sequence number, too, as on a network that loses it.
void Answers::SendRtx(Client& client, const StoredPacket& packet, std::optional<bool> join, bool is_lost,
                      Nanoseconds now) {
    Outgoing& outgoing = is_lost ? lost_ : outbox_.Add(now + options_.late);
    WriteRtx(outgoing, client, client.FindStream(packet.channel, streams_), history_, packet,
             {.payload_type = options_.payload_type, .wrong_osn = options_.wrong_osn}, join);
}

std::uint16_t Answers::NextSequence(Client& client, std::uint32_t channel) {
    return client.FindStream(channel, streams_).next_sequence;
}

void Answers::SendBurstPacket(Client& client, const StoredPacket& packet, bool join, Nanoseconds now) {
    const bool is_lost = IsLost(options_.lose_burst);
    ++(is_lost ? counts_.burst_lost : counts_.burst_packets);
    SendRtx(client, packet, options_.sbit ? std::optional(join) : std::nullopt, is_lost, now);
}

void Answers::SendRepair(Client& client, const StoredPacket& packet, Nanoseconds now) {
    const bool is_lost = IsLost(options_.lose_repairs);
    ++(is_lost ? counts_.repairs_lost : counts_.repairs);
    SendRtx(client, packet, std::nullopt, is_lost, now);
}

void Answers::SendRtcp(const Client& client, std::span<const std::byte> datagram, Nanoseconds now) {
    Outgoing& outgoing = outbox_.Add(now + options_.late);
    const std::size_t begin = client.Begin(outgoing);
    std::copy(datagram.begin(), datagram.end(), outgoing.bytes.begin() + static_cast<std::ptrdiff_t>(begin));
    outgoing.size = static_cast<std::uint16_t>(begin + datagram.size());
    client.Finish(outgoing, datagram.size(), 0);
}

}  // namespace orv::lab
