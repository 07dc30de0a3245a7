#include "orv/common/addresses.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

namespace orv::common {

namespace {

/// Adds two numbers of equal length whose bytes lie most significant first, modulo their range.
template <std::size_t N>
void AddBytes(std::array<std::uint8_t, N>& value, const std::array<std::uint8_t, N>& step) {
    unsigned carry = 0;
    for (std::size_t i = N; i-- > 0;) {
        carry += static_cast<unsigned>(value[i]) + step[i];
        value[i] = static_cast<std::uint8_t>(carry);
        carry >>= 8;
    }
}

template <std::size_t N>
void MultiplyBytes(std::array<std::uint8_t, N>& value, std::uint32_t factor) {
    std::uint64_t carry = 0;
    for (std::size_t i = N; i-- > 0;) {
        carry += std::uint64_t{value[i]} * factor;
        value[i] = static_cast<std::uint8_t>(carry);
        carry >>= 8;
    }
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    const char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

CIpAddress::CIpAddress(const std::uint8_t* bytes)
    : value_(std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
             bytes[3]) {}

std::optional<CIpAddress> CIpAddress::FromString(std::string_view text) {
    in_addr address;  // inet_pton takes exactly four decimal numbers without leading zeros
    if (text.find('\0') != text.npos) return std::nullopt;
    if (inet_pton(AF_INET, std::string(text).c_str(), &address) != 1) return std::nullopt;
    return CIpAddress(ntohl(address.s_addr));
}

std::string CIpAddress::ToString() const {
    std::string text = std::to_string(value_ >> 24);
    for (int shift = 16; shift >= 0; shift -= 8) {
        text += '.';
        text += std::to_string(value_ >> shift & 0xff);
    }
    return text;
}

void CIpAddress::CopyTo(std::uint8_t* bytes) const {
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(value_ >> (24 - 8 * i));
}

CIpAddress& CIpAddress::operator+=(const CIpAddress& step) {
    value_ += step.value_;
    return *this;
}

CIpAddress& CIpAddress::operator*=(std::uint32_t factor) {
    value_ *= factor;
    return *this;
}

CIpv6Address::CIpv6Address(const std::uint8_t* bytes) {
    std::copy_n(bytes, kLength, bytes_.begin());
}

CIpv6Address CIpv6Address::FromLow32(std::uint32_t low) {
    CIpv6Address address;
    CIpAddress(low).CopyTo(address.bytes_.data() + 12);
    return address;
}

std::optional<CIpv6Address> CIpv6Address::FromString(std::string_view text) {
    CIpv6Address address;
    if (text.find('\0') != text.npos) return std::nullopt;
    if (inet_pton(AF_INET6, std::string(text).c_str(), address.bytes_.data()) != 1) return std::nullopt;
    return address;
}

std::string CIpv6Address::ToString() const {
    // inet_ntop writes every address below 2^32 with a dotted end, steps such as ::1:0 among them; RFC 5952
    // section 5 keeps that form for addresses that are known to hold an IPv4 address.
    static constexpr std::array<std::uint8_t, 12> kMapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    if (std::equal(kMapped.begin(), kMapped.end(), bytes_.begin())) {
        return "::ffff:" + CIpAddress(bytes_.data() + kMapped.size()).ToString();
    }
    constexpr int kGroups = kLength / 2;
    const auto group = [this](int i) { return bytes_[2 * i] << 8 | bytes_[2 * i + 1]; };
    int zeros_begin = 0;
    int zeros_length = 1;  // a single zero group is not shortened
    for (int begin = 0; begin < kGroups; ++begin) {
        int end = begin;
        while (end < kGroups && group(end) == 0) ++end;
        if (end - begin > zeros_length) {
            zeros_begin = begin;
            zeros_length = end - begin;
        }
    }
    std::string text;
    for (int i = 0; i < kGroups;) {
        if (zeros_length > 1 && i == zeros_begin) {
            text += "::";
            i += zeros_length;
            continue;
        }
        if (!text.empty() && text.back() != ':') text += ':';
        char digits[8];
        std::snprintf(digits, sizeof digits, "%x", group(i));
        text += digits;
        ++i;
    }
    return text;
}

void CIpv6Address::CopyTo(std::uint8_t* bytes) const {
    std::copy(bytes_.begin(), bytes_.end(), bytes);
}

CIpv6Address& CIpv6Address::operator+=(const CIpv6Address& step) {
    AddBytes(bytes_, step.bytes_);
    return *this;
}

CIpv6Address& CIpv6Address::operator*=(std::uint32_t factor) {
    MultiplyBytes(bytes_, factor);
    return *this;
}

CMacAddress::CMacAddress(const std::uint8_t* bytes) {
    std::copy_n(bytes, kLength, bytes_.begin());
}

std::optional<CMacAddress> CMacAddress::FromString(std::string_view text) {
    if (text.size() != 17) return std::nullopt;
    CMacAddress address;
    const char separator = text[2];
    if (separator != ':' && separator != '-') return std::nullopt;
    for (int i = 0; i < kLength; ++i) {
        const int high = HexDigit(text[3 * i]);
        const int low = HexDigit(text[3 * i + 1]);
        if (high < 0 || low < 0 || (i < kLength - 1 && text[3 * i + 2] != separator)) return std::nullopt;
        address.bytes_[i] = static_cast<std::uint8_t>(high << 4 | low);
    }
    return address;
}

std::string CMacAddress::ToString() const {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", bytes_[0], bytes_[1], bytes_[2],
                  bytes_[3], bytes_[4], bytes_[5]);
    return text;
}

CMacAddress& CMacAddress::operator+=(const CMacAddress& step) {
    AddBytes(bytes_, step.bytes_);
    return *this;
}

CMacAddress& CMacAddress::operator*=(std::uint32_t factor) {
    MultiplyBytes(bytes_, factor);
    return *this;
}

}  // namespace orv::common
