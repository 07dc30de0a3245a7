// The messages of DHCPv4 as a client sends and receives them: the payload of UDP datagrams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orv/live/address.h"

namespace orv::live {

inline constexpr std::uint16_t kDhcp4ServerPort = 67;
inline constexpr std::uint16_t kDhcp4ClientPort = 68;
/// Of a message that we send: what an IP packet of 1500 bytes has room for.
inline constexpr std::size_t kMaxDhcp4Message = 1472;
/// A lease without an end, as a number of seconds (RFC 2131 section 3.3).
inline constexpr std::uint32_t kDhcp4Forever = 0xffffffff;

/// RFC 2132 section 9.6.
enum class Dhcp4Type : std::uint8_t {
    Discover = 1,
    Offer = 2,
    Request = 3,
    Decline = 4,
    Ack = 5,
    Nak = 6,
    Release = 7,
};

/// An option of RFC 2132 and later ones, as it is sent. One of more than 255 bytes takes several options (RFC
/// 3396).
struct Dhcp4Option {
    std::uint8_t code = 0;
    std::vector<std::uint8_t> value = {};  ///< at least one byte

    bool operator==(const Dhcp4Option&) const = default;
};
inline constexpr std::uint8_t kDhcp4HostName = 12;
inline constexpr std::uint8_t kDhcp4VendorClass = 60;
inline constexpr std::uint8_t kDhcp4ClientId = 61;
inline constexpr std::uint8_t kDhcp4EnterpriseClass = 124;    ///< RFC 3925 section 3
inline constexpr std::uint8_t kDhcp4EnterpriseOptions = 125;  ///< RFC 3925 section 4

/// Option 124 or 125 of one enterprise: its number, a length and the data. Throws std::invalid_argument for
/// another code and for more than 255 bytes.
Dhcp4Option MakeEnterpriseOption(std::uint8_t code, std::uint32_t enterprise,
                                 std::span<const std::uint8_t> data);

/// What a client says. Views are read during the call only.
struct Dhcp4Request {
    Dhcp4Type type = Dhcp4Type::Discover;
    std::uint32_t transaction = 0;
    std::uint16_t seconds = 0;     ///< since the client began
    bool wants_broadcast = false;  ///< answers are to be broadcast
    MacAddress mac = {};
    IpAddress own = {};                               ///< the address that the client has; unspecified: none
    IpAddress requested = {};                         ///< option 50; unspecified: none
    IpAddress server = {};                            ///< option 54; unspecified: none
    std::optional<std::uint32_t> lease_seconds = {};  ///< option 51
    bool rapid_commit = false;                        ///< option 80 (RFC 4039)
    std::span<const std::uint8_t> parameters = {};    ///< option 55; empty: none
    std::string_view message = {};                    ///< option 56; empty: none
    std::span<const Dhcp4Option> shared_options = {};
    std::span<const Dhcp4Option> own_options = {};  ///< after the shared ones
};

/// Writes a message to the start of `out`, filled up with zeros to the 300 bytes that relays expect (RFC 1542
/// section 2.1), and returns its length. Of the options in the lists, declines and releases have none but the
/// client identifier (RFC 2131 table 5). Throws std::length_error when the message does not fit into `out`,
/// std::invalid_argument for IPv6 addresses. Any thread may call.
std::size_t WriteDhcp4Request(std::span<std::byte> out, const Dhcp4Request& request);

/// Whether a list may have the option: not those that the members of a request stand for, nor an empty one.
bool IsFreeDhcp4Option(const Dhcp4Option& option);

/// What a server says to a client.
struct Dhcp4Answer {
    Dhcp4Type type = Dhcp4Type::Offer;  ///< Offer, Ack or Nak
    std::uint32_t transaction = 0;
    MacAddress mac = {};       ///< of the client
    IpAddress server = {};     ///< option 54; always there
    std::string message = {};  ///< option 56, its printable characters
    // Of an offer or acknowledgement:
    IpAddress address = {};           ///< that a host of its network can have
    std::uint8_t prefix_length = 0;   ///< option 1; without it that of the address's class (RFC 791). 1 to 32
    IpAddress gateway = {};           ///< the first of option 3 in the address's network; or unspecified
    std::uint32_t lease_seconds = 0;  ///< option 51; not 0; kDhcp4Forever: has no end
    std::optional<std::uint32_t> renewal_seconds = {};    ///< option 58
    std::optional<std::uint32_t> rebinding_seconds = {};  ///< option 59
    bool rapid_commit = false;                            ///< option 80
};

/// Whose answer it is, from the fixed part of the message alone: for a port that has many clients. Nothing if
/// it is no answer to an Ethernet host. Any thread may call.
std::optional<MacAddress> Dhcp4ClientOf(std::span<const std::byte> payload);
/// Reads the payload of a datagram from a server. Options may also be in the fields for names (RFC 2131
/// section 4.1), and split (RFC 3396). Nothing if it is damaged, lacks what the answer must have, or offers
/// what no host can have. Any thread may call.
std::optional<Dhcp4Answer> ReadDhcp4Answer(std::span<const std::byte> payload);

}  // namespace orv::live
