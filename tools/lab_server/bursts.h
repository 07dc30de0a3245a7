// Unicast bursts of rapid acquisition (RFC 6285).
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "lab_common/clock.h"
#include "lab_server/answers.h"
#include "lab_server/history.h"
#include "lab_server/journal.h"
#include "lab_server/options.h"
#include "lab_server/rtcp.h"

namespace orv::lab {

/// Its packets leave in the order in which they arrived here, their distances divided by `rate`, until there
/// are no more; from then on each leaves when it arrives.
struct Burst {
    std::uint32_t channel = 0;
    std::uint16_t first_sequence = 0;  ///< of the retransmission stream
    std::uint8_t message_number = 0;
    Nanoseconds begin{};
    Nanoseconds caught_up{};  ///< 0: not yet
    PacketNumber last = 0;    ///< sent; 0: none yet
    PacketNumber next = 0;    ///< to be sent; 0: has not arrived
    Nanoseconds due{};        ///< of the next one
    Nanoseconds pace_time{};  ///< the packet that arrived at pace_arrival leaves at this time
    Nanoseconds pace_arrival{};
    double rate = 1;
    std::optional<std::uint16_t> end{};  ///< the first sequence number that it does not send any more
    std::uint64_t packets = 0;
};

class Bursts {
  public:
    Bursts(const ServerOptions& options, const History& history, Counts& counts, Answers& answers,
           RequestLog& log);

    /// Begins a burst or updates the one of this client and channel; ends the client's burst of another
    /// channel. Returns what to tell the client: the information's response says why when there is no burst.
    RamsInformation Request(Client& client, std::uint32_t channel, const RamsRequest& request,
                            Nanoseconds now);
    /// Whether the client has a burst of the channel.
    bool Has(Client& client, std::uint32_t channel) const;
    /// Ends it, at once or before a sequence number.
    void Terminate(Client& client, std::optional<std::uint16_t> first_multicast, Nanoseconds now);
    /// Ends the burst of a client, if there is one.
    void End(Client& client, std::string_view reason, Nanoseconds now);

    /// Sends what is due.
    void Advance(Nanoseconds now);
    bool empty() const { return bursts_.empty(); }

  private:
    using Map = std::unordered_map<Client*, Burst>;

    /// In bit/s, of the packets from `first` on, as they are when they leave.
    double Bitrate(const StoredPacket& first) const;
    RamsInformation Inform(const Burst& burst, double bitrate) const;
    bool AdvanceOne(Client& client, Burst& burst, Nanoseconds now);
    Map::iterator EndAt(Map::iterator burst, std::string_view reason, Nanoseconds now);

    const ServerOptions& options_;
    const History& history_;
    Counts& counts_;
    Answers& answers_;
    RequestLog& log_;
    Map bursts_;
};

}  // namespace orv::lab
