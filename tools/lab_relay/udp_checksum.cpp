#include "lab_relay/udp_checksum.h"

#include <cstdint>

#include "lab_relay/bytes.h"

namespace orv::lab {

namespace {

constexpr unsigned kUdp = 17;
constexpr std::size_t kUdpHeaderBytes = 8;

unsigned Get8(std::span<const std::byte> bytes, std::size_t at) {
    return std::to_integer<unsigned>(bytes[at]);
}

std::uint64_t Sum(std::span<const std::byte> bytes) {
    std::uint64_t sum = 0;
    std::size_t at = 0;
    for (; at + 1 < bytes.size(); at += 2) sum += Get16(bytes, at);
    if (at < bytes.size()) sum += Get8(bytes, at) << 8;
    return sum;
}

/// `addresses` are those of the IP header, source and destination.
void Finish(std::span<std::byte> packet, std::span<const std::byte> addresses) {
    if (packet.size() < kUdpHeaderBytes) return;
    const std::size_t length = Get16(packet, 4);
    if (length < kUdpHeaderBytes || length > packet.size()) return;
    packet = packet.first(length);  // without the padding of short frames
    packet[6] = packet[7] = std::byte{0};
    std::uint64_t sum = Sum(addresses) + kUdp + length + Sum(packet);
    while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
    const auto checksum = sum == 0xFFFF ? 0xFFFF : ~sum & 0xFFFF;  // 0 would say that there is none
    packet[6] = static_cast<std::byte>(checksum >> 8);
    packet[7] = static_cast<std::byte>(checksum & 0xFF);
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
