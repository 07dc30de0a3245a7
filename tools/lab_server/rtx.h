// Retransmission packets (RFC 4588).
#pragma once

#include <cstdint>
#include <optional>

#include "lab_server/client.h"
#include "lab_server/history.h"
#include "lab_server/outbox.h"

namespace orv::lab {

struct RtxFormat {
    std::uint8_t payload_type = 99;
    std::uint16_t wrong_osn = 0;
};

/// `join`: a header extension of one word in place of the original's, without CSRCs. Its bit 0x0008, in the
/// 16 bits that begin 24 bytes after the UDP header does, says that the client may now join the group.
/// Without it the original's CSRCs and extension stay.
void WriteRtx(Outgoing& outgoing, const Client& client, RtxStream& stream, const History& history,
              const StoredPacket& packet, const RtxFormat& format, std::optional<bool> join);

}  // namespace orv::lab
