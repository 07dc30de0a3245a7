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
    /// Addresses, protocol and length as UDP (RFC 768) and ICMPv6 (RFC 8200 section 8.1) want them; `length`
    /// is that of the upper-layer packet.
    void add_pseudo_header(const IpAddress& source, const IpAddress& destination, std::uint8_t protocol,
                           std::size_t length);

    /// To be put into the packet's field, which was 0 so far.
    std::uint16_t value() const;
    /// Whether what was added, with its checksum in it, is as it was sent.
    bool is_right() const { return value() == 0; }

  private:
    std::uint64_t sum_ = 0;  ///< of words in the machine's order; the swap comes at the end (RFC 1071 2.B)
};

/// Of a piece of memory alone.
std::uint16_t checksum_of(std::span<const std::byte> bytes);

}  // namespace orv::live
