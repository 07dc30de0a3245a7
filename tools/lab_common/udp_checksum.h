// The UDP checksum that a sending kernel leaves to the network card.
#pragma once

#include <cstddef>
#include <span>

namespace orv::lab {

/// Writes the UDP checksum of an IPv4 or IPv6 packet behind any number of VLAN tags. Leaves everything else
/// as it is: other protocols, fragments, IPv6 packets with extension headers, packets cut short.
void FinishUdpChecksum(std::span<std::byte> frame);

}  // namespace orv::lab
