// Numbers and addresses in network order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

#include "orv/live/address.h"

namespace orv::live {

/// The number that begins at `bytes`.
template <typename Number>
Number get_number(const std::byte* bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i)
        value = value << 8 | std::to_integer<std::uint64_t>(bytes[i]);
    return static_cast<Number>(value);
}
inline std::uint8_t get8(const std::byte* bytes) {
    return get_number<std::uint8_t>(bytes);
}
inline std::uint16_t get16(const std::byte* bytes) {
    return get_number<std::uint16_t>(bytes);
}
inline std::uint32_t get32(const std::byte* bytes) {
    return get_number<std::uint32_t>(bytes);
}

template <typename Number>
void put(std::byte* bytes, Number value) {
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        bytes[i] = static_cast<std::byte>(static_cast<std::uint64_t>(value) >> 8 * (sizeof(Number) - 1 - i));
    }
}

inline IpAddress get_v4(const std::byte* bytes) {
    return IpAddress::V4(get32(bytes));
}
inline IpAddress get_v6(const std::byte* bytes) {
    std::array<std::uint8_t, 16> address;
    std::memcpy(address.data(), bytes, address.size());
    return IpAddress::V6(address);
}
inline MacAddress get_mac(const std::byte* bytes) {
    MacAddress mac;
    std::memcpy(mac.bytes.data(), bytes, mac.bytes.size());
    return mac;
}

/// What people can read of a text from the network: its printable ASCII characters, `most` at most.
inline std::string get_text(std::span<const std::byte> bytes, std::size_t most) {
    std::string text;
    for (const std::byte byte : bytes) {
        const char character = static_cast<char>(byte);
        if (character >= ' ' && character <= '~' && text.size() < most) text += character;
    }
    return text;
}

/// Appends values, and never writes beyond the end.
class Writer {
  public:
    explicit Writer(std::span<std::byte> out) : out_(out) {}

    template <typename Number>
    void number(Number value) {
        put(room(sizeof(Number)), value);
    }
    void u8(std::uint8_t value) { number(value); }
    void u16(std::uint16_t value) { number(value); }
    void u32(std::uint32_t value) { number(value); }
    void address(const IpAddress& address) { bytes(address.GetBytes()); }
    void mac(const MacAddress& mac) { bytes(mac.bytes); }
    void bytes(std::span<const std::uint8_t> bytes) {
        std::memcpy(room(bytes.size()), bytes.data(), bytes.size());
    }
    void bytes(std::span<const std::byte> bytes) { std::ranges::copy(bytes, room(bytes.size())); }

    std::size_t size() const { return size_; }
    std::byte* at(std::size_t offset) const { return out_.data() + offset; }
    /// Everything written from `offset` on.
    std::span<const std::byte> from(std::size_t offset) const {
        return std::span<const std::byte>(out_).subspan(offset, size_ - offset);
    }

  private:
    std::byte* room(std::size_t count) {
        if (count > out_.size() - size_) throw std::length_error("the buffer is too short for the frame");
        std::byte* begin = out_.data() + size_;
        size_ += count;
        return begin;
    }

    std::span<std::byte> out_;
    std::size_t size_ = 0;
};

}  // namespace orv::live
