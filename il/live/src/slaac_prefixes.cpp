// What a host does with the prefixes that routers tell: make an address, prolong it, lose it.
#include <algorithm>
#include <array>
#include <utility>

#include "orv/live/slaac_client.h"

namespace orv::live {
namespace slaac {
namespace {

/// The first `length` bits are the same.
bool covers(const AdvertisedPrefix& prefix, const IpAddress& address) {
    const auto a = prefix.prefix.GetBytes(), b = address.GetBytes();
    const std::size_t whole = prefix.length / 8, rest = prefix.length % 8;
    return std::equal(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(whole), b.begin()) &&
           (rest == 0 || (a[whole] ^ b[whole]) >> (8 - rest) == 0);
}

/// Whether hosts make addresses with it (RFC 4862 section 5.5.3 a to d); those of Ethernet have identifiers
/// of 64 bits (RFC 2464 section 4). Valid for 0 s it may still shorten an address.
bool is_for_addresses(const AdvertisedPrefix& prefix) {
    return prefix.is_autonomous && prefix.length == 64 && prefix.preferred <= prefix.valid &&
           prefix.prefix.IsV6() && !prefix.prefix.IsLinkLocal() && !prefix.prefix.IsMulticast() &&
           !prefix.prefix.IsUnspecified();
}

IpAddress make_address(const IpAddress& prefix, const IpAddress& link_local) {
    std::array<std::uint8_t, 16> bytes;
    std::ranges::copy(prefix.GetBytes().first(8), bytes.begin());
    std::ranges::copy(link_local.GetBytes().last(8), bytes.begin() + 8);
    return IpAddress::V6(bytes);
}

il::Nanoseconds end_of(il::Nanoseconds now, std::uint32_t seconds) {
    if (seconds == AdvertisedPrefix::kForever) return GivenAddress::kForever;
    return now + std::chrono::seconds(seconds);
}

/// No group's address, and not none.
bool is_one_host(const MacAddress& mac) {
    return (mac.bytes[0] & 1) == 0 && mac != MacAddress{};
}

}  // namespace
}  // namespace slaac

void SlaacClient::OnRouterAdvertisement(const RouterAdvertisement& advertisement) {
    if (phase_ == Phase::Idle || phase_ == Phase::Failed) return;
    bool is_of_use = hear_gateway(advertisement);
    if (hear_prefixes(advertisement)) is_of_use = true;
    if (has_lease() && hear_link(advertisement)) is_of_use = true;
    ++(is_of_use ? counts_.received : counts_.ignored);
    if (phase_ == Phase::Soliciting && (!without_prefix_.IsV6() || advertisement.is_managed)) {
        without_prefix_ = advertisement.router;
        is_managed_ = advertisement.is_managed;
    }
    settle();
}

/// RFC 4861 section 6.3.4. False when it is about no gateway of this host.
bool SlaacClient::hear_gateway(const RouterAdvertisement& advertisement) {
    const bool is_ours = gateway_.address == advertisement.router;
    if (advertisement.lifetime == 0) {
        if (is_ours) gateway_ = {};
        return is_ours;
    }
    if (!is_ours && !gateway_.address.IsUnspecified()) return false;
    gateway_.address = advertisement.router;
    gateway_.until = now() + std::chrono::seconds(advertisement.lifetime);
    if (advertisement.mac && slaac::is_one_host(*advertisement.mac)) gateway_.mac = advertisement.mac;
    return true;
}

/// RFC 4862 section 5.5.3. False when there is no prefix to make an address with.
bool SlaacClient::hear_prefixes(const RouterAdvertisement& advertisement) {
    const AdvertisedPrefix* best = nullptr;
    bool is_of_use = false;
    for (const AdvertisedPrefix& prefix : advertisement.GetPrefixes()) {
        if (!slaac::is_for_addresses(prefix)) continue;
        if (has_lease() && slaac::covers(prefix, lease_.address)) {
            prolong(prefix, advertisement.router);
            is_of_use = true;
        } else if (prefix.valid > 0 && (!best || (best->preferred == 0 && prefix.preferred > 0))) {
            best = &prefix;
        }
    }
    if (!best) return is_of_use;
    if (!has_lease() || (lease_.preferred_until <= now() && best->preferred > 0))
        take(*best, advertisement.router);
    return true;
}

void SlaacClient::take(const AdvertisedPrefix& prefix, const IpAddress& router) {
    was_bound_ = was_bound_ || phase_ == Phase::Bound;
    lease_ = {.address = slaac::make_address(prefix.prefix, host_.ip),
              .server = router,
              .valid_until = slaac::end_of(now(), prefix.valid),
              .preferred_until = slaac::end_of(now(), prefix.preferred)};
    link_ = {};
    if (settings_->probe.count() == 0) return become_bound();
    enter(Phase::Probing);
    sent_times_ = 0;
    const Nanoseconds delay = spread();
    if (delay.count() > 0)
        next_ = now() + delay;
    else
        probe();
}

void SlaacClient::become_bound() {
    next_ = kForever;
    if (std::exchange(was_bound_, false)) ++counts_.changed;
    enter(Phase::Bound);
}

/// The two-hour rule of RFC 4862 section 5.5.3 e keeps forged advertisements from ending addresses.
void SlaacClient::prolong(const AdvertisedPrefix& prefix, const IpAddress& router) {
    constexpr Nanoseconds kTwoHours = std::chrono::hours(2);
    const Nanoseconds told = slaac::end_of(now(), prefix.valid), least = now() + kTwoHours;
    lease_.preferred_until = slaac::end_of(now(), prefix.preferred);
    if (told > least || told > lease_.valid_until) {
        if (told > lease_.valid_until) ++(router == lease_.server ? counts_.renewed : counts_.rebound);
        lease_.valid_until = told;
        lease_.server = router;
    } else if (lease_.valid_until > least) {
        lease_.valid_until = least;
    }
}

/// Of several prefixes around the address the longest counts (RFC 4861 section 6.3.4). False when there is
/// none.
bool SlaacClient::hear_link(const RouterAdvertisement& advertisement) {
    bool is_of_use = false;
    for (const AdvertisedPrefix& prefix : advertisement.GetPrefixes()) {
        if (!prefix.is_on_link || prefix.length == 0 || prefix.length < link_.length ||
            !slaac::covers(prefix, lease_.address))
            continue;
        is_of_use = true;
        if (prefix.valid > 0)
            link_ = {prefix.length, slaac::end_of(now(), prefix.valid)};
        else if (prefix.length == link_.length)
            link_ = {};
    }
    return is_of_use;
}

void SlaacClient::lose() {
    if (phase_ == Phase::Bound || was_bound_) ++counts_.lost;
    was_bound_ = false;
    failure_ = "its prefix is not advertised any more";
    lease_ = {};
    link_ = {};
    begin(spread());
}

}  // namespace orv::live
