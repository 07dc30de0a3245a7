#include "lab_server/rtx.h"

#include <algorithm>

#include "lab_common/bytes.h"

namespace orv::lab {

namespace {

constexpr std::size_t kRtpHeader = 12;
constexpr std::uint32_t kOneWord = 1;
constexpr std::uint32_t kMayJoin = 0x0008'0000;
constexpr unsigned kVersionAndPadding = 0xA0;
constexpr unsigned kExtension = 0x10;
constexpr std::size_t kMostCopied = 128;  // of CSRCs and extension

}  // namespace

void WriteRtx(Outgoing& outgoing, const Client& client, RtxStream& stream, const History& history,
              const StoredPacket& packet, const RtxFormat& format, std::optional<bool> join) {
    const std::span original(history.bytes(packet.number), packet.size);
    const std::size_t begin = client.Begin(outgoing);
    const auto rtp = std::span<std::byte>(outgoing.bytes).subspan(begin);
    std::copy_n(original.begin(), kRtpHeader, rtp.begin());
    Put8(rtp, 1, (Get8(original, 1) & 0x80) | format.payload_type);  // the marker stays
    Put16(rtp, 2, stream.next_sequence++);
    Put32(rtp, 8, stream.ssrc);
    std::size_t at = kRtpHeader;
    const std::size_t more = packet.payload_at - kRtpHeader;
    if (join) {
        Put8(rtp, 0, (Get8(original, 0) & kVersionAndPadding) | kExtension);
        Put32(rtp, at, kOneWord);
        Put32(rtp, at + 4, *join ? kMayJoin : 0);
        at += 8;
    } else if (more <= kMostCopied) {
        std::copy_n(original.begin() + kRtpHeader, more, rtp.begin() + kRtpHeader);
        at += more;
    } else {
        Put8(rtp, 0, Get8(original, 0) & kVersionAndPadding);
    }
    Put16(rtp, at, static_cast<std::uint16_t>(packet.sequence + format.wrong_osn));
    at += 2;
    outgoing.size = static_cast<std::uint16_t>(begin + at);
    outgoing.packet = packet.number;
    outgoing.payload_at = packet.payload_at;
    outgoing.payload_size = static_cast<std::uint16_t>(packet.size - packet.payload_at);
    client.Finish(outgoing, at + outgoing.payload_size, packet.payload_sum);
}

}  // namespace orv::lab
