// What routers of a link say about it (RFC 4861 section 4.2), and asking them to.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "orv/live/address.h"

namespace orv::live {

/// A prefix of the link (RFC 4861 section 4.6.2). Lifetimes in seconds; kForever: without an end.
struct AdvertisedPrefix {
    static constexpr std::uint32_t kForever = 0xffffffff;

    IpAddress prefix;  ///< bits beyond the length are 0
    std::uint8_t length = 0;
    bool is_on_link = false;     ///< L
    bool is_autonomous = false;  ///< A: hosts make addresses with it (RFC 4862)
    std::uint32_t valid = 0;
    std::uint32_t preferred = 0;

    bool operator==(const AdvertisedPrefix&) const = default;
};

struct RouterAdvertisement {
    /// More are ignored, so that nothing is allocated.
    static constexpr std::size_t kMostPrefixes = 8;

    IpAddress router;                    ///< link-local
    std::uint16_t lifetime = 0;          ///< s; 0: it is no gateway
    bool is_managed = false;             ///< M: addresses come by DHCPv6
    bool has_other = false;              ///< O: other configuration does
    std::optional<MacAddress> mac = {};  ///< of the router, if it says so
    std::array<AdvertisedPrefix, kMostPrefixes> prefix_table{};
    std::size_t prefix_count = 0;

    std::span<const AdvertisedPrefix> GetPrefixes() const {
        return std::span(prefix_table).first(prefix_count);
    }
};

/// A solicitation to all routers (RFC 4861 section 4.1), from the host's address, which is link-local, with
/// its MAC address as an option. See frame.h for `out`, the returned length and errors.
std::size_t WriteRouterSolicitation(std::span<std::byte> out, const HostAddress& host);

}  // namespace orv::live
