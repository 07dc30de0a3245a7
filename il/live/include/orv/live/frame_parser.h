// Parses received frames for emulated hosts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <variant>

#include "orv/live/address.h"
#include "orv/live/membership_message.h"
#include "orv/live/router_advertisement.h"

namespace orv::live {

/// Who has `target`? (RFC 826)
struct ArpRequest {
    MacAddress asker_mac;
    IpAddress asker;  ///< 0.0.0.0 for a probe (RFC 5227)
    IpAddress target;
};

/// `ip` is at `mac`. (RFC 826)
struct ArpReply {
    MacAddress mac;
    IpAddress ip;
};

/// Who has `target`? (RFC 4861 section 4.3)
struct NeighborSolicitation {
    MacAddress asker_mac;
    IpAddress asker;  ///< :: during duplicate address detection (RFC 4862 section 5.4)
    IpAddress target;
};

/// `target` is at `mac`. (RFC 4861 section 4.4)
struct NeighborAdvertisement {
    IpAddress target;
    MacAddress mac;             ///< of the option "target link-layer address"
    bool is_solicited = false;  ///< it answers a solicitation
    bool is_override = false;   ///< it replaces a MAC address that is already known (section 7.2.5)
};

/// A UDP datagram (RFC 768) that was not fragmented.
struct UdpPacket {
    IpAddress source;
    IpAddress destination;
    std::uint16_t source_port = 0;
    std::uint16_t destination_port = 0;
    std::span<const std::byte> payload;  ///< within the frame
};

struct ParsedFrame {
    MacAddress destination;
    MacAddress source;
    VlanTags vlan;
    std::variant<ArpRequest, ArpReply, NeighborSolicitation, NeighborAdvertisement, RouterAdvertisement,
                 MembershipQuery, MembershipReport, MembershipLeave, UdpPacket>
        content;
};

/// Metadata of a frame from the kernel.
struct ReceiveInfo {
    /// The outer tag, where the kernel has taken it out of the bytes.
    std::optional<VlanTag> stripped_tag = {};
    /// False if the UDP checksum must not be checked: the network device has yet to fill it in (sender on the
    /// same machine), or the kernel has checked it. All other checksums are always checked.
    bool check_udp = true;
};

/// Nothing for frames that no emulated host reacts to, and for those that a host must discard:
/// - frames shorter than their length fields say, with a wrong checksum, or in fragments; bytes beyond the
///   packet's own length are padding and do not matter;
/// - more than two tags;
/// - IGMP: queries of IGMPv2 and IGMPv3 without Router Alert, general queries to a group other than 224.0.0.1
///   (RFC 3376 section 9.1), queries of 9 to 11 bytes (section 7.1);
/// - MLD: without a hop limit of 1, Router Alert or a link-local source (RFC 3810 sections 6.2 and 10),
///   queries of 25 to 27 bytes (section 8.1);
/// - neighbour solicitations and advertisements that RFC 4861 sections 7.1.1 and 7.1.2 call invalid, and
///   advertisements without a MAC address;
/// - router advertisements that section 6.1.2 calls invalid.
///
/// Never reads outside of `frame`, allocates nothing, throws nothing; views point into `frame`. Any thread.
std::optional<ParsedFrame> ParseFrame(std::span<const std::byte> frame,
                                      const ReceiveInfo& info = {}) noexcept;

}  // namespace orv::live
