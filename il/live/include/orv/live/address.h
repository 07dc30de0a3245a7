// Addresses and VLAN tags in the form of frames: small values without an allocation.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace orv::live {

/// MAC address (IEEE 802), in the order of the bytes on the wire.
struct MacAddress {
    static constexpr std::size_t kLength = 6;
    std::array<std::uint8_t, kLength> bytes{};

    constexpr auto operator<=>(const MacAddress&) const = default;
};

/// An IPv4 or IPv6 address, in network order; 0.0.0.0 until set. IPv4 addresses come before IPv6 addresses.
class IpAddress {
  public:
    constexpr IpAddress() = default;
    /// 0xc0000201 is 192.0.2.1.
    static constexpr IpAddress V4(std::uint32_t value) {
        IpAddress address;
        for (std::size_t i = 0; i < 4; ++i)
            address.bytes_[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
        return address;
    }
    static constexpr IpAddress V6(const std::array<std::uint8_t, 16>& bytes) {
        IpAddress address;
        address.is_v6_ = true;
        address.bytes_ = bytes;
        return address;
    }
    /// ff02::`low`, of link-local scope.
    static constexpr IpAddress V6LinkGroup(std::uint8_t low) {
        IpAddress address;
        address.is_v6_ = true;
        address.bytes_[0] = 0xff;
        address.bytes_[1] = 0x02;
        address.bytes_[15] = low;
        return address;
    }
    /// From 4 or 16 bytes; throws std::invalid_argument for any other number.
    static IpAddress FromBytes(std::span<const std::uint8_t> bytes);

    constexpr bool IsV6() const { return is_v6_; }
    /// 4 or 16 bytes.
    constexpr std::span<const std::uint8_t> GetBytes() const {
        return std::span(bytes_).first(is_v6_ ? 16 : 4);
    }
    /// 0.0.0.0 or ::.
    constexpr bool IsUnspecified() const { return bytes_ == std::array<std::uint8_t, 16>{}; }
    /// 224.0.0.0/4 or ff00::/8.
    constexpr bool IsMulticast() const { return is_v6_ ? bytes_[0] == 0xff : (bytes_[0] >> 4) == 0xe; }
    /// fe80::/10 (RFC 4291 section 2.5.6); never true for IPv4.
    constexpr bool IsLinkLocal() const { return is_v6_ && bytes_[0] == 0xfe && (bytes_[1] & 0xc0) == 0x80; }
    std::string ToString() const;

    constexpr auto operator<=>(const IpAddress&) const = default;

  private:
    bool is_v6_ = false;
    std::array<std::uint8_t, 16> bytes_{};  ///< of IPv4 the first four, the others are 0
};

inline constexpr IpAddress kAllSystems = IpAddress::V4(0xe0000001);         ///< RFC 1112
inline constexpr IpAddress kAllRouters = IpAddress::V4(0xe0000002);         ///< RFC 2236 section 3
inline constexpr IpAddress kAllIgmp3Routers = IpAddress::V4(0xe0000016);    ///< RFC 3376 section 4.2.14
inline constexpr IpAddress kAllNodesV6 = IpAddress::V6LinkGroup(0x01);      ///< RFC 4291 section 2.7.1
inline constexpr IpAddress kAllRoutersV6 = IpAddress::V6LinkGroup(0x02);    ///< RFC 4291 section 2.7.1
inline constexpr IpAddress kAllMld2Routers = IpAddress::V6LinkGroup(0x16);  ///< RFC 3810 section 5.2.14

/// The MAC address that a multicast group is sent to (RFC 1112 section 6.4, RFC 2464 section 7). `group` is a
/// multicast address.
MacAddress MulticastMac(const IpAddress& group);
/// fe80::/64 with the modified EUI-64 of the MAC address (RFC 4291 appendix A, RFC 2464 section 5).
IpAddress LinkLocalAddress(const MacAddress& mac);
/// The solicited-node group of the address (RFC 4291 section 2.7.1). `address` is IPv6.
IpAddress SolicitedNodeAddress(const IpAddress& address);

/// One tag of IEEE 802.1Q.
struct VlanTag {
    std::uint16_t type = 0x8100;  ///< 0x8100 (802.1Q), 0x88a8 (802.1ad) or 0x9100
    std::uint16_t control = 0;    ///< priority (3 bits), drop eligible (1 bit), VLAN id (12 bits)

    constexpr std::uint16_t GetId() const { return control & 0x0fff; }
    constexpr auto operator<=>(const VlanTag&) const = default;
};

/// The tags of a frame, the outer one first; those beyond `count` are as initialised.
struct VlanTags {
    static constexpr std::size_t kMost = 2;
    std::uint8_t count = 0;
    std::array<VlanTag, kMost> tags{};

    std::span<const VlanTag> Get() const { return std::span(tags).first(count); }
    constexpr auto operator<=>(const VlanTags&) const = default;
};

/// The addresses of a host, which are the source of its frames.
struct HostAddress {
    MacAddress mac;
    IpAddress ip;
    VlanTags vlan;
};

}  // namespace orv::live
