#include "live/sample_frames.h"

#include <fmt/format.h>

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <stdexcept>

namespace testing_aids {
namespace {

using namespace orv::live;

const std::vector<SampleFrame> kSamples = {
    // clang-format off
    {"arp_request", "arp: 192.0.2.1 at 00163e000001 asks for 192.0.2.10",
     "ffffffffffff 00163e000001 0806  00010800 06040001 00163e00 0001c000 02010000 00000000 c000020a  00000000 00000000"
     "00000000 00000000 0000"},
    {"arp_reply", "arp reply: 192.0.2.1 is at 00163e000001",
     "020000000a01 00163e000001 0806  00010800 06040002 00163e00 0001c000 02010200 00000a01 c000020a  00000000 00000000"
     "00000000 00000000 0000"},
    {"solicitation", "solicitation: 2001:db8::1 at 00163e000001 asks for 2001:db8::a",
     "3333ff00000a 00163e000001 86dd  60000000 00203aff 20010db8 00000000 00000000 00000001 ff020000 00000000 00000001"
     "ff00000a  8700e000 00000000 20010db8 00000000 00000000 0000000a 01010016 3e000001"},
    {"solicitation_dad", "solicitation: :: at 00163e000001 asks for 2001:db8::a",
     "3333ff00000a 00163e000001 86dd  60000000 00183aff 00000000 00000000 00000000 00000000 ff020000 00000000 00000001"
     "ff00000a  87004cdb 00000000 20010db8 00000000 00000000 0000000a"},
    {"advertisement", "advertisement: 2001:db8::1 is at 00163e000001, solicited, override",
     "020000000a01 00163e000001 86dd  60000000 00203aff 20010db8 00000000 00000000 00000001 20010db8 00000000 00000000"
     "0000000a  88004e55 60000000 20010db8 00000000 00000000 00000001 02010016 3e000001"},
    {"router_advertisement", "router fe80::1 at 00163e000001 for 1800 s, O, 2001:db8:1::/64 LA 86400 14400, 2001:db8:2:fff8::/61 L 4294967295 4294967295",
     "333300000001 00163e000001 86dd  60000000 00603aff fe800000 00000000 00000000 00000001 ff020000 00000000 00000000"
     "00000001  86008126 40400708 00000000 00000000 01010016 3e000001 05010000 000005dc 030440c0 00015180 00003840 00000000"
     "20010db8 00010000 00000000 00000000 03043d80 ffffffff ffffffff 00000000 20010db8 0002fffa 00000000 00000001"},
    {"router_advertisement_managed", "[8100:6064] router fe80::1 for 0 s, M",
     "333300000001 00163e000001 81006064 86dd  60000000 00103aff fe800000 00000000 00000000 00000001 ff020000 00000000"
     "00000000 00000001  86007baf 00800000 00000000 00000000"},
    {"igmp1_query", "igmp1 query to 224.0.0.1 about 0.0.0.0, code 0, within 10000 ms, robustness 0, every 0 s",
     "01005e000001 00163e000001 0800  4500001c 00004000 0102d7dd c0000201 e0000001  1100eeff 00000000  00000000 00000000"
     "00000000 00000000 0000"},
    {"igmp2_general", "igmp2 query to 224.0.0.1 about 0.0.0.0, code 100, within 10000 ms, robustness 0, every 0 s",
     "01005e000001 00163e000001 0800  46c00020 00004000 01024215 c0000201 e0000001 94040000  1164ee9b 00000000  00000000"
     "00000000 00000000 0000"},
    {"igmp2_group", "[8100:6064] igmp2 query to 239.129.2.3 about 239.129.2.3, code 255, within 25500 ms, robustness 0, every 0 s",
     "01005e010203 00163e000001 81006064 0800  46c00020 00004000 01023092 c0000201 ef810203 94040000  11fffc7b ef810203"
     "00000000 00000000 0000"},
    {"igmp3_general", "igmp3 query to 224.0.0.1 about 0.0.0.0, code 100, within 10000 ms, robustness 2, every 125 s",
     "01005e000001 00163e000001 0800  46c00024 00004000 01024211 c0000201 e0000001 94040000  1164ec1e 00000000 027d0000"
     "00000000 00000000 0000"},
    {"igmp3_group", "[88a8:0064 8100:00c8] igmp3 query to 239.129.2.3 about 239.129.2.3, code 138, within 20800 ms, robustness 7, every 208 s, S",
     "01005e010203 00163e000001 88a80064 810000c8 0800  46c00024 00004000 0102308e c0000201 ef810203 94040000  118aed66"
     "ef810203 0f8a0000"},
    {"igmp3_sources", "igmp3 query to 232.1.1.1 about 232.1.1.1, code 10, within 1000 ms, robustness 2, every 0 s, 198.51.100.1 198.51.100.2",
     "01005e010101 00163e000001 0800  46c0002c 00004000 01023908 c0000201 e8010101 94040000  110aaf85 e8010101 02000002"
     "c6336401 c6336402"},
    {"igmp2_report", "igmp2 report of 192.0.2.11: 239.129.2.3",
     "01005e010203 00163e000001 0800  46000020 00004000 01023148 c000020b ef810203 94040000  1600f87a ef810203"},
    {"igmp2_leave", "igmp2 leave of 192.0.2.11: 239.129.2.3",
     "01005e000002 00163e000001 0800  46000020 00004000 010242ca c000020b e0000002 94040000  1700f77a ef810203"},
    {"mld1_general", "mld1 query to ff02::1 about ::, code 10000, within 10000 ms, robustness 0, every 0 s",
     "333300000001 00163e000001 86dd  60000000 00200001 fe800000 00000000 00000000 00000001 ff020000 00000000 00000000"
     "00000001  3a000502 00000100  82005917 27100000 00000000 00000000 00000000 00000000"},
    {"mld1_group", "mld1 query to ff3e::8000:1 about ff3e::8000:1, code 1000, within 1000 ms, robustness 0, every 0 s",
     "333380000001 00163e000001 86dd  60000000 00200001 fe800000 00000000 00000000 00000001 ff3e0000 00000000 00000000"
     "80000001  3a000502 00000100  82007cc2 03e80000 ff3e0000 00000000 00000000 80000001"},
    {"mld2_general", "mld2 query to ff02::1 about ::, code 36863, within 65528 ms, robustness 2, every 125 s",
     "333300000001 00163e000001 86dd  60000000 00240001 fe800000 00000000 00000000 00000001 ff020000 00000000 00000000"
     "00000001  3a000502 00000100  8200eda6 8fff0000 00000000 00000000 00000000 00000000 027d0000"},
    {"mld2_sources", "[8100:6064] mld2 query to ff3e::8000:1 about ff3e::8000:1, code 1000, within 1000 ms, robustness 2, every 0 s, S, 2001:db8:1::1",
     "333380000001 00163e000001 81006064 86dd  60000000 00340001 fe800000 00000000 00000000 00000001 ff3e0000 00000000"
     "00000000 80000001  3a000502 00000100  820044f2 03e80000 ff3e0000 00000000 00000000 80000001 0a000001 20010db8"
     "00010000 00000000 00000001"},
    {"mld1_report", "mld1 report of fe80::2: ff3e::8000:1",
     "333380000001 00163e000001 86dd  60000000 00200001 fe800000 00000000 00000000 00000002 ff3e0000 00000000 00000000"
     "80000001  3a000502 00000100  83007fa9 00000000 ff3e0000 00000000 00000000 80000001"},
    {"mld1_done", "mld1 leave of fe80::2: ff3e::8000:1",
     "333300000002 00163e000001 86dd  60000000 00200001 fe800000 00000000 00000000 00000002 ff020000 00000000 00000000"
     "00000002  3a000502 00000100  8400fee4 00000000 ff3e0000 00000000 00000000 80000001"},
    {"udp4", "[88a8:0064 8100:00c8] udp 198.51.100.1:5000 to 239.129.2.3:5004, 616263",
     "01005e010203 00163e000001 88a80064 810000c8 0800  4500001f 00004000 10114f15 c6336401 ef810203  1388138c 000bf8a7"
     "616263  00000000"},
    {"udp6", "udp 2001:db8:1::1:5000 to ff3e::8000:1:5004, 61626364",
     "333380000001 00163e000001 86dd  60000000 000c1110 20010db8 00010000 00000000 00000001 ff3e0000 00000000 00000000"
     "80000001  1388138c 000c6700 61626364"},
    // clang-format on
};

const auto hex_of = [](const MacAddress& mac) { return hex_text(std::as_bytes(std::span(mac.bytes))); };
constexpr const char* kNames[] = {"igmp1", "igmp2", "igmp3", "mld1", "mld2"};
const auto name_of = [](MembershipVersion version) { return kNames[static_cast<std::size_t>(version)]; };

struct TextOf {
    std::string operator()(const ArpRequest& request) const { return of_asker("arp", request); }
    std::string operator()(const NeighborSolicitation& request) const {
        return of_asker("solicitation", request);
    }
    std::string operator()(const ArpReply& reply) const {
        return fmt::format("arp reply: {} is at {}", reply.ip.ToString(), hex_of(reply.mac));
    }
    std::string operator()(const NeighborAdvertisement& message) const {
        return fmt::format("advertisement: {} is at {}{}{}", message.target.ToString(), hex_of(message.mac),
                           message.is_solicited ? ", solicited" : "",
                           message.is_override ? ", override" : "");
    }
    std::string operator()(const RouterAdvertisement& message) const {
        std::string text = "router " + message.router.ToString();
        if (message.mac) text += " at " + hex_of(*message.mac);
        text += fmt::format(" for {} s{}{}", message.lifetime, message.is_managed ? ", M" : "",
                            message.has_other ? ", O" : "");
        for (const AdvertisedPrefix& prefix : message.GetPrefixes())
            text += fmt::format(", {}/{} {}{} {} {}", prefix.prefix.ToString(), prefix.length,
                                prefix.is_on_link ? "L" : "", prefix.is_autonomous ? "A" : "", prefix.valid,
                                prefix.preferred);
        return text;
    }
    static std::string of_asker(const char* what, const auto& request) {
        return fmt::format("{}: {} at {} asks for {}", what, request.asker.ToString(),
                           hex_of(request.asker_mac), request.target.ToString());
    }
    std::string operator()(const MembershipQuery& query) const {
        std::string text =
            fmt::format("{} query to {} about {}, code {}, within {} ms, robustness {}, every {} s",
                        name_of(query.version), query.destination.ToString(), query.group.ToString(),
                        query.max_response_code, query.max_response_time / std::chrono::milliseconds(1),
                        query.robustness, query.query_interval / std::chrono::seconds(1));
        if (query.suppress_router_processing) text += ", S";
        for (std::size_t i = 0; i < query.sources.GetSize(); ++i)
            text += (i == 0 ? ", " : " ") + query.sources[i].ToString();
        return text;
    }
    std::string operator()(const MembershipReport& report) const { return of_member("report", report); }
    std::string operator()(const MembershipLeave& leave) const { return of_member("leave", leave); }
    static std::string of_member(const char* what, const auto& message) {
        return fmt::format("{} {} of {}: {}", name_of(message.version), what, message.source.ToString(),
                           message.group.ToString());
    }
    std::string operator()(const UdpPacket& packet) const {
        return fmt::format("udp {}:{} to {}:{}, {}", packet.source.ToString(), packet.source_port,
                           packet.destination.ToString(), packet.destination_port, hex_text(packet.payload));
    }
};

// An independent implementation, straightforward and slow, so that it does not share the faults of the one
// under test.
unsigned sum_of(std::span<const std::byte> bytes) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        sum += std::to_integer<unsigned>(bytes[i]) << (i % 2 == 0 ? 8 : 0);
        sum = (sum & 0xffff) + (sum >> 16);
    }
    return sum;
}

void put_sum(std::span<std::byte> bytes, std::size_t field, unsigned start) {
    if (bytes.size() < field + 2) return;
    bytes[field] = bytes[field + 1] = std::byte{0};
    unsigned sum = sum_of(bytes) + start;
    sum = ~((sum & 0xffff) + (sum >> 16)) & 0xffff;
    bytes[field] = static_cast<std::byte>(sum >> 8);
    bytes[field + 1] = static_cast<std::byte>(sum);
}

/// `addresses`: both of them.
void refit_upper(std::span<std::byte> message, unsigned protocol, std::span<const std::byte> addresses) {
    const unsigned pseudo = sum_of(addresses) + protocol + static_cast<unsigned>(message.size());
    if (protocol == 2) put_sum(message, 2, 0);
    if (protocol == 58) put_sum(message, 2, pseudo % 0xffff);
    if (protocol == 17) put_sum(message, 6, pseudo % 0xffff);
    if (protocol == 17 && message.size() >= 8 && number_at(message, 6) == 0)
        message[6] = message[7] = std::byte{0xff};
}

void refit_ipv4(std::span<std::byte> packet) {
    if (packet.size() < 20) return;
    const std::size_t header = (std::to_integer<unsigned>(packet[0]) & 15) * 4, total = number_at(packet, 2);
    if (header < 20 || total < header || total > packet.size()) return;
    put_sum(packet.first(header), 10, 0);
    refit_upper(packet.first(total).subspan(header), std::to_integer<unsigned>(packet[9]),
                packet.subspan(12, 8));
}

void refit_ipv6(std::span<std::byte> packet) {
    if (packet.size() < 40) return;
    const std::size_t length = number_at(packet, 4);
    if (length > packet.size() - 40) return;
    unsigned protocol = std::to_integer<unsigned>(packet[6]);
    std::span<std::byte> message = packet.subspan(40, length);
    if (protocol == 0 && message.size() >= 2) {
        const std::size_t header = 8 * (std::to_integer<unsigned>(message[1]) + 1);
        if (header > message.size()) return;
        protocol = std::to_integer<unsigned>(message[0]);
        message = message.subspan(header);
    }
    refit_upper(message, protocol, packet.subspan(8, 32));
}

}  // namespace

std::span<const SampleFrame> sample_frames() {
    return kSamples;
}

std::vector<std::byte> sample_frame(std::string_view name) {
    return bytes_of(std::ranges::find(kSamples, name, &SampleFrame::name)->hex);
}

std::vector<std::byte> bytes_of(std::string_view hex) {
    std::string digits(hex);
    std::erase_if(digits, [](const unsigned char c) { return !std::isxdigit(c); });
    std::vector<std::byte> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<std::byte>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

std::string hex_text(std::span<const std::byte> bytes) {
    std::string text;
    for (const std::byte byte : bytes) text += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
    return text;
}

std::uint16_t number_at(std::span<const std::byte> bytes, std::size_t at) {
    return static_cast<std::uint16_t>(std::to_integer<unsigned>(bytes[at]) << 8 |
                                      std::to_integer<unsigned>(bytes[at + 1]));
}

IpAddress ip(const std::string& text) {
    std::uint8_t bytes[16];
    if (inet_pton(AF_INET, text.c_str(), bytes) == 1) return IpAddress::FromBytes(std::span(bytes).first(4));
    if (inet_pton(AF_INET6, text.c_str(), bytes) == 1) return IpAddress::FromBytes(bytes);
    throw std::invalid_argument(text + " is no address");
}

std::string text_of(const std::optional<ParsedFrame>& frame) {
    if (!frame) return "nothing";
    std::string tags;
    for (const VlanTag& tag : frame->vlan.Get())
        tags += fmt::format("{}{:04x}:{:04x}", tags.empty() ? "[" : " ", tag.type, tag.control);
    return (tags.empty() ? tags : tags + "] ") + std::visit(TextOf{}, frame->content);
}

std::string text_of(const AddressCounts& c) {
    std::string text;
    const std::pair<const char*, std::uint64_t> counts[] = {
        {"received", c.received}, {"ignored", c.ignored},     {"repeated", c.repeated},
        {"refused", c.refused},   {"conflicts", c.conflicts}, {"renewed", c.renewed},
        {"rebound", c.rebound},   {"changed", c.changed},     {"lost", c.lost}};
    for (const auto& [name, count] : counts)
        if (count != 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", name, count);
    return text;
}

void refit_checksums(std::span<std::byte> frame) {
    std::size_t type = 12;
    while (frame.size() >= type + 6 && (number_at(frame, type) == 0x8100 || number_at(frame, type) == 0x88a8))
        type += 4;
    if (frame.size() < type + 2) return;
    if (number_at(frame, type) == 0x0800) refit_ipv4(frame.subspan(type + 2));
    if (number_at(frame, type) == 0x86dd) refit_ipv6(frame.subspan(type + 2));
}

}  // namespace testing_aids
