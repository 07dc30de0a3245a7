#include <stdexcept>

#include "fuzz/checks.h"
#include "live/sample_rtcp.h"
#include "orv/live/stream_packet.h"

namespace testing_aids {
namespace {

using namespace orv::live;

void check_view(std::span<const std::byte> view, std::span<const std::byte> whole) {
    const auto inside = [&](const std::byte* at) {
        return at >= whole.data() && at <= whole.data() + whole.size();
    };
    if (!view.empty() && !(inside(view.data()) && inside(view.data() + view.size())))
        throw std::logic_error("a view lies outside of the datagram");
}

}  // namespace

bool check_rtcp_bytes(std::span<const std::byte> bytes) {
    // Memory of exactly that size, so that a read beyond it is seen.
    const std::vector<std::byte> copy(bytes.begin(), bytes.end());
    for (const RtcpMessage& message : ReadRtcp(copy)) {
        const auto* response = std::get_if<PortMappingResponse>(&message);
        if (!response) continue;
        check_view(response->token.bytes, copy);
        check_view(response->packet_types, copy);
    }
    if (const auto packet = ReadRetransmission(copy)) {
        check_view(packet->payload, copy);
        ReadStreamPayload(packet->payload);
        if (packet->has_sbit && !packet->has_extension)
            throw std::logic_error("the signal to join without an extension");
    }
    if (IsRtcp(copy) && ReadRtpPacket(copy)) throw std::logic_error("both RTP and RTCP");
    const std::string text = text_of_datagram(copy);
    if (text != text_of_datagram(std::vector<std::byte>(copy)))
        throw std::logic_error("the same bytes read differently");
    return !text.empty();
}

}  // namespace testing_aids
