// Builders of the Ethernet frames that emulated hosts and channel sources send.
//
// Each writes one frame to the start of `out`, for instance a slot of a transmit ring, and returns its length
// in bytes; none allocates. Frames are not padded to Ethernet's 60 bytes: the network device does that. All
// of them throw std::length_error when `out` is too short, and std::invalid_argument for addresses of the
// wrong family or kind and for more tags than there are. `host` is the sender of the frame. Any thread may
// call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "orv/live/address.h"
#include "orv/live/membership_message.h"

namespace orv::live {

/// Without tags; each tag adds 4 bytes.
inline constexpr std::size_t kEthernetHeaderLength = 14;
/// Room for any frame with an IP packet of at most 1500 bytes.
inline constexpr std::size_t kMaxFrameLength = kEthernetHeaderLength + 4 * VlanTags::kMost + 1500;

/// An ARP request for `target` (RFC 826). With `target` the host's own address, an announcement (RFC
/// 5227 section 3).
std::size_t WriteArpRequest(std::span<std::byte> out, const HostAddress& host, const IpAddress& target);
/// A unicast ARP reply with the host's MAC address (RFC 826).
std::size_t WriteArpReply(std::span<std::byte> out, const HostAddress& host, const MacAddress& asker_mac,
                          const IpAddress& asker);
/// A neighbour solicitation for `target` (RFC 4861 section 4.3), with the host's MAC address as an option. A
/// host without an address (::) asks whether somebody has it (RFC 4862 section 5.4.2), without the option.
std::size_t WriteNeighborSolicitation(std::span<std::byte> out, const HostAddress& host,
                                      const IpAddress& target);
/// A neighbour advertisement (RFC 4861 sections 4.4 and 7.2.4), sent to the asker; when it has no address yet
/// (::), to all nodes of the link.
std::size_t WriteNeighborAdvertisement(std::span<std::byte> out, const HostAddress& host,
                                       const MacAddress& asker_mac, const IpAddress& asker);

/// A report of IGMPv1 (RFC 1112 appendix I), IGMPv2 (RFC 2236) or MLDv1 (RFC 2710), sent to the group. MLD
/// messages come from a link-local address or ::, so `host.ip` is one of these.
std::size_t WriteMembershipReport(std::span<std::byte> out, const HostAddress& host,
                                  MembershipVersion version, const IpAddress& group);
/// An IGMPv2 leave to 224.0.0.2 (RFC 2236 section 3), or an MLDv1 done to ff02::2 (RFC 2710 section 4).
std::size_t WriteMembershipLeave(std::span<std::byte> out, const HostAddress& host, MembershipVersion version,
                                 const IpAddress& group);
/// A report of IGMPv3 to 224.0.0.22 (RFC 3376 section 4.2) or MLDv2 to ff02::16 (RFC 3810 section 5.2).
std::size_t WriteRecordReport(std::span<std::byte> out, const HostAddress& host, MembershipVersion version,
                              std::span<const GroupRecord> records);

/// Bytes that a record takes in a report.
std::size_t RecordLength(MembershipVersion version, std::size_t sources);
/// Room for records in a report whose IP packet has at most `mtu` bytes.
std::size_t RecordRoom(MembershipVersion version, std::size_t mtu);

/// Where the packets of a stream come from and go to.
struct UdpFlow {
    HostAddress source;
    MacAddress destination_mac;  ///< MulticastMac() of a group
    IpAddress destination;
    std::uint16_t source_port = 0;
    std::uint16_t destination_port = 0;
    std::uint8_t traffic_class = 0;  ///< differentiated services and ECN (RFC 2474)
    std::uint8_t hop_limit = 64;
};

/// Where the payload of a flow's frames begins.
std::size_t UdpPayloadOffset(const UdpFlow& flow);
/// Writes the headers before a payload of `payload_length` bytes that is in its place already (RFC 768, RFC
/// 791, RFC 8200), so that a stream's payload is never copied. The packet may not exceed 65,535 bytes.
std::size_t WriteUdpHeaders(std::span<std::byte> frame, const UdpFlow& flow, std::size_t payload_length);

}  // namespace orv::live
