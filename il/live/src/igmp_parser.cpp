#include "bytes.h"
#include "checksum.h"
#include "message_parsers.h"
#include "protocol.h"
#include "query_fields.h"

namespace orv::live {
namespace {

using std::chrono::milliseconds;

std::optional<FrameContent> parse_query(const IpPacket& packet) {
    const auto message = packet.message;
    MembershipQuery query;
    query.destination = packet.destination;
    query.max_response_code = get8(message.data() + 1);
    query.group = get_v4(message.data() + 4);
    if (message.size() == kMembershipHeaderV4 && query.max_response_code == 0) {
        // An IGMPv1 host does not look at the group (RFC 1112 appendix I), nor for Router Alert.
        query.version = MembershipVersion::Igmp1;
        query.group = {};
        query.max_response_time = std::chrono::seconds(10);
    } else {
        if (!packet.router_alert) return {};
        if (message.size() == kMembershipHeaderV4) {
            query.version = MembershipVersion::Igmp2;
            query.max_response_time = milliseconds(100) * query.max_response_code;
        } else if (message.size() >= 12) {
            query.version = MembershipVersion::Igmp3;
            query.max_response_time = milliseconds(100) * decode_float(query.max_response_code, 4);
            if (!read_query_tail(message.subspan(8), false, query)) return {};
        } else {
            return {};
        }
    }
    if (query.group.IsUnspecified()) {
        if (packet.destination.IsMulticast() && packet.destination != kAllSystems) return {};
    } else if (!query.group.IsMulticast()) {
        return {};
    }
    return query;
}

}  // namespace

std::optional<FrameContent> parse_igmp(const IpPacket& packet) {
    const auto message = packet.message;
    if (message.size() < kMembershipHeaderV4 || checksum_of(message) != 0) return {};
    const std::uint8_t type = get8(message.data());
    if (type == kIgmpQuery) return parse_query(packet);

    const IpAddress group = get_v4(message.data() + 4);
    if (!group.IsMulticast()) return {};
    if (type == kIgmp1Report) return MembershipReport{MembershipVersion::Igmp1, packet.source, group};
    if (type == kIgmp2Report) return MembershipReport{MembershipVersion::Igmp2, packet.source, group};
    if (type == kIgmp2Leave) return MembershipLeave{MembershipVersion::Igmp2, packet.source, group};
    return {};
}

}  // namespace orv::live
