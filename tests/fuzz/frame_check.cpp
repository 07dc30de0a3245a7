#include "fuzz/checks.h"

#include <stdexcept>
#include <variant>

#include "live/sample_frames.h"
#include "live/sent_frames.h"
#include "live/slaac_network.h"
#include "orv/live/frame.h"
#include "orv/live/stream_packet.h"

namespace testing_aids {
namespace {

using namespace orv::live;
using namespace std::chrono_literals;

void check_sent(std::span<const std::byte> frame) {
    std::vector<std::byte> refitted(frame.begin(), frame.end());
    refit_checksums(refitted);
    if (hex_text(refitted) != hex_text(frame)) throw std::logic_error("a host sent a wrong checksum");
    if (frame.size() > kMaxFrameLength || sent_text(frame).empty())
        throw std::logic_error("a host sent nonsense");
}

/// Joins with and without sources, receives the message, and runs the timers that follow.
void let_host_react(const MembershipQuery* query, const MembershipReport* report, MembershipVersion version) {
    FakeTimeline timeline;
    const IpAddress address = ip(IsMld(version) ? "fe80::a" : "192.0.2.10");
    MembershipHost host({{}, address, {}}, {.version = version, .suppress_reports = true}, timeline, 1,
                        check_sent);
    become(host, "E");
    const IpAddress asked = query ? query->group : report->group;
    if (asked.IsMulticast() && asked.IsV6() == IsMld(version)) host.Join(asked, FilterMode::Exclude);
    if (query) host.OnQuery(*query);
    if (report) host.OnReport(report->group);
    become(host, "I ab");
    timeline.RunTo(24h);
    if (!host.IsIdle() || timeline.GetPending() != 0)
        throw std::logic_error("a host is not idle after a day");
    host.LeaveAll();
    timeline.RunTo(48h);
}

/// What the script has brought a host to must bear the router's words, twice.
void let_host_hear_router(const RouterAdvertisement& message, const char* script) {
    SlaacNetwork network({.attempts = 0});
    network.play(script);
    for (int times = 0; times < 2; ++times) network.client.OnRouterAdvertisement(message);
    for (const auto time : {0s, 1s, 3s, 7200s}) {
        network.timeline.RunTo(network.timeline.GetNow() + time);
        const auto& given = network.client.GetGiven();
        const bool is_bound = network.client.GetState() == AddressClient::State::Bound;
        if (given.has_value() != is_bound || network.timeline.GetPending() > 1)
            throw std::logic_error("a host is bound without an address, or has more than a timer");
        if (given && (given->address.IsMulticast() || given->address.IsLinkLocal()))
            throw std::logic_error("a host has an address that it cannot have");
    }
    for (const auto& [time, frame] : network.sent) {
        std::vector<std::byte> refitted = frame;
        refit_checksums(refitted);
        if (refitted != frame) throw std::logic_error("a host sent a wrong checksum");
    }
    network.client.Release();
    if (network.timeline.GetPending() != 0 || network.sent.size() > 40)
        throw std::logic_error("a storm of messages, or a timer of an idle host");
}

bool check_once(std::span<const std::byte> bytes) {
    const auto frame = ParseFrame(bytes);
    if (!frame) return false;
    text_of(*frame);
    if (const auto* packet = std::get_if<UdpPacket>(&frame->content)) {
        ReadStreamPacket(packet->payload);
        if (const auto rtp = ReadRtpPacket(packet->payload)) hex_text(rtp->payload);
    }
    if (const auto* router = std::get_if<RouterAdvertisement>(&frame->content)) {
        for (const char* script : {"", "bind", "bind, ra 1 9 a=LA=9=0", "bind, ra 1 9 a=LA=99=0, 2s",
                                   "bind, ra 1 9 a=LA=99=0, 2s, ra 1 9 b=LA=9=9"})
            let_host_hear_router(*router, script);
    }
    const auto* query = std::get_if<MembershipQuery>(&frame->content);
    const auto* report = std::get_if<MembershipReport>(&frame->content);
    if (!query && !report) return true;
    for (const auto version : {MembershipVersion::Igmp1, MembershipVersion::Igmp2, MembershipVersion::Igmp3,
                               MembershipVersion::Mld1, MembershipVersion::Mld2}) {
        let_host_react(query, report, version);
    }
    return true;
}

}  // namespace

bool check_frame_bytes(std::span<const std::byte> bytes) {
    // Memory of exactly that size, so that a read beyond it is seen.
    std::vector<std::byte> copy(bytes.begin(), bytes.end());
    const bool as_is = check_once(copy);
    refit_checksums(copy);
    return check_once(copy) || as_is;
}

}  // namespace testing_aids
