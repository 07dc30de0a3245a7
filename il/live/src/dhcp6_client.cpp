#include "orv/live/dhcp6_client.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <stdexcept>
#include <utility>

#include "orv/live/frame.h"

namespace orv::live {

namespace {

using std::chrono::seconds;

// RFC 8415 section 7.6.
constexpr seconds kRequestMax{30}, kRenewTimeout{10}, kRenewMax{600};
constexpr std::uint32_t kRequestCount = 10, kReleaseCount = 4;
// RFC 4861 section 10.
constexpr seconds kRouterInterval{4};
constexpr std::uint32_t kRouterSolicitations = 3;
constexpr seconds kLongestWait = std::chrono::hours(24);
/// Lifetimes of a few seconds do not make a host ask without pause (RFC 8415 section 14.1).
constexpr seconds kShortestRenewal{1};
/// What a link without jumbo frames carries behind the headers of IPv6 and UDP.
constexpr std::size_t kLongestOnLink = 1500 - 48;

/// That the longest message, with the longest DUID of a server, fits.
void check_length(const Dhcp6Client::Identity& identity, const Dhcp6Client::Settings& settings) {
    constexpr std::array<std::uint8_t, kLongestDuid> kServer{};
    std::array<std::byte, kLongestOnLink> out;
    Dhcp6Request longest;
    longest.type = Dhcp6Type::Request;
    constexpr std::array<std::uint8_t, 10> kOwn{};  // made from the MAC address
    longest.duid = identity.duid.empty() ? std::span<const std::uint8_t>(kOwn) : identity.duid;
    longest.server = kServer;
    longest.is_prefix = settings.is_prefix;
    longest.lease = Dhcp6Lease{.address = IpAddress::V6({})};
    longest.rapid_commit = settings.rapid_commit;
    longest.requested_options = settings.requested_options;
    longest.shared_options = settings.options;
    longest.own_options = identity.options;
    try {
        WriteDhcp6Request(out, longest);
    } catch (const std::length_error&) {
        throw std::invalid_argument("the DHCP options are too long for a message");
    }
}

std::string describe_status(const Dhcp6Answer& answer) {
    static constexpr std::array kTexts{"nothing was given",
                                       "it has failed",
                                       "no address is available",
                                       "it does not know the binding",
                                       "the address is not for this link",
                                       "it wants multicast",
                                       "no prefix is available"};
    const auto number = static_cast<std::size_t>(answer.status);
    std::string text = number < kTexts.size() ? kTexts[number] : "status " + std::to_string(number);
    return answer.text.empty() ? text : text + " (" + answer.text + ")";
}

}  // namespace

Dhcp6Client::Dhcp6Client(Identity identity, std::shared_ptr<const Settings> settings,
                         Surroundings surroundings)
    : identity_(std::move(identity)),
      settings_(std::move(settings)),
      surroundings_(std::move(surroundings)),
      random_(surroundings_.seed) {
    identity_.host.ip = LinkLocalAddress(identity_.host.mac);
    if (identity_.duid.empty()) identity_.duid = MakeDuid(identity_.host.mac);
    Check(identity_, *settings_);
}

void Dhcp6Client::Check(const Identity& identity, const Settings& settings) {
    if (identity.duid.size() > kLongestDuid) throw std::invalid_argument("a DUID has at most 130 bytes");
    if (settings.first_delay <= Nanoseconds::zero() || settings.longest_delay < settings.first_delay ||
        settings.probe < Nanoseconds::zero())
        throw std::invalid_argument("times between messages have to be above 0, and the longest the longest");
    for (const std::vector<Dhcp6Option>* options :
         std::initializer_list<const std::vector<Dhcp6Option>*>{&identity.options, &settings.options})
        for (const Dhcp6Option& option : *options)
            if (!IsFreeDhcp6Option(option))
                throw std::invalid_argument("option " + std::to_string(option.code) + " is not free");
    check_length(identity, settings);
}

Dhcp6Client::~Dhcp6Client() {
    stop_timer(timer_);
    stop_timer(router_timer_);
}

AddressClient::State Dhcp6Client::GetState() const {
    switch (phase_) {
        case Phase::Idle:
            return State::Idle;
        case Phase::Bound:
        case Phase::Renewing:
        case Phase::Rebinding:
            return State::Bound;
        case Phase::Releasing:
            return State::Releasing;
        case Phase::Failed:
            return State::Failed;
        default:  // also a host that has to ask again for the address that it has
            return given_ ? State::Bound : State::Binding;
    }
}

void Dhcp6Client::Bind() {
    if (phase_ != Phase::Idle && phase_ != Phase::Failed) return;
    failure_.clear();
    failures_ = 0;
    solicit();
}

void Dhcp6Client::Release() {
    failure_.clear();
    stop_timer(router_timer_);
    const bool has_lease = HasLease();
    given_.reset();
    was_bound_ = false;
    if (phase_ == Phase::Idle || phase_ == Phase::Releasing) return;
    if (!has_lease) {
        stop_timer(timer_);
        return enter(Phase::Idle);
    }
    begin(Phase::Releasing, Dhcp6Type::Release, settings_->first_delay);
}

/// A message of a new transaction.
void Dhcp6Client::begin(Phase phase, Dhcp6Type type, Nanoseconds first_delay) {
    type_ = type;
    transaction_ = static_cast<std::uint32_t>(random_.next()) & 0xffffff;
    sent_times_ = 0;
    began_ = now();
    const bool is_solicit = type == Dhcp6Type::Solicit;
    longest_delay_ = is_solicit ? told_longest_.value_or(settings_->longest_delay)
                     : type == Dhcp6Type::Request
                         ? std::min<Nanoseconds>(settings_->longest_delay, kRequestMax)
                         : Nanoseconds(kRenewMax);
    delay_ = spread(first_delay, is_solicit);
    phase_ = phase;
    send_message();
    start_timer(delay_);
    enter(phase);
}

void Dhcp6Client::solicit() {
    offer_.reset();
    refusal_.clear();
    begin(Phase::Soliciting, Dhcp6Type::Solicit, settings_->first_delay);
}

void Dhcp6Client::request() {
    begin(Phase::Requesting, Dhcp6Type::Request, settings_->first_delay);
}

void Dhcp6Client::send_message() {
    Dhcp6Request message;
    message.type = type_;
    message.transaction = transaction_;
    message.duid = identity_.duid;
    message.iaid = identity_.iaid;
    message.is_prefix = settings_->is_prefix;
    const bool has_server = type_ != Dhcp6Type::Solicit && type_ != Dhcp6Type::Rebind;
    if (has_server && offer_) message.server = offer_->server;
    const auto hundredths = (now() - began_) / std::chrono::milliseconds(10);
    message.elapsed = static_cast<std::uint16_t>(std::min<std::int64_t>(hundredths, 0xffff));
    if (type_ == Dhcp6Type::Request && offer_) message.lease = offer_->lease;
    if (type_ != Dhcp6Type::Request && type_ != Dhcp6Type::Solicit) message.lease = lease_.given;
    message.rapid_commit = type_ == Dhcp6Type::Solicit && settings_->rapid_commit;
    message.requested_options = settings_->requested_options;
    message.shared_options = settings_->options;
    message.own_options = identity_.options;

    UdpFlow flow;
    flow.source = identity_.host;
    flow.destination = kAllDhcp6Servers;
    flow.destination_mac = MulticastMac(kAllDhcp6Servers);
    flow.source_port = kDhcp6ClientPort;
    flow.destination_port = kDhcp6ServerPort;
    flow.hop_limit = 1;
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length = WriteDhcp6Request(std::span(frame).subspan(UdpPayloadOffset(flow)), message);
    surroundings_.send(std::span(frame).first(WriteUdpHeaders(frame, flow, length)));
    ++counts_.sent;
    if (sent_times_++ > 0) ++counts_.repeated;
}

void Dhcp6Client::on_timer() {
    switch (phase_) {
        case Phase::Probing:
            return become_bound();
        case Phase::Bound:
            return on_renewal_time();
        case Phase::Soliciting:
            // The time for comparing advertisements is over.
            if (offer_) return request();
            return on_silence();
        default:
            return on_silence();
    }
}

/// The message was not answered: it is sent again, unless that is enough.
void Dhcp6Client::on_silence() {
    const bool is_soliciting = phase_ == Phase::Soliciting;
    if (is_soliciting && settings_->attempts > 0 && sent_times_ >= settings_->attempts) {
        failure_ = refusal_.empty() ? "no server answers" : refusal_;
        return enter(Phase::Failed);
    }
    if (phase_ == Phase::Requesting && given_ && now() >= lease_.end)
        return lose("its lease was not renewed");
    if (phase_ == Phase::Requesting && sent_times_ >= kRequestCount)
        return fail_round("the server does not answer the request");
    if (phase_ == Phase::Releasing && sent_times_ >= kReleaseCount) return enter(Phase::Idle);
    if (phase_ == Phase::Declining && sent_times_ >= kReleaseCount)
        return fail_round("its address is in use");
    if (phase_ == Phase::Renewing && now() >= lease_.rebinding)
        return begin(Phase::Rebinding, Dhcp6Type::Rebind, kRenewTimeout);
    if (phase_ == Phase::Rebinding && now() >= lease_.end) return lose("its lease was not renewed");
    send_message();
    delay_ += spread(delay_);
    if (delay_ > longest_delay_) delay_ = spread(longest_delay_);
    Nanoseconds wait = delay_;
    if (phase_ == Phase::Requesting && given_) wait = std::min(wait, lease_.end - now());
    if (phase_ == Phase::Renewing) wait = std::min(wait, lease_.rebinding - now());
    if (phase_ == Phase::Rebinding) wait = std::min(wait, lease_.end - now());
    start_timer(std::max(wait, Nanoseconds::zero()));
}

void Dhcp6Client::OnDatagram(const IpAddress&, const MacAddress&, std::span<const std::byte> payload) {
    if (phase_ == Phase::Idle || phase_ == Phase::Failed) return;
    const auto answer = ReadDhcp6Answer(payload, identity_.iaid, settings_->is_prefix);
    if (!answer || answer->duid != identity_.duid) return;
    const bool is_waiting = phase_ != Phase::Bound && phase_ != Phase::Probing;
    if (!is_waiting || answer->transaction != transaction_) {
        ++counts_.ignored;
        return;
    }
    ++counts_.received;
    if (answer->solicit_max_seconds) told_longest_ = seconds(*answer->solicit_max_seconds);
    if (answer->type == Dhcp6Type::Advertise) {
        phase_ == Phase::Soliciting ? on_advertisement(*answer) : static_cast<void>(++counts_.ignored);
    } else {
        on_reply(*answer);
    }
}

void Dhcp6Client::on_advertisement(const Dhcp6Answer& answer) {
    if (answer.status != Dhcp6Status::Success || answer.leases.empty()) {
        ++counts_.refused;
        refusal_ = "the server refuses: " + describe_status(answer);
        return;  // another one may have something (RFC 8415 section 18.2.9)
    }
    if (offer_ && offer_->preference >= answer.preference) return;
    offer_ = Offer{answer.server, answer.preference, answer.leases.front()};
    constexpr std::uint8_t kTakeAtOnce = 255;
    if (answer.preference == kTakeAtOnce || sent_times_ > 1) request();
}

void Dhcp6Client::on_reply(const Dhcp6Answer& answer) {
    switch (phase_) {
        case Phase::Releasing:
            stop_timer(timer_);
            return enter(Phase::Idle);
        case Phase::Declining:
            return fail_round("its address is in use");
        case Phase::Renewing:
        case Phase::Rebinding:
            return on_renewal_reply(answer);
        case Phase::Soliciting:
            // Only an answer in two messages (RFC 8415 section 18.2.1).
            if (!settings_->rapid_commit || !answer.rapid_commit) {
                ++counts_.ignored;
                return;
            }
            offer_ = Offer{answer.server, answer.preference, {}};
            break;
        default:
            break;
    }
    if (answer.status == Dhcp6Status::Success && !answer.leases.empty()) return take(answer);
    ++counts_.refused;
    fail_round("the server refuses: " + describe_status(answer));
}

void Dhcp6Client::on_renewal_reply(const Dhcp6Answer& answer) {
    if (answer.status == Dhcp6Status::NoBinding) {
        ++counts_.refused;
        stop_timer(timer_);
        offer_ = Offer{answer.server, 0, lease_.given};
        return request();
    }
    if (answer.status == Dhcp6Status::NotOnLink) {
        ++counts_.refused;
        return lose("the server refuses: " + describe_status(answer));
    }
    if (answer.leases.empty()) {
        ++counts_.ignored;  // it goes on asking (RFC 8415 section 18.2.10.1)
        return;
    }
    const bool is_rebound = phase_ == Phase::Rebinding;
    offer_ = Offer{answer.server, 0, {}};
    const auto same = std::ranges::find(answer.leases, lease_.given.address, &Dhcp6Lease::address);
    if (same == answer.leases.end()) return take(answer);
    ++(is_rebound ? counts_.rebound : counts_.renewed);
    Dhcp6Answer kept = answer;
    kept.leases = {*same};
    take(kept);
}

/// A lease, which is used once nobody else says that the address is his.
void Dhcp6Client::take(const Dhcp6Answer& answer) {
    stop_timer(timer_);
    const bool is_known = given_ && given_->address == answer.leases.front().address;
    if (is_known && phase_ == Phase::Requesting) ++counts_.renewed;
    lease_.given = answer.leases.front();
    const auto after = [this](std::uint32_t time) {
        return time == kDhcp6Forever ? GivenAddress::kForever : began_ + seconds(time);
    };
    const std::uint32_t preferred = lease_.given.preferred > 0 ? lease_.given.preferred : lease_.given.valid;
    const bool is_endless = preferred == kDhcp6Forever;
    std::uint32_t t1 = answer.t1 > 0 ? answer.t1 : is_endless ? kDhcp6Forever : preferred / 2;
    std::uint32_t t2 = answer.t2 > 0 ? answer.t2
                       : is_endless  ? kDhcp6Forever
                                     : static_cast<std::uint32_t>(std::uint64_t{preferred} * 4 / 5);
    t2 = std::min(t2, lease_.given.valid);
    t1 = std::min(t1, t2);
    lease_.renewal = std::max<Nanoseconds>(after(t1), now() + kShortestRenewal);
    lease_.rebinding = std::max(after(t2), lease_.renewal);
    lease_.end = after(lease_.given.valid);
    was_bound_ = was_bound_ || (given_ && !is_known);
    if (is_known || settings_->is_prefix || settings_->probe == Nanoseconds::zero()) return become_bound();
    given_.reset();
    HostAddress nobody = identity_.host;
    nobody.ip = IpAddress::V6({});
    std::array<std::byte, kMaxFrameLength> frame;
    surroundings_.send(
        std::span(frame).first(WriteNeighborSolicitation(frame, nobody, lease_.given.address)));
    phase_ = Phase::Probing;
    start_timer(settings_->probe);
    enter(Phase::Probing);
}

void Dhcp6Client::become_bound() {
    failures_ = 0;
    failure_.clear();
    if (std::exchange(was_bound_, false)) ++counts_.changed;
    GivenAddress given;
    given.address = lease_.given.address;
    given.server = IpAddress::V6({});
    given.valid_until = lease_.end;
    routers_.FillIn(given, now());
    if (settings_->is_prefix) given.prefix_length = lease_.given.length;
    given_ = given;
    phase_ = Phase::Bound;
    await_renewal();
    if (!settings_->is_prefix && !routers_.HasHeard() && router_timer_ == 0) {
        router_solicitations_ = 0;
        ask_for_routers();
    }
    enter(Phase::Bound);
}

void Dhcp6Client::await_renewal() {
    if (lease_.renewal == GivenAddress::kForever && lease_.end == GivenAddress::kForever)
        return stop_timer(timer_);
    start_timer(std::clamp<Nanoseconds>(std::min(lease_.renewal, lease_.end) - now(), Nanoseconds::zero(),
                                        kLongestWait));
}

void Dhcp6Client::on_renewal_time() {
    if (now() >= lease_.end) return lose("its lease was not renewed");
    if (now() < lease_.renewal) return await_renewal();
    if (now() >= lease_.rebinding) {
        begin(Phase::Rebinding, Dhcp6Type::Rebind, kRenewTimeout);
        return start_timer(std::max(std::min(delay_, lease_.end - now()), Nanoseconds::zero()));
    }
    begin(Phase::Renewing, Dhcp6Type::Renew, kRenewTimeout);
    start_timer(std::max(std::min(delay_, lease_.rebinding - now()), Nanoseconds::zero()));
}

void Dhcp6Client::OnAddressUsed(const IpAddress& address, const MacAddress& user) {
    if (user == identity_.host.mac || address != lease_.given.address) return;
    if (phase_ == Phase::Probing) {
        ++counts_.conflicts;
        if (std::exchange(was_bound_, false)) ++counts_.lost;
        return decline();
    }
    if (given_) ++counts_.conflicts;
}

void Dhcp6Client::decline() {
    begin(Phase::Declining, Dhcp6Type::Decline, settings_->first_delay);
}

/// Begins anew, unless it has been tried often enough.
void Dhcp6Client::fail_round(const std::string& why) {
    if (std::exchange(given_, {})) ++counts_.lost;
    failure_ = why;
    if (settings_->attempts > 0 && ++failures_ >= settings_->attempts) {
        stop_timer(timer_);
        return enter(Phase::Failed);
    }
    solicit();
}

void Dhcp6Client::lose(const std::string& why) {
    ++counts_.lost;
    given_.reset();
    was_bound_ = false;
    failure_ = why;
    solicit();
}

void Dhcp6Client::OnRouterAdvertisement(const RouterAdvertisement& advertisement) {
    routers_.Note(advertisement, now());
    stop_timer(router_timer_);
    if (!given_ || settings_->is_prefix) return;
    GivenAddress updated = *given_;
    routers_.FillIn(updated, now());
    if (updated == *given_) return;
    given_ = updated;
    surroundings_.changed();
}

void Dhcp6Client::ask_for_routers() {
    if (router_solicitations_++ == kRouterSolicitations) return;
    std::array<std::byte, kMaxFrameLength> frame;
    surroundings_.send(std::span(frame).first(WriteRouterSolicitation(frame, identity_.host)));
    router_timer_ = surroundings_.timeline.PostAfter(kRouterInterval, [this] {
        router_timer_ = 0;
        ask_for_routers();
    });
}

void Dhcp6Client::enter(Phase phase) {
    phase_ = phase;
    surroundings_.changed();
}

void Dhcp6Client::start_timer(Nanoseconds delay) {
    stop_timer(timer_);
    timer_ = surroundings_.timeline.PostAfter(delay, [this] {
        timer_ = 0;
        on_timer();
    });
}

void Dhcp6Client::stop_timer(std::uint64_t& timer) {
    if (timer != 0) surroundings_.timeline.Cancel(std::exchange(timer, 0));
}

/// A tenth more or less; the first solicitation of a host a tenth more at most (RFC 8415 section 15).
Dhcp6Client::Nanoseconds Dhcp6Client::spread(Nanoseconds delay, bool is_first_solicit) {
    const double part = is_first_solicit ? 0.1 * random_.fraction() : 0.2 * random_.fraction() - 0.1;
    return delay + Nanoseconds(static_cast<std::int64_t>(part * static_cast<double>(delay.count())));
}

}  // namespace orv::live
