// The server: which frame is what, and what is answered to it.
#pragma once

#include <cstdint>
#include <span>

#include "lab_common/clock.h"
#include "lab_common/packet_port.h"
#include "lab_server/answers.h"
#include "lab_server/bursts.h"
#include "lab_server/client.h"
#include "lab_server/datagram.h"
#include "lab_server/history.h"
#include "lab_server/journal.h"
#include "lab_server/neighbour.h"
#include "lab_server/options.h"
#include "lab_server/outbox.h"
#include "lab_server/rtcp.h"
#include "lab_server/token.h"

namespace orv::lab {

class Server {
  public:
    /// `options` stay with the caller.
    Server(const ServerOptions& options, const MacAddress& mac);

    /// A frame that has arrived.
    void Take(std::span<const std::byte> frame, Nanoseconds arrival);
    /// Makes and sends what is due.
    void Send(PacketPort& port);

    /// Whether anything is to be sent soon.
    bool IsBusy() const { return !bursts_.empty() || !outbox_.empty() || !neighbours_.empty(); }
    Counts counts(PacketPort& port) const;

  private:
    /// What a datagram's messages have in common.
    struct Request {
        Client& client;
        Nanoseconds arrival{};
        bool is_compound = false;                  ///< not reduced-size (RFC 5506)
        const RtcpPacket* verification = nullptr;  ///< of a token
    };

    void TakeRequest(const Datagram& datagram, Nanoseconds arrival);
    void TakeMessage(const Request& request, const RtcpPacket& packet);
    void TakeFeedback(const Request& request, const RtcpPacket& packet);
    void TakeNack(const Request& request, const RtcpPacket& packet);
    void TakeRamsRequest(const Request& request, const RtcpPacket& packet, bool has_token);
    void TakeRamsTermination(const Request& request, const RtcpPacket& packet);
    void TakeBye(const Request& request, const RtcpPacket& packet);
    void TakePortMappingRequest(const Request& request, const RtcpPacket& packet);
    void TakeMalformed(const Client& client, Nanoseconds arrival, const char* what);

    bool HasToken(const Request& request) const;
    void RefuseToken(const Request& request, const RtcpPacket& packet);
    RamsInformation AnswerRamsRequest(const Request& request, const RamsRequest& wanted, std::size_t which);
    /// Sends what `write` writes, in a compound if the request was one.
    template <class Write>
    void Answer(const Request& request, std::uint32_t ssrc, const Write& write);

    const ServerOptions& options_;
    OwnAddresses own_;
    std::uint32_t ssrc_;
    TokenMaker tokens_;
    History history_;
    Outbox neighbours_;  // never late, and only once
    Outbox outbox_;
    Counts counts_;
    RequestLog log_;
    Answers answers_;
    Bursts bursts_;
    Clients clients_;
};

}  // namespace orv::lab
