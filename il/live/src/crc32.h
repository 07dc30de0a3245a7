// CRC-32 of ISO 3309, as Ethernet uses it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orv::live {

/// Continues a CRC over more bytes; that of no bytes is 0.
std::uint32_t crc32(std::uint32_t crc, std::span<const std::byte> bytes);

}  // namespace orv::live
