#include "live/sample_frames.h"

#include <fmt/format.h>

#include <arpa/inet.h>

#include <cctype>
#include <chrono>
#include <stdexcept>

namespace testing_aids {
namespace {

using namespace orv::live;

const std::vector<SampleFrame> kSamples = {
    // clang-format off
    {"arp_request",
     "arp: 192.0.2.1 at 00163e000001 asks for 192.0.2.10",
     "ff ff ff ff ff ff 00 16 3e 00 00 01 08 06 "
     "00 01 08 00 06 04 00 01 00 16 3e 00 00 01 c0 00 02 01 00 00 00 00 00 00 c0 00 02 0a "
     "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "},
    {"solicitation",
     "solicitation: 2001:db8::1 at 00163e000001 asks for 2001:db8::a",
     "33 33 ff 00 00 0a 00 16 3e 00 00 01 86 dd "
     "60 00 00 00 00 20 3a ff 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 ff 02 00 00 00 00 "
     "00 00 00 00 00 01 ff 00 00 0a "
     "87 00 e0 00 00 00 00 00 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 0a 01 01 00 16 3e 00 "
     "00 01 "},
    {"solicitation_dad",
     "solicitation: :: at 00163e000001 asks for 2001:db8::a",
     "33 33 ff 00 00 0a 00 16 3e 00 00 01 86 dd "
     "60 00 00 00 00 18 3a ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ff 02 00 00 00 00 "
     "00 00 00 00 00 01 ff 00 00 0a "
     "87 00 4c db 00 00 00 00 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 0a "},
    {"igmp1_query",
     "igmp1 query to 224.0.0.1 about 0.0.0.0, code 0, within 10000 ms, robustness 0, every 0 s",
     "01 00 5e 00 00 01 00 16 3e 00 00 01 08 00 "
     "45 00 00 1c 00 00 40 00 01 02 d7 dd c0 00 02 01 e0 00 00 01 "
     "11 00 ee ff 00 00 00 00 "
     "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "},
    {"igmp2_general",
     "igmp2 query to 224.0.0.1 about 0.0.0.0, code 100, within 10000 ms, robustness 0, every 0 s",
     "01 00 5e 00 00 01 00 16 3e 00 00 01 08 00 "
     "46 c0 00 20 00 00 40 00 01 02 42 15 c0 00 02 01 e0 00 00 01 94 04 00 00 "
     "11 64 ee 9b 00 00 00 00 "
     "00 00 00 00 00 00 00 00 00 00 00 00 00 00 "},
    {"igmp2_group",
     "[8100:6064] igmp2 query to 239.129.2.3 about 239.129.2.3, code 255, within 25500 ms, robustness 0, every 0 s",
     "01 00 5e 01 02 03 00 16 3e 00 00 01 81 00 60 64 08 00 "
     "46 c0 00 20 00 00 40 00 01 02 30 92 c0 00 02 01 ef 81 02 03 94 04 00 00 "
     "11 ff fc 7b ef 81 02 03 "
     "00 00 00 00 00 00 00 00 00 00 "},
    {"igmp3_general",
     "igmp3 query to 224.0.0.1 about 0.0.0.0, code 100, within 10000 ms, robustness 2, every 125 s",
     "01 00 5e 00 00 01 00 16 3e 00 00 01 08 00 "
     "46 c0 00 24 00 00 40 00 01 02 42 11 c0 00 02 01 e0 00 00 01 94 04 00 00 "
     "11 64 ec 1e 00 00 00 00 02 7d 00 00 "
     "00 00 00 00 00 00 00 00 00 00 "},
    {"igmp3_group",
     "[88a8:0064 8100:00c8] igmp3 query to 239.129.2.3 about 239.129.2.3, code 138, within 20800 ms, robustness 7, every 208 s, S",
     "01 00 5e 01 02 03 00 16 3e 00 00 01 88 a8 00 64 81 00 00 c8 08 00 "
     "46 c0 00 24 00 00 40 00 01 02 30 8e c0 00 02 01 ef 81 02 03 94 04 00 00 "
     "11 8a ed 66 ef 81 02 03 0f 8a 00 00 "},
    {"igmp3_sources",
     "igmp3 query to 232.1.1.1 about 232.1.1.1, code 10, within 1000 ms, robustness 2, every 0 s, 198.51.100.1 198.51.100.2",
     "01 00 5e 01 01 01 00 16 3e 00 00 01 08 00 "
     "46 c0 00 2c 00 00 40 00 01 02 39 08 c0 00 02 01 e8 01 01 01 94 04 00 00 "
     "11 0a af 85 e8 01 01 01 02 00 00 02 c6 33 64 01 c6 33 64 02 "},
    {"igmp2_report",
     "igmp2 report of 192.0.2.11: 239.129.2.3",
     "01 00 5e 01 02 03 00 16 3e 00 00 01 08 00 "
     "46 00 00 20 00 00 40 00 01 02 31 48 c0 00 02 0b ef 81 02 03 94 04 00 00 "
     "16 00 f8 7a ef 81 02 03 "},
    {"igmp2_leave",
     "igmp2 leave of 192.0.2.11: 239.129.2.3",
     "01 00 5e 00 00 02 00 16 3e 00 00 01 08 00 "
     "46 00 00 20 00 00 40 00 01 02 42 ca c0 00 02 0b e0 00 00 02 94 04 00 00 "
     "17 00 f7 7a ef 81 02 03 "},
    {"mld1_general",
     "mld1 query to ff02::1 about ::, code 10000, within 10000 ms, robustness 0, every 0 s",
     "33 33 00 00 00 01 00 16 3e 00 00 01 86 dd "
     "60 00 00 00 00 20 00 01 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 01 ff 02 00 00 00 00 "
     "00 00 00 00 00 00 00 00 00 01 "
     "3a 00 05 02 00 00 01 00 "
     "82 00 59 17 27 10 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "},
    {"mld1_group",
     "mld1 query to ff3e::8000:1 about ff3e::8000:1, code 1000, within 1000 ms, robustness 0, every 0 s",
     "33 33 80 00 00 01 00 16 3e 00 00 01 86 dd "
     "60 00 00 00 00 20 00 01 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 01 ff 3e 00 00 00 00 "
     "00 00 00 00 00 00 80 00 00 01 "
     "3a 00 05 02 00 00 01 00 "
     "82 00 7c c2 03 e8 00 00 ff 3e 00 00 00 00 00 00 00 00 00 00 80 00 00 01 "},
    {"mld2_general",
     "mld2 query to ff02::1 about ::, code 36863, within 65528 ms, robustness 2, every 125 s",
     "33 33 00 00 00 01 00 16 3e 00 00 01 86 dd "
     "60 00 00 00 00 24 00 01 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 01 ff 02 00 00 00 00 "
     "00 00 00 00 00 00 00 00 00 01 "
     "3a 00 05 02 00 00 01 00 "
     "82 00 ed a6 8f ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02 7d 00 00 "},
    {"mld2_sources",
     "[8100:6064] mld2 query to ff3e::8000:1 about ff3e::8000:1, code 1000, within 1000 ms, robustness 2, every 0 s, S, 2001:db8:1::1",
     "33 33 80 00 00 01 00 16 3e 00 00 01 81 00 60 64 86 dd "
     "60 00 00 00 00 34 00 01 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 01 ff 3e 00 00 00 00 "
     "00 00 00 00 00 00 80 00 00 01 "
     "3a 00 05 02 00 00 01 00 "
     "82 00 44 f2 03 e8 00 00 ff 3e 00 00 00 00 00 00 00 00 00 00 80 00 00 01 0a 00 00 01 20 01 "
     "0d b8 00 01 00 00 00 00 00 00 00 00 00 01 "},
    {"mld1_report",
     "mld1 report of fe80::2: ff3e::8000:1",
     "33 33 80 00 00 01 00 16 3e 00 00 01 86 dd "
     "60 00 00 00 00 20 00 01 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 02 ff 3e 00 00 00 00 "
     "00 00 00 00 00 00 80 00 00 01 "
     "3a 00 05 02 00 00 01 00 "
     "83 00 7f a9 00 00 00 00 ff 3e 00 00 00 00 00 00 00 00 00 00 80 00 00 01 "},
    {"mld1_done",
     "mld1 leave of fe80::2: ff3e::8000:1",
     "33 33 00 00 00 02 00 16 3e 00 00 01 86 dd "
     "60 00 00 00 00 20 00 01 fe 80 00 00 00 00 00 00 00 00 00 00 00 00 00 02 ff 02 00 00 00 00 "
     "00 00 00 00 00 00 00 00 00 02 "
     "3a 00 05 02 00 00 01 00 "
     "84 00 fe e4 00 00 00 00 ff 3e 00 00 00 00 00 00 00 00 00 00 80 00 00 01 "},
    {"udp4",
     "[88a8:0064 8100:00c8] udp 198.51.100.1:5000 to 239.129.2.3:5004, 616263",
     "01 00 5e 01 02 03 00 16 3e 00 00 01 88 a8 00 64 81 00 00 c8 08 00 "
     "45 00 00 1f 00 00 40 00 10 11 4f 15 c6 33 64 01 ef 81 02 03 "
     "13 88 13 8c 00 0b f8 a7 61 62 63 "
     "00 00 00 00 "},
    {"udp6",
     "udp 2001:db8:1::1:5000 to ff3e::8000:1:5004, 61626364",
     "33 33 80 00 00 01 00 16 3e 00 00 01 86 dd "
     "60 00 00 00 00 0c 11 10 20 01 0d b8 00 01 00 00 00 00 00 00 00 00 00 01 ff 3e 00 00 00 00 "
     "00 00 00 00 00 00 80 00 00 01 "
     "13 88 13 8c 00 0c 67 00 61 62 63 64 "},
    // clang-format on
};

std::string hex_of(std::span<const std::byte> bytes) {
    std::string text;
    for (const std::byte byte : bytes) text += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
    return text;
}

std::string hex_of(const MacAddress& mac) {
    return hex_of(std::as_bytes(std::span(mac.bytes)));
}

std::string name_of(MembershipVersion version) {
    static constexpr const char* kNames[] = {"igmp1", "igmp2", "igmp3", "mld1", "mld2"};
    return kNames[static_cast<std::size_t>(version)];
}

struct TextOf {
    std::string operator()(const ArpRequest& request) const {
        return fmt::format("arp: {} at {} asks for {}", request.asker.ToString(), hex_of(request.asker_mac),
                           request.target.ToString());
    }
    std::string operator()(const NeighborSolicitation& solicitation) const {
        return fmt::format("solicitation: {} at {} asks for {}", solicitation.asker.ToString(),
                           hex_of(solicitation.asker_mac), solicitation.target.ToString());
    }
    std::string operator()(const MembershipQuery& query) const {
        std::string text = fmt::format(
            "{} query to {} about {}, code {}, within {} ms, robustness {}, every {} s",
            name_of(query.version), query.destination.ToString(), query.group.ToString(),
            query.max_response_code,
            std::chrono::duration_cast<std::chrono::milliseconds>(query.max_response_time).count(),
            query.robustness, std::chrono::duration_cast<std::chrono::seconds>(query.query_interval).count());
        if (query.suppress_router_processing) text += ", S";
        for (std::size_t i = 0; i < query.sources.GetSize(); ++i) {
            text += (i == 0 ? ", " : " ") + query.sources[i].ToString();
        }
        return text;
    }
    std::string operator()(const MembershipReport& report) const {
        return fmt::format("{} report of {}: {}", name_of(report.version), report.source.ToString(),
                           report.group.ToString());
    }
    std::string operator()(const MembershipLeave& leave) const {
        return fmt::format("{} leave of {}: {}", name_of(leave.version), leave.source.ToString(),
                           leave.group.ToString());
    }
    std::string operator()(const UdpPacket& packet) const {
        return fmt::format("udp {}:{} to {}:{}, {}", packet.source.ToString(), packet.source_port,
                           packet.destination.ToString(), packet.destination_port, hex_of(packet.payload));
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
    if (protocol == 17) {
        put_sum(message, 6, pseudo % 0xffff);
        if (message.size() >= 8 && message[6] == std::byte{0} && message[7] == std::byte{0}) {
            message[6] = message[7] = std::byte{0xff};
        }
    }
}

unsigned number_at(std::span<const std::byte> bytes, std::size_t at) {
    return std::to_integer<unsigned>(bytes[at]) << 8 | std::to_integer<unsigned>(bytes[at + 1]);
}

void refit_ipv4(std::span<std::byte> packet) {
    if (packet.size() < 20) return;
    const std::size_t header = (std::to_integer<unsigned>(packet[0]) & 15) * 4;
    const std::size_t total = number_at(packet, 2);
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
    for (const SampleFrame& sample : kSamples) {
        if (sample.name == name) return bytes_of(sample.hex);
    }
    throw std::out_of_range(fmt::format("no sample frame {}", name));
}

std::vector<std::byte> bytes_of(std::string_view hex) {
    std::string digits;
    for (const char c : hex) {
        if (std::isxdigit(static_cast<unsigned char>(c))) digits += c;
    }
    std::vector<std::byte> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<std::byte>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string hex_text(std::span<const std::byte> bytes) {
    return hex_of(bytes);
}

IpAddress ip(const std::string& text) {
    std::uint8_t bytes[16];
    if (inet_pton(AF_INET, text.c_str(), bytes) == 1) return IpAddress::FromBytes(std::span(bytes).first(4));
    if (inet_pton(AF_INET6, text.c_str(), bytes) == 1) return IpAddress::FromBytes(bytes);
    throw std::invalid_argument(text + " is no address");
}

std::string text_of(const ParsedFrame& frame) {
    std::string tags;
    for (const VlanTag& tag : frame.vlan.Get()) {
        tags += fmt::format("{}{:04x}:{:04x}", tags.empty() ? "[" : " ", tag.type, tag.control);
    }
    return (tags.empty() ? tags : tags + "] ") + std::visit(TextOf{}, frame.content);
}

std::string text_of(const std::optional<ParsedFrame>& frame) {
    return frame ? text_of(*frame) : "nothing";
}

void refit_checksums(std::span<std::byte> frame) {
    std::size_t type = 12;
    while (frame.size() >= type + 6 &&
           (number_at(frame, type) == 0x8100 || number_at(frame, type) == 0x88a8)) {
        type += 4;
    }
    if (frame.size() < type + 2) return;
    if (number_at(frame, type) == 0x0800) refit_ipv4(frame.subspan(type + 2));
    if (number_at(frame, type) == 0x86dd) refit_ipv6(frame.subspan(type + 2));
}

}  // namespace testing_aids
