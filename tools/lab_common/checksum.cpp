#include "lab_common/checksum.h"

#include <bit>
#include <cstring>

namespace orv::lab {

namespace {

std::uint32_t FoldSum(std::uint64_t sum) {
    while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint32_t>(sum);
}

}  // namespace

std::uint32_t SumOf(std::span<const std::byte> bytes) {
    // In the machine's byte order, four bytes at a time: the sum of swapped numbers is the swapped sum.
    std::uint64_t sum = 0;
    for (; bytes.size() >= 4; bytes = bytes.subspan(4)) {
        std::uint32_t four = 0;
        std::memcpy(&four, bytes.data(), 4);
        sum += four;
    }
    std::uint32_t last = 0;
    if (!bytes.empty()) std::memcpy(&last, bytes.data(), bytes.size());
    const std::uint32_t folded = FoldSum(sum + last);
    if constexpr (std::endian::native == std::endian::big) return folded;
    return (folded & 0xFF) << 8 | folded >> 8;
}

std::uint16_t ChecksumOf(std::uint64_t sum) {
    return static_cast<std::uint16_t>(~FoldSum(sum) & 0xFFFF);
}

std::uint16_t UdpChecksumOf(std::uint64_t sum) {
    const std::uint16_t checksum = ChecksumOf(sum);
    return checksum == 0 ? 0xFFFF : checksum;
}

}  // namespace orv::lab
