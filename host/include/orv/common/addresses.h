// IPv4, IPv6 and MAC addresses as values that can be added, compared and written as text.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orv::common {

/// IPv4 address (RFC 791), a 32-bit number in host order inside; arithmetic wraps at 2^32.
class CIpAddress {
  public:
    constexpr CIpAddress() = default;
    constexpr explicit CIpAddress(std::uint32_t value) : value_(value) {}
    /// From 4 bytes in network order.
    explicit CIpAddress(const std::uint8_t* bytes);

    /// "192.0.2.1"; nothing for any other text (leading zeros included, RFC 6943 section 3.1.1).
    static std::optional<CIpAddress> FromString(std::string_view text);

    constexpr std::uint32_t GetValue() const { return value_; }
    std::string ToString() const;
    /// Writes 4 bytes in network order.
    void CopyTo(std::uint8_t* bytes) const;
    bool IsMulticast() const { return (value_ >> 28) == 0xe; }

    CIpAddress& operator+=(const CIpAddress& step);
    /// Multiplies the address, taken as a number: a step times a count.
    CIpAddress& operator*=(std::uint32_t factor);
    constexpr auto operator<=>(const CIpAddress&) const = default;

  private:
    std::uint32_t value_ = 0;
};

/// IPv6 address (RFC 4291), 16 bytes in network order; arithmetic wraps at 2^128.
class CIpv6Address {
  public:
    static constexpr int kLength = 16;

    constexpr CIpv6Address() = default;
    /// From 16 bytes in network order.
    explicit CIpv6Address(const std::uint8_t* bytes);
    /// The address whose last four bytes hold `low`, most significant first, and whose other bytes are 0.
    static CIpv6Address FromLow32(std::uint32_t low);
    /// Any text form of RFC 4291 section 2.2; nothing for any other text.
    static std::optional<CIpv6Address> FromString(std::string_view text);

    const std::array<std::uint8_t, kLength>& GetBytes() const { return bytes_; }
    /// The canonical text of RFC 5952.
    std::string ToString() const;
    void CopyTo(std::uint8_t* bytes) const;
    /// fe80::/10 (RFC 4291 section 2.5.6).
    bool IsLinkLocalAddr() const { return bytes_[0] == 0xfe && (bytes_[1] & 0xc0) == 0x80; }
    bool IsMulticast() const { return bytes_[0] == 0xff; }

    CIpv6Address& operator+=(const CIpv6Address& step);
    CIpv6Address& operator*=(std::uint32_t factor);
    constexpr auto operator<=>(const CIpv6Address&) const = default;

  private:
    std::array<std::uint8_t, kLength> bytes_{};
};

/// MAC address (IEEE 802), 6 bytes.
class CMacAddress {
  public:
    static constexpr int kLength = 6;

    constexpr CMacAddress() = default;
    explicit CMacAddress(const std::uint8_t* bytes);
    /// Six pairs of hexadecimal digits separated by ":" or "-".
    static std::optional<CMacAddress> FromString(std::string_view text);

    const std::array<std::uint8_t, kLength>& GetBytes() const { return bytes_; }
    std::string ToString() const;
    CMacAddress& operator+=(const CMacAddress& step);
    CMacAddress& operator*=(std::uint32_t factor);
    constexpr auto operator<=>(const CMacAddress&) const = default;

  private:
    std::array<std::uint8_t, kLength> bytes_{};
};

}  // namespace orv::common
