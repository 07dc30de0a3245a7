// The Internet checksum (RFC 1071).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orv::lab {

/// The sum of the bytes as 16-bit numbers, an odd last byte padded with zero. At most 16 bits; sums of
/// several pieces that begin at even positions can be added.
std::uint32_t SumOf(std::span<const std::byte> bytes);

/// Of a sum of sums: what makes the whole zero.
std::uint16_t ChecksumOf(std::uint64_t sum);

/// The same for UDP, in which zero says that there is no checksum.
std::uint16_t UdpChecksumOf(std::uint64_t sum);

}  // namespace orv::lab
