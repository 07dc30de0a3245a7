#include "live/sample_rtcp.h"

#include <fmt/format.h>

namespace testing_aids {
namespace {

using namespace orv::live;

const std::vector<SampleFrame> kDatagrams = {
    // clang-format off
    {"rams_accepted", "rams e1010002 #5: 200, first 65534, join 1000, lasts 2000, rate 4294967296",
     "80c80006 e1010001 00000000 00000000 00000000 00000000 00000000"  // sender report
     "81ca0003 e1010001 01027273 00000000"                             // source description: CNAME "rs"
     "86cd000e e1010001 e1010001"  // transport feedback of format 6, SSRCs of packet sender and media source
     "02 05 00c8"                  // RAMS-I, its number, response
     "1f000004 e1010002"           // media sender SSRC
     "20000002 fffe0000"           // first sequence number, padded
     "21000004 000003e8"           // earliest join
     "22000004 000007d0"           // burst duration
     "23000008 00000001 00000000"},  // maximum bit rate
    {"rams_refused", "rams e1010001 #0: 501, join 0",
     "86cd0005 e1010001 e1010001 02 00 01f5 21000004 00000000"},
    {"rams_extended", "rams e1010001 #255: 100, first 7",
     "a6cd0009 e1010001 e1010001 02 ff 0064"
     "80000005 00007a69 ee000000"  // a private extension of five bytes
     "20000002 00070000 00000004"},  // the packet's padding
    {"mapping_response", "token a1a2a3a4a5 for 0a0b0c0d, nonce 1122334455667788, until e9000000, 3600 s, types cdcecbcc",
     "82d2000b e1010001 0a0b0c0d"  // SSRCs of server and client
     "11223344 55667788"           // nonce
     "0005 a1a2a3a4a5 00"          // token
     "00000000 e9000000"           // absolute expiration
     "00000e10"                    // relative expiration
     "04 cdcecbcc 000000"},        // packet types
    {"token_failure", "no token for 0a0b0c0d: 205 6, nonce 1122334455667788",
     "84d20005 e1010001 0a0b0c0d cd 30 0000 11223344 55667788"},
    {"goodbye", "bye e1010001; bye 0000beef",
     "80c90001 0000beef  81ca0003 0000beef 01027273 00000000  82cb0003 e1010001 0000beef 03656e64"},
    {"mixed", "no token for 0a0b0c0d: 205 1, nonce 0; rams e1010001 #0: 100, lasts 0; bye e1010001",
     "84d20005 e1010001 0a0b0c0d cd 08 0000 00000000 00000000  80cf0001 e1010001"  // and an extended report
     "86cd0005 e1010001 e1010001 02 00 0064 22000004 00000000  81cb0001 e1010001"},
    {"retransmission", "0000beef:7 type 97 at 1 of 65534: 47",
     "80610007 00000001 0000beef fffe 47"},
    {"retransmission_join", "0000beef:7 type 97 at 1 of 65534: 47, extension, join",
     "90610007 00000001 0000beef bede0001 0008ffff fffe 47"},
    // clang-format on
};

struct TextOfMessage {
    std::string operator()(const RamsInformation& rams) const {
        std::string text =
            fmt::format("rams {:08x} #{}: {}", rams.media_ssrc, rams.message_number, rams.response);
        const auto add = [&](const char* name, const auto& value) {
            if (value) text += fmt::format(", {} {}", name, *value);
        };
        add("first", rams.first_sequence);
        add("join", rams.earliest_join_ms);
        add("lasts", rams.burst_duration_ms);
        add("rate", rams.max_bitrate);
        return text;
    }
    std::string operator()(const PortMappingResponse& response) const {
        return fmt::format("token {} for {:08x}, nonce {:x}, until {:x}, {} s, types {}",
                           hex_text(response.token.bytes), response.client_ssrc, response.token.nonce,
                           response.token.absolute_expiration, response.relative_expiration_s,
                           hex_text(response.packet_types));
    }
    std::string operator()(const TokenVerificationFailure& failure) const {
        return fmt::format("no token for {:08x}: {} {}, nonce {:x}", failure.client_ssrc,
                           failure.failed_packet_type, failure.failed_feedback_type, failure.nonce);
    }
    std::string operator()(const Goodbye& goodbye) const { return fmt::format("bye {:08x}", goodbye.ssrc); }
};

}  // namespace

std::span<const SampleFrame> sample_datagrams() {
    return kDatagrams;
}

std::string text_of_datagram(std::span<const std::byte> payload) {
    std::string text;
    for (const RtcpMessage& message : ReadRtcp(payload))
        text += (text.empty() ? "" : "; ") + std::visit(TextOfMessage{}, message);
    if (const auto packet = ReadRetransmission(payload))
        text += fmt::format("{:08x}:{} type {} at {} of {}: {}{}{}", packet->ssrc, packet->sequence_number,
                            packet->payload_type, packet->timestamp, packet->original_sequence_number,
                            hex_text(packet->payload), packet->has_extension ? ", extension" : "",
                            packet->has_sbit ? ", join" : "");
    return text;
}

}  // namespace testing_aids
