// Everything that the server sends, with the misbehaviour that was asked for.
#pragma once

#include <cstddef>
#include <random>
#include <span>

#include "lab_common/clock.h"
#include "lab_server/client.h"
#include "lab_server/history.h"
#include "lab_server/journal.h"
#include "lab_server/options.h"
#include "lab_server/outbox.h"

namespace orv::lab {

class Answers {
  public:
    /// They stay with the caller.
    Answers(const ServerOptions& options, const History& history, Counts& counts, Outbox& outbox);

    /// A packet of a burst; `join`: whether it tells the client to join the group.
    void SendBurstPacket(Client& client, const StoredPacket& packet, bool join, Nanoseconds now);
    /// That of the next packet of a client's retransmission stream.
    std::uint16_t NextSequence(Client& client, std::uint32_t channel);
    /// An answer to a NACK.
    void SendRepair(Client& client, const StoredPacket& packet, Nanoseconds now);
    /// An RTCP datagram.
    void SendRtcp(const Client& client, std::span<const std::byte> datagram, Nanoseconds now);

  private:
    bool IsLost(double probability);
    void SendRtx(Client& client, const StoredPacket& packet, std::optional<bool> join, bool is_lost,
                 Nanoseconds now);

    const ServerOptions& options_;
    const History& history_;
    Counts& counts_;
    Outbox& outbox_;
    std::minstd_rand streams_;
    std::minstd_rand losses_;
    Outgoing lost_;
};

}  // namespace orv::lab
