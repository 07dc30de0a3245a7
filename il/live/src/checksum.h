// The checksum of IPv4, UDP, IGMP and ICMPv6 (RFC 1071).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "orv/live/address.h"

namespace orv::live {

class Checksum {
  public:
    /// Every piece but the last has an even number of bytes.
    void add(std::span<const std::byte> bytes);
    /// Pseudo-header of addresses, protocol and length for UDP (RFC 768) and ICMPv6 (RFC 8200 section 8.1);
    /// `length`: of the upper-layer packet.
    void add_pseudo_header(const IpAddress& source, const IpAddress& destination, std::uint8_t protocol,
                           std::size_t length);

    /// The value for the packet's checksum field, which must have been 0.
    std::uint16_t value() const;
    /// Whether the added data, including its checksum, is intact.
    bool is_right() const { return value() == 0; }

  private:
    std::uint64_t sum_ = 0;  ///< of words in the machine's order; the swap comes at the end (RFC 1071 2.B)
};

/// Of a piece of memory alone.
std::uint16_t checksum_of(std::span<const std::byte> bytes);

}  // namespace orv::live
