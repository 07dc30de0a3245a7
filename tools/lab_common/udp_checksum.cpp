#include "lab_common/udp_checksum.h"

#include <cstdint>

#include "lab_common/bytes.h"
#include "lab_common/checksum.h"

namespace orv::lab {

namespace {

constexpr unsigned kUdp = 17;
constexpr std::size_t kUdpHeaderBytes = 8;

/// `addresses` are those of the IP header, source and destination.
void Finish(std::span<std::byte> packet, std::span<const std::byte> addresses) {
    if (packet.size() < kUdpHeaderBytes) return;
    const std::size_t length = Get16(packet, 4);
    if (length < kUdpHeaderBytes || length > packet.size()) return;
    packet = packet.first(length);  // without the padding of short frames
    packet[6] = packet[7] = std::byte{0};
    Put16(packet, 6, UdpChecksumOf(std::uint64_t{SumOf(addresses)} + kUdp + length + SumOf(packet)));
}

void FinishIpv4(std::span<std::byte> packet) {
    if (packet.size() < 20) return;
    const std::size_t header = (Get8(packet, 0) & 0xF) * 4;
    const bool is_fragment = (Get16(packet, 6) & 0x3FFF) != 0;
    if (header < 20 || header > packet.size() || is_fragment || Get8(packet, 9) != kUdp) return;
    Finish(packet.subspan(header), packet.subspan(12, 8));
}

void FinishIpv6(std::span<std::byte> packet) {
    if (packet.size() < 40 || Get8(packet, 6) != kUdp) return;
    Finish(packet.subspan(40), packet.subspan(8, 32));
}

}  // namespace

void FinishUdpChecksum(std::span<std::byte> frame) {
    for (std::size_t at = 12; at + 2 <= frame.size();) {
        const auto rest = frame.subspan(at + 2);
        switch (Get16(frame, at)) {
            case 0x8100:
            case 0x88A8:
            case 0x9100:
                at += 4;
                continue;
            case 0x0800:
                FinishIpv4(rest);
                return;
            case 0x86DD:
                FinishIpv6(rest);
                return;
            default:
                return;
        }
    }
}

}  // namespace orv::lab
