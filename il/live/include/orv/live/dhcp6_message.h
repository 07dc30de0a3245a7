// The messages of DHCPv6 as a client sends and receives them (RFC 8415): the payload of UDP datagrams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "orv/live/address.h"

namespace orv::live {

inline constexpr std::uint16_t kDhcp6ServerPort = 547;
inline constexpr std::uint16_t kDhcp6ClientPort = 546;
/// ff02::1:2, all servers and relays of the link (RFC 8415 section 7.1).
inline constexpr IpAddress kAllDhcp6Servers =
    IpAddress::V6({0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0, 0x02});
/// A lifetime without an end (RFC 8415 section 7.7).
inline constexpr std::uint32_t kDhcp6Forever = 0xffffffff;
/// Of a DUID (RFC 8415 section 11.1).
inline constexpr std::size_t kLongestDuid = 130;

/// RFC 8415 section 7.3.
enum class Dhcp6Type : std::uint8_t {
    Solicit = 1,
    Advertise = 2,
    Request = 3,
    Renew = 5,
    Rebind = 6,
    Reply = 7,
    Release = 8,
    Decline = 9,
};

/// RFC 8415 section 21.13.
enum class Dhcp6Status : std::uint16_t {
    Success = 0,
    UnspecFail = 1,
    NoAddrsAvail = 2,
    NoBinding = 3,
    NotOnLink = 4,
    UseMulticast = 5,
    NoPrefixAvail = 6,
};

struct Dhcp6Option {
    std::uint16_t code = 0;
    std::vector<std::uint8_t> value = {};

    bool operator==(const Dhcp6Option&) const = default;
};
/// Whether a list may have the option: not those that the members of a request stand for.
bool IsFreeDhcp6Option(const Dhcp6Option& option);

/// An address (IA_NA), or a prefix (IA_PD), which has a length.
struct Dhcp6Lease {
    IpAddress address = {};
    std::uint8_t length = 128;
    std::uint32_t preferred = 0;  ///< s
    std::uint32_t valid = 0;      ///< s

    bool operator==(const Dhcp6Lease&) const = default;
};

/// What a client says. Views are read during the call only.
struct Dhcp6Request {
    Dhcp6Type type = Dhcp6Type::Solicit;
    std::uint32_t transaction = 0;  ///< 24 bits
    std::span<const std::uint8_t> duid = {};
    std::span<const std::uint8_t> server = {};  ///< its DUID; empty: none
    std::uint16_t elapsed = 0;                  ///< hundredths of a second since the first message
    std::uint32_t iaid = 0;
    bool is_prefix = false;                ///< IA_PD instead of IA_NA
    std::optional<Dhcp6Lease> lease = {};  ///< what it is about; lifetimes are not sent
    bool rapid_commit = false;
    std::span<const std::uint16_t> requested_options = {};  ///< besides SOL_MAX_RT
    std::span<const Dhcp6Option> shared_options = {};
    std::span<const Dhcp6Option> own_options = {};
};

/// Writes a message to the start of `out` and returns its length. Throws std::length_error when it does not
/// fit, std::invalid_argument for a DUID of more than 130 bytes and IPv4 addresses. Any thread may call.
std::size_t WriteDhcp6Request(std::span<std::byte> out, const Dhcp6Request& request);

/// What a server says about one identity association.
struct Dhcp6Answer {
    Dhcp6Type type = Dhcp6Type::Reply;  ///< Advertise or Reply
    std::uint32_t transaction = 0;
    std::vector<std::uint8_t> duid = {};    ///< of the client
    std::vector<std::uint8_t> server = {};  ///< its DUID
    std::uint8_t preference = 0;
    bool rapid_commit = false;
    std::optional<std::uint32_t> solicit_max_seconds = {};  ///< SOL_MAX_RT (RFC 8415 section 21.24)
    /// Of the message, the association or the lease, whichever is not a success.
    Dhcp6Status status = Dhcp6Status::Success;
    std::string text = {};                ///< that came with the status
    bool has_association = false;         ///< there is one with the number
    std::uint32_t t1 = 0, t2 = 0;         ///< s; 0: the client decides
    std::vector<Dhcp6Lease> leases = {};  ///< at most eight, of a success
};

/// Nothing for bytes that are no answer of a server, with a client's and a server's DUID. Associations with
/// other numbers than `iaid` and of the other kind are left out.
std::optional<Dhcp6Answer> ReadDhcp6Answer(std::span<const std::byte> payload, std::uint32_t iaid,
                                           bool is_prefix);

/// The DUID of a host that is known by its MAC address (DUID-LL, RFC 8415 section 11.4).
std::vector<std::uint8_t> MakeDuid(const MacAddress& mac);

}  // namespace orv::live
