#include "crc32.h"

#include <array>

namespace orv::live {
namespace {

/// tables[k][b]: what a byte b contributes that is followed by k zero bytes. Eight of them let eight bytes be
/// processed at once.
constexpr auto kTables = [] {
    std::array<std::array<std::uint32_t, 256>, 8> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xedb88320U : 0U);
        tables[0][byte] = crc;
    }
    for (std::size_t k = 1; k < 8; ++k) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t before = tables[k - 1][byte];
            tables[k][byte] = (before >> 8) ^ tables[0][before & 0xff];
        }
    }
    return tables;
}();

std::uint32_t low_byte_first(const std::byte* bytes) {
    return std::to_integer<std::uint32_t>(bytes[0]) | std::to_integer<std::uint32_t>(bytes[1]) << 8 |
           std::to_integer<std::uint32_t>(bytes[2]) << 16 | std::to_integer<std::uint32_t>(bytes[3]) << 24;
}

}  // namespace

std::uint32_t crc32(std::uint32_t crc, std::span<const std::byte> bytes) {
    crc = ~crc;
    const std::byte* at = bytes.data();
    std::size_t left = bytes.size();
    for (; left >= 8; at += 8, left -= 8) {
        const std::uint32_t low = low_byte_first(at) ^ crc;
        const std::uint32_t high = low_byte_first(at + 4);
        crc = kTables[7][low & 0xff] ^ kTables[6][low >> 8 & 0xff] ^ kTables[5][low >> 16 & 0xff] ^
              kTables[4][low >> 24] ^ kTables[3][high & 0xff] ^ kTables[2][high >> 8 & 0xff] ^
              kTables[1][high >> 16 & 0xff] ^ kTables[0][high >> 24];
    }
    for (; left > 0; ++at, --left)
        crc = (crc >> 8) ^ kTables[0][(crc ^ std::to_integer<std::uint32_t>(*at)) & 0xff];
    return ~crc;
}

}  // namespace orv::live
