#include "orv/live/frame.h"
#include "orv/live/router_advertisement.h"

#include "checksum.h"
#include "headers.h"
#include "protocol.h"

namespace orv::live {
namespace {

constexpr MacAddress kBroadcast{{0xff, 0xff, 0xff, 0xff, 0xff, 0xff}};

std::size_t write_arp(std::span<std::byte> out, const HostAddress& host, const MacAddress& to,
                      std::uint16_t operation, const MacAddress& target_mac, const IpAddress& target) {
    require(!host.ip.IsV6() && !target.IsV6(), "ARP is for IPv4 addresses");
    Writer writer(out);
    write_ethernet(writer, to, host, kEtherArp);
    writer.u16(1);  // Ethernet
    writer.u16(kEtherIpv4);
    writer.u8(MacAddress::kLength);
    writer.u8(4);
    writer.u16(operation);
    writer.mac(host.mac);
    writer.address(host.ip);
    writer.mac(target_mac);
    writer.address(target);
    return writer.size();
}

/// A message of neighbour discovery: `number` after its checksum, `target` unless it is null, and the host's
/// MAC address as an option unless that is 0.
std::size_t write_discovery(std::span<std::byte> out, const HostAddress& host, const MacAddress& to_mac,
                            const IpAddress& to, std::uint8_t type, std::uint32_t number,
                            const IpAddress* target, std::uint8_t option) {
    require(host.ip.IsV6() && (!target || target->IsV6()) && to.IsV6(),
            "neighbour discovery is for IPv6 addresses");
    Writer writer(out);
    write_ethernet(writer, to_mac, host, kEtherIpv6);
    const std::size_t length = 8 + (target ? std::size_t{16} : 0) + (option != 0 ? std::size_t{8} : 0);
    write_ip(
        writer,
        {.source = host.ip, .destination = to, .protocol = kProtocolIcmp6, .hop_limit = kNeighborHopLimit},
        length);
    const std::size_t begin = writer.size();
    writer.u8(type);
    writer.u8(0);
    writer.u16(0);
    writer.u32(number);
    if (target) writer.address(*target);
    if (option != 0) {
        writer.u8(option);
        writer.u8(1);  // length in units of 8 bytes
        writer.mac(host.mac);
    }
    put_icmp6_checksum(writer, begin, host.ip, to);
    return writer.size();
}

/// A solicitation or advertisement of `target` with the host's MAC address as an option.
std::size_t write_neighbor(std::span<std::byte> out, const HostAddress& host, const MacAddress& to_mac,
                           const IpAddress& to, std::uint8_t type, std::uint32_t flags,
                           const IpAddress& target, std::uint8_t option) {
    return write_discovery(out, host, to_mac, to, type, flags, &target, option);
}

}  // namespace

std::size_t WriteArpRequest(std::span<std::byte> out, const HostAddress& host, const IpAddress& target) {
    return write_arp(out, host, kBroadcast, 1, {}, target);
}

std::size_t WriteArpReply(std::span<std::byte> out, const HostAddress& host, const MacAddress& asker_mac,
                          const IpAddress& asker) {
    return write_arp(out, host, asker_mac, 2, asker_mac, asker);
}

std::size_t WriteNeighborSolicitation(std::span<std::byte> out, const HostAddress& host,
                                      const IpAddress& target) {
    require(target.IsV6(), "neighbour discovery is for IPv6 addresses");
    const IpAddress to = SolicitedNodeAddress(target);
    return write_neighbor(out, host, MulticastMac(to), to, kNeighborSolicitation, 0, target,
                          kSourceLinkAddress);
}

std::size_t WriteAddressProbe(std::span<std::byte> out, const HostAddress& host, const IpAddress& target) {
    require(target.IsV6(), "neighbour discovery is for IPv6 addresses");
    HostAddress nobody = host;
    nobody.ip = IpAddress::V6({});
    const IpAddress to = SolicitedNodeAddress(target);
    return write_discovery(out, nobody, MulticastMac(to), to, kNeighborSolicitation, 0, &target, 0);
}

std::size_t WriteRouterSolicitation(std::span<std::byte> out, const HostAddress& host) {
    return write_discovery(out, host, MulticastMac(kAllRoutersV6), kAllRoutersV6, kRouterSolicitation, 0,
                           nullptr, kSourceLinkAddress);
}

std::size_t WriteNeighborAdvertisement(std::span<std::byte> out, const HostAddress& host,
                                       const MacAddress& asker_mac, const IpAddress& asker) {
    constexpr std::uint32_t kSolicited = 0x40000000;
    constexpr std::uint32_t kOverride = 0x20000000;
    if (asker.IsUnspecified()) {
        return write_neighbor(out, host, MulticastMac(kAllNodesV6), kAllNodesV6, kNeighborAdvertisement,
                              kOverride, host.ip, kTargetLinkAddress);
    }
    return write_neighbor(out, host, asker_mac, asker, kNeighborAdvertisement, kSolicited | kOverride,
                          host.ip, kTargetLinkAddress);
}

std::size_t UdpPayloadOffset(const UdpFlow& flow) {
    return kEthernetHeaderLength + 4 * flow.source.vlan.count +
           (flow.source.ip.IsV6() ? kIpv6HeaderLength : kIpv4HeaderLength) + kUdpHeaderLength;
}

std::size_t WriteUdpHeaders(std::span<std::byte> frame, const UdpFlow& flow, std::size_t payload_length) {
    const std::size_t length = kUdpHeaderLength + payload_length;
    const std::size_t payload = UdpPayloadOffset(flow);
    if (frame.size() < payload || payload_length > frame.size() - payload) {
        throw std::length_error("the buffer is too short for the frame");
    }
    Writer writer(frame);
    write_ethernet(writer, flow.destination_mac, flow.source,
                   flow.destination.IsV6() ? kEtherIpv6 : kEtherIpv4);
    write_ip(writer,
             {.source = flow.source.ip,
              .destination = flow.destination,
              .protocol = kProtocolUdp,
              .hop_limit = flow.hop_limit,
              .traffic_class = flow.traffic_class},
             length);
    const std::size_t begin = writer.size();
    writer.u16(flow.source_port);
    writer.u16(flow.destination_port);
    writer.u16(static_cast<std::uint16_t>(length));
    writer.u16(0);
    Checksum checksum;
    checksum.add_pseudo_header(flow.source.ip, flow.destination, kProtocolUdp, length);
    checksum.add(frame.subspan(begin, length));
    // 0 would mean that there is no checksum.
    put(writer.at(begin + 6), checksum.value() == 0 ? std::uint16_t{0xffff} : checksum.value());
    return begin + length;
}

}  // namespace orv::live
