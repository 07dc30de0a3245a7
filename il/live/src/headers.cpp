#include "headers.h"

#include "checksum.h"
#include "protocol.h"

namespace orv::live {
namespace {

void write_ipv4(Writer& writer, const IpHeader& header, std::size_t payload_length) {
    const std::size_t begin = writer.size();
    const std::size_t length = kIpv4HeaderLength + (header.router_alert ? kIpv4RouterAlertLength : 0);
    require(payload_length <= 0xffff - length, "the payload is too long for an IPv4 packet");
    writer.u8(static_cast<std::uint8_t>(0x40 | length / 4));
    writer.u8(header.traffic_class);
    writer.u16(static_cast<std::uint16_t>(length + payload_length));
    writer.u16(0);  // a packet that is not to be fragmented needs no identification (RFC 6864 section 4.1)
    writer.u16(0x4000);  // do not fragment
    writer.u8(header.hop_limit);
    writer.u8(header.protocol);
    writer.u16(0);
    writer.address(header.source);
    writer.address(header.destination);
    if (header.router_alert) {
        writer.u8(kIpv4RouterAlert);
        writer.u8(kIpv4RouterAlertLength);
        writer.u16(0);
    }
    put(writer.at(begin + 10), checksum_of(writer.from(begin)));
}

void write_ipv6(Writer& writer, const IpHeader& header, std::size_t payload_length) {
    const std::size_t length = payload_length + (header.router_alert ? kHopByHopLength : 0);
    require(length <= 0xffff, "the payload is too long for an IPv6 packet");
    writer.u32(0x60000000U | std::uint32_t{header.traffic_class} << 20);
    writer.u16(static_cast<std::uint16_t>(length));
    writer.u8(header.router_alert ? kProtocolHopByHop : header.protocol);
    writer.u8(header.hop_limit);
    writer.address(header.source);
    writer.address(header.destination);
    if (header.router_alert) {
        writer.u8(header.protocol);
        writer.u8(0);  // length in units of 8 bytes beyond the first
        writer.u8(kIpv6RouterAlert);
        writer.u8(2);
        writer.u16(0);       // it is an MLD packet
        writer.u16(0x0100);  // PadN without data
    }
}

}  // namespace

void write_ethernet(Writer& writer, const MacAddress& destination, const HostAddress& host,
                    std::uint16_t ether_type) {
    require(host.vlan.count <= VlanTags::kMost, "a frame has at most two VLAN tags");
    writer.mac(destination);
    writer.mac(host.mac);
    for (const VlanTag& tag : host.vlan.Get()) {
        writer.u16(tag.type);
        writer.u16(tag.control);
    }
    writer.u16(ether_type);
}

void write_ip(Writer& writer, const IpHeader& header, std::size_t payload_length) {
    require(header.source.IsV6() == header.destination.IsV6(),
            "source and destination are of different IP versions");
    header.source.IsV6() ? write_ipv6(writer, header, payload_length)
                         : write_ipv4(writer, header, payload_length);
}

void put_icmp6_checksum(Writer& writer, std::size_t begin, const IpAddress& source,
                        const IpAddress& destination) {
    const auto message = writer.from(begin);
    Checksum checksum;
    checksum.add_pseudo_header(source, destination, kProtocolIcmp6, message.size());
    checksum.add(message);
    put(writer.at(begin + 2), checksum.value());
}

}  // namespace orv::live
