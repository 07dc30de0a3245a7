#include "orv/live/frame.h"

#include <optional>

#include "checksum.h"
#include "headers.h"
#include "orv/live/router_advertisement.h"
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

/// A message of neighbour discovery (RFC 4861 section 4).
struct NeighborMessage {
    MacAddress to_mac;
    IpAddress to;
    std::uint8_t type = 0;
    std::uint32_t flags = 0;
    std::optional<IpAddress> target = {};
    std::uint8_t option = 0;  ///< which holds the host's MAC address; 0: none
};

std::size_t write_neighbor(std::span<std::byte> out, const HostAddress& host,
                           const NeighborMessage& message) {
    require(host.ip.IsV6() && message.to.IsV6(), "neighbour discovery is for IPv6 addresses");
    Writer writer(out);
    write_ethernet(writer, message.to_mac, host, kEtherIpv6);
    write_ip(writer,
             {.source = host.ip,
              .destination = message.to,
              .protocol = kProtocolIcmp6,
              .hop_limit = kNeighborHopLimit},
             std::size_t{8} + (message.target ? 16 : 0) + (message.option != 0 ? 8 : 0));
    const std::size_t begin = writer.size();
    writer.u8(message.type);
    writer.u8(0);
    writer.u16(0);
    writer.u32(message.flags);
    if (message.target) writer.address(*message.target);
    if (message.option != 0) {
        writer.u8(message.option);
        writer.u8(1);  // length in units of 8 bytes
        writer.mac(host.mac);
    }
    put_icmp6_checksum(writer, begin, host.ip, message.to);
    return writer.size();
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
    return write_neighbor(out, host,
                          {.to_mac = MulticastMac(to),
                           .to = to,
                           .type = kNeighborSolicitation,
                           .target = target,
                           .option = host.ip.IsUnspecified() ? std::uint8_t{0} : kSourceLinkAddress});
}

std::size_t WriteNeighborAdvertisement(std::span<std::byte> out, const HostAddress& host,
                                       const MacAddress& asker_mac, const IpAddress& asker) {
    constexpr std::uint32_t kSolicited = 0x40000000;
    constexpr std::uint32_t kOverride = 0x20000000;
    const bool is_to_all = asker.IsUnspecified();
    return write_neighbor(out, host,
                          {.to_mac = is_to_all ? MulticastMac(kAllNodesV6) : asker_mac,
                           .to = is_to_all ? kAllNodesV6 : asker,
                           .type = kNeighborAdvertisement,
                           .flags = is_to_all ? kOverride : kSolicited | kOverride,
                           .target = host.ip,
                           .option = kTargetLinkAddress});
}

std::size_t WriteRouterSolicitation(std::span<std::byte> out, const HostAddress& host) {
    require(host.ip.IsLinkLocal(), "routers are asked from a link-local address");
    return write_neighbor(out, host,
                          {.to_mac = MulticastMac(kAllRoutersV6),
                           .to = kAllRoutersV6,
                           .type = kRouterSolicitation,
                           .option = kSourceLinkAddress});
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
