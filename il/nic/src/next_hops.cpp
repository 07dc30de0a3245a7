#include "next_hops.h"

#include <algorithm>
#include <array>
#include <utility>

#include "links.h"
#include "orv/live/frame.h"

namespace orv::nic {

namespace {

/// RFC 4861 section 10: MAX_MULTICAST_SOLICIT and RETRANS_TIMER. The same for ARP, which has no numbers.
constexpr int kMostHopRequests = 3;
constexpr il::Time kRequestInterval = il::kSecond;
/// Shortest time between two requests: the hosts of thousands of VLANs may ask for their gateways at once.
constexpr il::Time kRequestPace = il::kMillisecond;

}  // namespace

void NextHops::resolve(const live::HostAddress& asker, const live::IpAddress& hop, Known known) {
    const AddressOnLink key{Links::key_of(asker.vlan), hop};
    Hop& entry = hops_[key];
    if (entry.mac) return known(std::optional(*entry.mac));
    entry.waiting.push_back(std::move(known));
    if (entry.waiting.size() > 1) return;
    entry.asker = asker;
    request(key);
}

void NextHops::request(const AddressOnLink& key) {
    const il::Time now = timeline_.GetNow().count();
    const il::Time at = std::max(now, next_request_);
    next_request_ = at + kRequestPace;
    if (at == now) return send_request(key);
    hops_.at(key).timer = timeline_.PostAfter(il::Nanoseconds(at - now), [this, key] { send_request(key); });
}

/// One that finds no room is repeated, like one that is lost.
void NextHops::send_request(const AddressOnLink& key) {
    Hop& hop = hops_.at(key);
    std::array<std::byte, live::kMaxFrameLength> frame;
    const std::size_t length = key.ip.IsV6() ? live::WriteNeighborSolicitation(frame, hop.asker, key.ip)
                                             : live::WriteArpRequest(frame, hop.asker, key.ip);
    sink_.send(std::span(frame).first(length));
    const bool is_last = ++hop.requests == kMostHopRequests;
    hop.timer = timeline_.PostAfter(il::Nanoseconds(kRequestInterval),
                                    [this, key, is_last] { is_last ? give_up(key) : request(key); });
}

void NextHops::give_up(const AddressOnLink& key) {
    const auto found = hops_.find(key);
    const std::vector<Known> waiting = std::move(found->second.waiting);
    hops_.erase(found);
    for (const Known& known : waiting) known({});
}

void NextHops::on_frame(const live::ParsedFrame& frame) {
    if (hops_.empty()) return;
    if (const auto* reply = std::get_if<live::ArpReply>(&frame.content)) {
        learn(frame.vlan, reply->ip, reply->mac, true);
    } else if (const auto* asked = std::get_if<live::ArpRequest>(&frame.content)) {
        // An asker tells its address too: so does a gateway that takes over from another.
        learn(frame.vlan, asked->asker, asked->asker_mac, true);
    } else if (const auto* advertised = std::get_if<live::NeighborAdvertisement>(&frame.content)) {
        learn(frame.vlan, advertised->target, advertised->mac, advertised->is_override);
    }
}

void NextHops::learn(const live::VlanTags& vlan, const live::IpAddress& ip, const live::MacAddress& mac,
                     bool replaces) {
    const auto found = hops_.find({Links::key_of(vlan), ip});
    if (found == hops_.end() || (mac.bytes[0] & 1) != 0) return;  // RFC 1812 section 3.3.2
    Hop& hop = found->second;
    if (hop.mac && !replaces) return;
    hop.mac = mac;
    timeline_.Cancel(std::exchange(hop.timer, 0));
    const std::vector<Known> waiting = std::exchange(hop.waiting, {});
    for (const Known& known : waiting) known(mac);
}

void NextHops::forget() {
    for (const auto& [key, hop] : hops_) timeline_.Cancel(hop.timer);
    hops_.clear();
}

}  // namespace orv::nic
