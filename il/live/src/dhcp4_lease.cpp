// What a host does with an address from a DHCP server: probe, announce, renew, lose and give back.
#include <algorithm>
#include <array>
#include <utility>

#include "orv/live/dhcp4_client.h"
#include "orv/live/frame.h"

namespace orv::live {
namespace dhcp4 {
namespace {

/// A group's address, or none, is no place to send a renewal to: then it is broadcast within the link.
MacAddress usable_mac(const MacAddress& mac) {
    const bool is_one_host = (mac.bytes[0] & 1) == 0 && mac != MacAddress{};
    return is_one_host ? mac : MacAddress{{0xff, 0xff, 0xff, 0xff, 0xff, 0xff}};
}

}  // namespace
}  // namespace dhcp4

void Dhcp4Client::on_acknowledgement(const Dhcp4Answer& answer, const IpAddress& source,
                                     const MacAddress& source_mac) {
    const bool is_from_server = phase_ == Phase::Renewing && answer.server == lease_.server;
    take_over(answer, source_mac);
    GivenAddress acknowledged{.address = answer.address,
                              .prefix_length = answer.prefix_length,
                              .gateway = answer.gateway,
                              .server = answer.server};
    // An answer by way of a relay agent comes from the router itself.
    if (!answer.gateway.IsUnspecified() && source == answer.gateway &&
        dhcp4::usable_mac(source_mac) == source_mac)
        acknowledged.gateway_mac = source_mac;
    if (answer.lease_seconds != kDhcp4Forever)
        acknowledged.valid_until = asked_ + std::chrono::seconds(answer.lease_seconds);

    stop_timer();
    failure_.clear();
    if (given_ && given_->address == answer.address) {
        ++(is_from_server ? counts_.renewed : counts_.rebound);
        given_ = acknowledged;
        is_untold_ = true;
        enter(Phase::Bound);
        await_renewal();
        return;
    }
    was_bound_ = given_.has_value();
    given_.reset();
    probed_ = acknowledged;
    if (settings_->probe.count() == 0) return become_bound();
    enter(Phase::Probing);
    send_arp({}, answer.address);
    start_timer(settings_->probe);
}

/// When to renew, and with whom.
void Dhcp4Client::take_over(const Dhcp4Answer& answer, const MacAddress& source_mac) {
    const Nanoseconds length = std::chrono::seconds(answer.lease_seconds);
    Nanoseconds renewal = length / 2, rebinding = length / 8 * 7;
    const auto told = [](const std::optional<std::uint32_t>& seconds, Nanoseconds otherwise) {
        return seconds ? Nanoseconds(std::chrono::seconds(*seconds)) : otherwise;
    };
    const Nanoseconds told_renewal = told(answer.renewal_seconds, renewal),
                      told_rebinding = told(answer.rebinding_seconds, rebinding);
    if (told_renewal.count() > 0 && told_renewal < told_rebinding && told_rebinding < length) {
        renewal = told_renewal;
        rebinding = told_rebinding;
    }
    lease_ = {.address = answer.address,
              .server = answer.server,
              .server_mac = dhcp4::usable_mac(source_mac),
              .renewal = asked_ + renewal,
              .rebinding = asked_ + rebinding,
              .retry = std::max<Nanoseconds>(std::min(settings_->renewal_retry, length / 16),
                                             std::chrono::seconds(1))};
}

void Dhcp4Client::become_bound() {
    given_ = std::exchange(probed_, {});
    failures_ = 0;
    if (std::exchange(was_bound_, false)) ++counts_.changed;
    is_untold_ = true;
    enter(Phase::Bound);
    send_arp(given_->address, given_->address);
    await_renewal();
}

void Dhcp4Client::await_renewal() {
    if (given_->valid_until == GivenAddress::kForever) return;
    start_timer(std::max(lease_.renewal - surroundings_.timeline.GetNow(), Nanoseconds(0)));
}

/// T1, T2, the end, and what is repeated in between (RFC 2131 section 4.4.5).
void Dhcp4Client::on_renewal_time() {
    const Nanoseconds now = surroundings_.timeline.GetNow();
    if (now >= given_->valid_until) {
        if (failure_.empty()) failure_ = "its lease was not renewed";
        lose();
        return begin();
    }
    const Phase phase = now < lease_.rebinding ? Phase::Renewing : Phase::Rebinding;
    if (phase_ == Phase::Bound)
        began_ = now;
    else
        failure_ =
            "the DHCP server " + lease_.server.ToString() + " does not renew " + lease_.address.ToString();
    if (phase_ != phase) {
        transaction_ = static_cast<std::uint32_t>(random_.next() >> 32);
        asked_ = now;
        sent_times_ = 0;
        enter(phase);
    }
    send_counted({.type = Dhcp4Type::Request, .own = given_->address},
                 phase == Phase::Renewing ? lease_.server : IpAddress());
    const Nanoseconds left = (phase == Phase::Renewing ? lease_.rebinding : given_->valid_until) - now;
    start_timer(std::min(left, std::max(left / 2, lease_.retry)));
}

void Dhcp4Client::lose() {
    ++counts_.lost;
    given_.reset();
    is_untold_ = true;
}

void Dhcp4Client::OnAddressUsed(const IpAddress& address, const MacAddress& user) {
    if (user == identity_.host.mac) return;
    if (given_ && given_->address == address) ++counts_.conflicts;
    if (!probed_ || probed_->address != address) return;
    ++counts_.conflicts;
    if (std::exchange(was_bound_, false)) ++counts_.lost;
    probed_.reset();
    transaction_ = static_cast<std::uint32_t>(random_.next() >> 32);
    send({.type = Dhcp4Type::Decline,
          .transaction = transaction_,
          .requested = address,
          .server = lease_.server,
          .message = "in use"});
    fail_round("somebody else uses " + address.ToString() + ", which the DHCP server " +
                   lease_.server.ToString() + " gives",
               settings_->conflict_pause);
    tell_change();
}

void Dhcp4Client::Release() {
    if (probed_ || given_) {
        send({.type = Dhcp4Type::Release,
              .transaction = static_cast<std::uint32_t>(random_.next() >> 32),
              .own = lease_.address,
              .server = lease_.server},
             lease_.server);
    }
    stop_timer();
    probed_.reset();
    given_.reset();
    failure_.clear();
    enter(Phase::Idle);
    tell_change();
}

void Dhcp4Client::send_arp(const IpAddress& own, const IpAddress& target) {
    HostAddress host = identity_.host;
    host.ip = own;
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length = WriteArpRequest(frame, host, target);
    surroundings_.send(std::span(frame).first(length));
}

}  // namespace orv::live
