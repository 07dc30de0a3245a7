#include "checksum.h"
#include "headers.h"
#include "orv/live/frame.h"
#include "protocol.h"

namespace orv::live {
namespace {

/// "Internetwork control" in the precedence bits (RFC 3376 section 4).
constexpr std::uint8_t kIgmp3TypeOfService = 0xc0;

/// Headers of a membership message; returns where the message begins.
std::size_t begin_message(Writer& writer, const HostAddress& host, MembershipVersion version,
                          const IpAddress& destination, std::size_t length) {
    const bool is_mld = IsMld(version);
    require(host.ip.IsV6() == is_mld && destination.IsV6() == is_mld,
            "IGMP is for IPv4 addresses, MLD for IPv6 addresses");
    require(!is_mld || host.ip.IsLinkLocal() || host.ip.IsUnspecified(),
            "MLD messages come from a link-local or the unspecified address");
    write_ethernet(writer, MulticastMac(destination), host, is_mld ? kEtherIpv6 : kEtherIpv4);
    write_ip(writer,
             {.source = host.ip,
              .destination = destination,
              .protocol = is_mld ? kProtocolIcmp6 : kProtocolIgmp,
              .hop_limit = 1,
              .traffic_class = version == MembershipVersion::Igmp3 ? kIgmp3TypeOfService : std::uint8_t{0},
              .router_alert = version != MembershipVersion::Igmp1},
             length);
    return writer.size();
}

void end_message(Writer& writer, std::size_t begin, const HostAddress& host, const IpAddress& destination) {
    if (destination.IsV6()) {
        put_icmp6_checksum(writer, begin, host.ip, destination);
    } else {
        put(writer.at(begin + 2), checksum_of(writer.from(begin)));
    }
}

/// The messages that consist of a type and a group.
std::size_t write_group_message(std::span<std::byte> out, const HostAddress& host, MembershipVersion version,
                                const IpAddress& destination, std::uint8_t type, const IpAddress& group) {
    require(group.IsMulticast() && group.IsV6() == IsMld(version),
            "the group is no multicast address of its protocol");
    Writer writer(out);
    const std::size_t begin = begin_message(writer, host, version, destination,
                                            IsMld(version) ? kMembershipHeaderV6 : kMembershipHeaderV4);
    writer.u8(type);
    writer.u8(0);
    writer.u16(0);
    if (IsMld(version)) writer.u32(0);
    writer.address(group);
    end_message(writer, begin, host, destination);
    return writer.size();
}

}  // namespace

std::size_t WriteMembershipReport(std::span<std::byte> out, const HostAddress& host,
                                  MembershipVersion version, const IpAddress& group) {
    require(!HasSourceFilters(version), "reports of IGMPv3 and MLDv2 consist of records");
    const std::uint8_t type = version == MembershipVersion::Igmp1   ? kIgmp1Report
                              : version == MembershipVersion::Igmp2 ? kIgmp2Report
                                                                    : kMld1Report;
    return write_group_message(out, host, version, group, type, group);
}

std::size_t WriteMembershipLeave(std::span<std::byte> out, const HostAddress& host, MembershipVersion version,
                                 const IpAddress& group) {
    require(version == MembershipVersion::Igmp2 || version == MembershipVersion::Mld1,
            "only IGMPv2 and MLDv1 have leave messages");
    return IsMld(version) ? write_group_message(out, host, version, kAllRoutersV6, kMld1Done, group)
                          : write_group_message(out, host, version, kAllRouters, kIgmp2Leave, group);
}

std::size_t RecordLength(MembershipVersion version, std::size_t sources) {
    return IsMld(version) ? 20 + 16 * sources : 8 + 4 * sources;
}

std::size_t RecordRoom(MembershipVersion version, std::size_t mtu) {
    const std::size_t headers =
        kRecordReportHeader +
        (IsMld(version) ? kIpv6HeaderLength + kHopByHopLength : kIpv4HeaderLength + kIpv4RouterAlertLength);
    return mtu > headers ? mtu - headers : 0;
}

std::size_t WriteRecordReport(std::span<std::byte> out, const HostAddress& host, MembershipVersion version,
                              std::span<const GroupRecord> records) {
    require(HasSourceFilters(version), "only reports of IGMPv3 and MLDv2 consist of records");
    const IpAddress& destination = IsMld(version) ? kAllMld2Routers : kAllIgmp3Routers;
    std::size_t length = kRecordReportHeader;
    for (const GroupRecord& record : records) length += RecordLength(version, record.sources.size());
    Writer writer(out);
    const std::size_t begin = begin_message(writer, host, version, destination, length);
    writer.u8(IsMld(version) ? kMld2Report : kIgmp3Report);
    writer.u8(0);
    writer.u16(0);
    writer.u16(0);
    writer.u16(static_cast<std::uint16_t>(records.size()));
    for (const GroupRecord& record : records) {
        require(record.group.IsMulticast() && record.group.IsV6() == IsMld(version),
                "the group is no multicast address of its protocol");
        writer.u8(static_cast<std::uint8_t>(record.type));
        writer.u8(0);
        writer.u16(static_cast<std::uint16_t>(record.sources.size()));
        writer.address(record.group);
        for (const IpAddress& source : record.sources) {
            require(source.IsV6() == IsMld(version), "a source and its group are of different IP versions");
            writer.address(source);
        }
    }
    end_message(writer, begin, host, destination);
    return writer.size();
}

}  // namespace orv::live
