#include "orv/live/slaac_client.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "orv/live/frame.h"

namespace orv::live {

namespace {

using std::chrono::hours;
using std::chrono::seconds;

/// Of prefixes from which addresses are made with a MAC address (RFC 2464 section 4).
constexpr std::uint8_t kSlaacPrefixLength = 64;
/// RFC 4862 section 5.5.3 e.
constexpr seconds kLeastLifetime = hours(2);
/// Timers of the timeline do not reach further than what a day's test needs.
constexpr seconds kLongestTimer = hours(24);

bool is_usable(const AdvertisedPrefix& prefix) {
    return prefix.is_autonomous && !prefix.prefix.IsLinkLocal() && !prefix.prefix.IsMulticast() &&
           prefix.length == kSlaacPrefixLength && prefix.valid > 0 && prefix.preferred <= prefix.valid;
}

}  // namespace

SlaacClient::SlaacClient(const HostAddress& host, std::shared_ptr<const Settings> settings,
                         Surroundings surroundings)
    : host_(host), settings_(std::move(settings)), surroundings_(std::move(surroundings)) {
    host_.ip = LinkLocalAddress(host.mac);
    if (settings_->first_delay <= Nanoseconds::zero() || settings_->longest_delay < settings_->first_delay ||
        settings_->probe < Nanoseconds::zero())
        throw std::invalid_argument(
            "times between solicitations have to be above 0, and the longest the longest");
}

SlaacClient::~SlaacClient() {
    stop_timer();
}

void SlaacClient::Bind() {
    if (state_ != State::Idle && state_ != State::Failed) return;
    failure_.clear();
    others_give_addresses_ = false;
    solicitations_ = 0;
    solicit();
    become(State::Binding);
}

void SlaacClient::Release() {
    if (state_ == State::Idle) return;
    stop_timer();
    is_probing_ = false;
    given_.reset();
    failure_.clear();
    become(State::Idle);
}

void SlaacClient::solicit() {
    std::array<std::byte, kMaxFrameLength> frame;
    surroundings_.send(std::span(frame).first(WriteRouterSolicitation(frame, host_)));
    ++counts_.sent;
    if (solicitations_++ > 0) ++counts_.repeated;
    Nanoseconds delay = settings_->first_delay;
    if (settings_->attempts == 0)
        for (std::uint32_t i = 1; i < solicitations_ && delay < settings_->longest_delay; ++i) delay *= 2;
    start_timer(std::min(delay, settings_->longest_delay), &SlaacClient::on_silence);
}

void SlaacClient::on_silence() {
    if (settings_->attempts == 0 || solicitations_ < settings_->attempts) return solicit();
    fail(others_give_addresses_
             ? "the router gives no prefix to make an address from: addresses come by DHCPv6"
         : routers_.HasHeard() ? "the router gives no prefix to make an address from"
                               : "no router answers");
}

void SlaacClient::OnRouterAdvertisement(const RouterAdvertisement& advertisement) {
    if (state_ == State::Idle || state_ == State::Failed) return;
    ++counts_.received;
    const Nanoseconds now = surroundings_.timeline.GetNow();
    routers_.Note(advertisement, now);
    others_give_addresses_ = advertisement.is_managed;
    if (given_) {
        GivenAddress updated = *given_;
        for (const AdvertisedPrefix& prefix : advertisement.GetPrefixes())
            if (prefix.is_autonomous && IsCovered(updated.address, prefix.prefix, prefix.length) &&
                prefix.preferred <= prefix.valid)
                prolong(prefix);
        updated.valid_until = given_->valid_until;
        routers_.FillIn(updated, now);
        if (updated == *given_) return;
        given_ = updated;
        surroundings_.changed();
        return;
    }
    if (is_probing_) return;
    const auto prefixes = advertisement.GetPrefixes();
    const auto usable = std::ranges::find_if(prefixes, is_usable);
    if (usable != prefixes.end()) probe(*usable);
}

void SlaacClient::probe(const AdvertisedPrefix& prefix) {
    candidate_ = {};
    candidate_.address = address_in(prefix.prefix);
    candidate_.server = IpAddress::V6({});
    candidate_.valid_until = EndOfLifetime(surroundings_.timeline.GetNow(), prefix.valid);
    stop_timer();
    if (settings_->probe == Nanoseconds::zero()) return become_bound();
    is_probing_ = true;
    std::array<std::byte, kMaxFrameLength> frame;
    surroundings_.send(std::span(frame).first(WriteAddressProbe(frame, host_, candidate_.address)));
    start_timer(settings_->probe, &SlaacClient::become_bound);
}

void SlaacClient::become_bound() {
    is_probing_ = false;
    solicitations_ = 0;
    routers_.FillIn(candidate_, surroundings_.timeline.GetNow());
    given_ = candidate_;
    on_expiry();
    become(State::Bound);
}

void SlaacClient::prolong(const AdvertisedPrefix& prefix) {
    const Nanoseconds now = surroundings_.timeline.GetNow();
    const Nanoseconds told = EndOfLifetime(now, prefix.valid);
    if (told > given_->valid_until || seconds(prefix.valid) > kLeastLifetime) {
        given_->valid_until = told;
        ++counts_.renewed;
    } else if (given_->valid_until > now + kLeastLifetime) {
        given_->valid_until = now + kLeastLifetime;
    }
    stop_timer();
    on_expiry();
}

/// Looks whether the lifetime has run out, and again when it will have.
void SlaacClient::on_expiry() {
    if (given_->valid_until == GivenAddress::kForever) return;
    const Nanoseconds left = given_->valid_until - surroundings_.timeline.GetNow();
    if (left > Nanoseconds::zero())
        return start_timer(std::min<Nanoseconds>(left, kLongestTimer), &SlaacClient::on_expiry);
    given_.reset();
    ++counts_.lost;
    failure_ = "the lifetime of its prefix has run out";
    solicit();
    become(State::Binding);
}

void SlaacClient::OnAddressUsed(const IpAddress& address, const MacAddress& user) {
    if (user == host_.mac) return;
    if (is_probing_ && address == candidate_.address) {
        ++counts_.conflicts;
        return fail("somebody else uses " + address.ToString());
    }
    if (given_ && address == given_->address) ++counts_.conflicts;
}

void SlaacClient::fail(const std::string& why) {
    stop_timer();
    is_probing_ = false;
    failure_ = why;
    become(State::Failed);
}

void SlaacClient::become(State state) {
    state_ = state;
    surroundings_.changed();
}

void SlaacClient::start_timer(Nanoseconds delay, void (SlaacClient::*work)()) {
    stop_timer();
    timer_ = surroundings_.timeline.PostAfter(delay, [this, work] {
        timer_ = 0;
        (this->*work)();
    });
}

void SlaacClient::stop_timer() {
    if (timer_ != 0) surroundings_.timeline.Cancel(std::exchange(timer_, 0));
}

IpAddress SlaacClient::address_in(const IpAddress& prefix) const {
    std::array<std::uint8_t, 16> bytes{};
    std::ranges::copy(prefix.GetBytes().first(8), bytes.begin());
    std::ranges::copy(host_.ip.GetBytes().last(8), bytes.begin() + 8);
    return IpAddress::V6(bytes);
}

}  // namespace orv::live
