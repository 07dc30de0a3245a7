#include "neighbours.h"

#include <array>

#include "links.h"
#include "orv/live/frame.h"

namespace orv::nic {

namespace {

constexpr il::Time kPeriod = 10 * il::kMillisecond;
/// Limit of answers per period, 10,000 per second: a router may ask for all of its hosts at once.
constexpr int kMostAnswers = 100;

}  // namespace

void Neighbours::add(const live::HostAddress& host) {
    const std::uint32_t link = Links::key_of(host.vlan);
    hosts_.insert_or_assign({link, host.ip}, host);
    if (!host.ip.IsV6() || host.ip.IsLinkLocal()) return;
    live::HostAddress local = host;
    local.ip = live::LinkLocalAddress(host.mac);
    hosts_.insert_or_assign({link, local.ip}, local);
}

void Neighbours::remove(const live::HostAddress& host) {
    hosts_.erase({Links::key_of(host.vlan), host.ip});
}

const live::HostAddress* Neighbours::find(const live::VlanTags& vlan, const live::IpAddress& target) const {
    const auto found = hosts_.find({Links::key_of(vlan), target});
    return found == hosts_.end() ? nullptr : &found->second;
}

void Neighbours::on_frame(const live::ParsedFrame& frame, il::Time stamp, FrameSink& sink) {
    std::array<std::byte, live::kMaxFrameLength> answer;
    std::size_t length = 0;
    if (const auto* arp = std::get_if<live::ArpRequest>(&frame.content)) {
        const auto* host = find(frame.vlan, arp->target);
        // A request for the sender's own address is an announcement.
        if (host && arp->asker != arp->target && arp->asker_mac != host->mac)
            length = live::WriteArpReply(answer, *host, arp->asker_mac, arp->asker);
    } else if (const auto* asked = std::get_if<live::NeighborSolicitation>(&frame.content)) {
        const auto* host = find(frame.vlan, asked->target);
        if (host && asked->asker_mac != host->mac)
            length = live::WriteNeighborAdvertisement(answer, *host, asked->asker_mac, asked->asker);
    }
    if (length == 0) return;
    if (stamp - period_ >= kPeriod) {
        period_ = stamp;
        answers_ = 0;
    }
    if (++answers_ <= kMostAnswers) sink.send(std::span(answer).first(length));
}

}  // namespace orv::nic
