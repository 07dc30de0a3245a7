#include "headers.h"
#include "orv/live/rtcp.h"
#include "rtcp_packets.h"

namespace orv::live {
namespace {

constexpr std::uint8_t kCname = 1;  // item of a source description, RFC 3550 section 6.5.1

}  // namespace

std::size_t begin_packet(Writer& writer, std::uint8_t count, std::uint8_t type, std::uint32_t sender_ssrc) {
    const std::size_t begin = writer.size();
    writer.u8(static_cast<std::uint8_t>(0x80 | count));  // version 2, no padding
    writer.u8(type);
    writer.u16(0);
    writer.u32(sender_ssrc);
    return begin;
}

std::size_t end_packet(Writer& writer, std::size_t begin) {
    while ((writer.size() - begin) % 4 != 0) writer.u8(0);
    const std::size_t words = (writer.size() - begin) / 4 - 1;
    require(words <= 0xffff, "the message is too long for an RTCP packet");
    put(writer.at(begin + 2), static_cast<std::uint16_t>(words));
    return writer.size();
}

void write_preamble(Writer& writer, const RtcpSender& sender, const std::optional<PortMappingToken>& token) {
    require(!sender.cname.empty() && sender.cname.size() <= 0xff, "a CNAME has 1 to 255 bytes");
    if (!sender.reduced_size) {
        end_packet(writer, begin_packet(writer, 0, kRtcpReceiverReport, sender.ssrc));
        const std::size_t begin = begin_packet(writer, 1, kRtcpSourceDescription, sender.ssrc);
        writer.u8(kCname);
        writer.u8(static_cast<std::uint8_t>(sender.cname.size()));
        writer.bytes(std::as_bytes(std::span(sender.cname)));
        writer.u8(0);  // end of the items
        end_packet(writer, begin);
    }
    if (token) write_token_request(writer, sender.ssrc, *token);
}

std::size_t WriteNack(std::span<std::byte> out, const RtcpSender& sender, std::uint32_t media_ssrc,
                      std::span<const NackEntry> entries) {
    require(!entries.empty(), "a NACK names at least one packet");
    Writer writer(out);
    write_preamble(writer, sender, sender.token);
    const std::size_t begin = begin_packet(writer, kFeedbackNack, kRtcpTransportFeedback, sender.ssrc);
    writer.u32(media_ssrc);
    for (const NackEntry& entry : entries) {
        writer.u16(entry.packet_id);
        writer.u16(entry.mask);
    }
    return end_packet(writer, begin);
}

std::size_t WriteGoodbye(std::span<std::byte> out, const RtcpSender& sender) {
    Writer writer(out);
    write_preamble(writer, sender, sender.token);
    return end_packet(writer, begin_packet(writer, 1, kRtcpGoodbye, sender.ssrc));
}

}  // namespace orv::live
