// The headers below a message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "bytes.h"
#include "orv/live/address.h"

namespace orv::live {

inline void require(bool holds, const char* otherwise) {
    if (!holds) throw std::invalid_argument(otherwise);
}

void write_ethernet(Writer& writer, const MacAddress& destination, const HostAddress& host,
                    std::uint16_t ether_type);

struct IpHeader {
    IpAddress source;
    IpAddress destination;
    std::uint8_t protocol = 0;
    std::uint8_t hop_limit = 1;
    std::uint8_t traffic_class = 0;
    bool router_alert = false;
};
/// IPv4 with the Router Alert option (RFC 2113), IPv6 with a hop-by-hop header for it (RFC 2711), or neither.
/// Throws std::invalid_argument for addresses of two families or a packet that is too long for its length.
void write_ip(Writer& writer, const IpHeader& header, std::size_t payload_length);

/// Of the ICMPv6 message from `begin` to the end, in the message's own field.
void put_icmp6_checksum(Writer& writer, std::size_t begin, const IpAddress& source,
                        const IpAddress& destination);

}  // namespace orv::live
