#include "checksum.h"

#include <arpa/inet.h>

#include <array>
#include <cstring>

#include "bytes.h"

namespace orv::live {

void Checksum::add(std::span<const std::byte> bytes) {
    // Sums of 32-bit words fold to the same 16 bits as sums of 16-bit words. 64 bits are ample for the
    // longest packet.
    const std::byte* at = bytes.data();
    std::size_t left = bytes.size();
    // Four sums that do not wait for each other.
    std::array<std::uint64_t, 4> sums{};
    for (; left >= 16; at += 16, left -= 16) {
        std::array<std::uint32_t, 4> words;
        std::memcpy(words.data(), at, 16);
        for (std::size_t i = 0; i < 4; ++i) sums[i] += words[i];
    }
    sum_ += sums[0] + sums[1] + sums[2] + sums[3];
    for (; left >= 4; at += 4, left -= 4) {
        std::uint32_t word;
        std::memcpy(&word, at, 4);
        sum_ += word;
    }
    if (left > 0) {
        std::uint32_t word = 0;
        std::memcpy(&word, at, left);
        sum_ += word;
    }
}

void Checksum::add_pseudo_header(const IpAddress& source, const IpAddress& destination, std::uint8_t protocol,
                                 std::size_t length) {
    add(std::as_bytes(source.GetBytes()));
    add(std::as_bytes(destination.GetBytes()));
    std::array<std::byte, 8> rest;
    put(rest.data(), static_cast<std::uint32_t>(length));
    put(rest.data() + 4, std::uint32_t{protocol});
    add(rest);
}

std::uint16_t Checksum::value() const {
    std::uint64_t sum = sum_;
    while (sum > 0xffff) sum = (sum & 0xffff) + (sum >> 16);
    return ntohs(static_cast<std::uint16_t>(~sum));
}

std::uint16_t checksum_of(std::span<const std::byte> bytes) {
    Checksum checksum;
    checksum.add(bytes);
    return checksum.value();
}

}  // namespace orv::live
