// How a host asks routers for a prefix, and what it sends. What it does with one is in slaac_prefixes.cpp.
#include "orv/live/slaac_client.h"

#include <algorithm>
#include <array>
#include <utility>

#include "headers.h"
#include "orv/live/frame.h"
#include "orv/live/router_advertisement.h"

namespace orv::live {

SlaacClient::SlaacClient(const HostAddress& host, std::shared_ptr<const Settings> settings,
                         Surroundings surroundings)
    : host_(host),
      settings_(std::move(settings)),
      surroundings_(std::move(surroundings)),
      random_(surroundings_.seed) {
    require(settings_->first_delay.count() > 0 && settings_->first_delay <= settings_->longest_delay,
            "the first delay between solicitations of routers is 0 or above the longest");
    require(settings_->probe.count() >= 0 && settings_->spread.count() >= 0,
            "a time of a host that asks routers is below 0");
    host_.ip = LinkLocalAddress(host_.mac);
}

SlaacClient::~SlaacClient() {
    stop_timer();
}

AddressClient::State SlaacClient::GetState() const {
    switch (phase_) {
        case Phase::Idle:
            return State::Idle;
        case Phase::Bound:
            return State::Bound;
        case Phase::Failed:
            return State::Failed;
        case Phase::Soliciting:
        case Phase::Probing:
            break;
    }
    return State::Binding;
}

void SlaacClient::Bind() {
    if (phase_ != Phase::Idle && phase_ != Phase::Failed) return;
    failure_.clear();
    begin(Nanoseconds(0));
    settle();
}

void SlaacClient::Release() {
    stop();
    failure_.clear();
    enter(Phase::Idle);
    settle();
}

void SlaacClient::OnDatagram(const IpAddress& source, const MacAddress& source_mac,
                             std::span<const std::byte> payload) {
    (void)source, (void)source_mac, (void)payload;
}

void SlaacClient::begin(Nanoseconds delay) {
    enter(Phase::Soliciting);
    sent_times_ = 0;
    without_prefix_ = {};
    if (delay.count() > 0)
        next_ = now() + delay;
    else
        solicit();
}

void SlaacClient::solicit() {
    if (settings_->attempts != 0 && sent_times_ == settings_->attempts) return give_up(why_no_address());
    delay_ = settings_->attempts == 0 ? doubled_delay() : settings_->first_delay;
    next_ = now() + delay_;
    if (sent_times_++ > 0) ++counts_.repeated;
    ++counts_.sent;
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length = WriteRouterSolicitation(frame, host_);
    surroundings_.send(std::span(frame).first(length));
}

/// RFC 8415 section 15, as RFC 7559 section 2 wants.
il::Nanoseconds SlaacClient::doubled_delay() {
    const auto random_part = [&](Nanoseconds of) {
        return Nanoseconds(
            static_cast<std::int64_t>((random_.fraction() - 0.5) / 5 * static_cast<double>(of.count())));
    };
    const Nanoseconds first = settings_->first_delay, longest = settings_->longest_delay;
    if (sent_times_ == 0) return first + random_part(first);
    const Nanoseconds delay = 2 * delay_ + random_part(delay_);
    return delay > longest ? longest + random_part(longest) : delay;
}

std::string SlaacClient::why_no_address() const {
    if (!without_prefix_.IsV6()) return "no router answers";
    return "the router " + without_prefix_.ToString() +
           (is_managed_ ? " says that addresses come by DHCPv6, and has no prefix to make one with"
                        : " has no prefix to make an address with");
}

void SlaacClient::give_up(std::string why) {
    stop();
    failure_ = std::move(why);
    enter(Phase::Failed);
}

/// Asks, from no address, whether somebody has this one.
void SlaacClient::probe() {
    ++sent_times_;
    next_ = now() + settings_->probe;
    HostAddress nobody = host_;
    nobody.ip = IpAddress::V6({});
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length = WriteNeighborSolicitation(frame, nobody, lease_.address);
    surroundings_.send(std::span(frame).first(length));
}

void SlaacClient::OnAddressUsed(const IpAddress& address, const MacAddress& user) {
    if (user == host_.mac || !has_lease() || address != lease_.address) return;
    ++counts_.conflicts;
    if (phase_ != Phase::Probing) return;
    if (was_bound_) ++counts_.lost;
    give_up("its address is in use: somebody else has " + address.ToString());
    settle();
}

il::Nanoseconds SlaacClient::spread() {
    return Nanoseconds(
        static_cast<std::int64_t>(random_.fraction() * static_cast<double>(settings_->spread.count())));
}

/// Has and wants nothing any more.
void SlaacClient::stop() {
    next_ = kForever;
    was_bound_ = false;
    lease_ = {};
    gateway_ = {};
    link_ = {};
}

void SlaacClient::on_timer() {
    const Nanoseconds time = now();
    if (gateway_.until <= time) gateway_ = {};
    if (link_.until <= time) link_ = {};
    if (lease_.valid_until <= time) {
        lose();
    } else if (next_ <= time) {
        next_ = kForever;
        if (phase_ == Phase::Soliciting)
            solicit();
        else if (sent_times_ == 0)
            probe();
        else
            become_bound();
    }
}

/// After anything has happened: what the host has, its timer, and who is told.
void SlaacClient::settle() {
    std::optional<GivenAddress> given;
    if (phase_ == Phase::Bound)
        given = {.address = lease_.address,
                 .prefix_length = link_.length == 0 ? std::uint8_t{128} : link_.length,
                 .gateway = gateway_.address,
                 .gateway_mac = gateway_.mac,
                 .server = lease_.server,
                 .valid_until = lease_.valid_until};
    if (given != given_) {
        given_ = given;
        is_untold_ = true;
    }
    start_timer();
    if (std::exchange(is_untold_, false) && surroundings_.changed) surroundings_.changed();
}

/// A timer that is due earlier stays: advertisements move the times again and again.
void SlaacClient::start_timer() {
    const Nanoseconds time = std::min({next_, lease_.valid_until, gateway_.until, link_.until});
    if (timer_ != 0 && timer_time_ <= time && time != kForever) return;
    stop_timer();
    if (time == kForever) return;
    timer_time_ = time;
    timer_ = surroundings_.timeline.PostAfter(std::max(time - now(), Nanoseconds(0)), [this] {
        timer_ = 0;
        on_timer();
        settle();
    });
}

void SlaacClient::stop_timer() {
    if (timer_ != 0) surroundings_.timeline.Cancel(timer_);
    timer_ = 0;
}

void SlaacClient::enter(Phase phase) {
    const State before = GetState();
    phase_ = phase;
    is_untold_ = is_untold_ || GetState() != before;
}

}  // namespace orv::live
