#include "orv/live/link_routers.h"

#include <algorithm>

namespace orv::live {

void LinkRouters::Note(const RouterAdvertisement& advertisement, Nanoseconds now) {
    has_heard_ = true;
    // A host stays with the router that it has, as long as that one is there.
    const bool is_known = gateway_ == advertisement.router, has_another = now < gateway_until_ && !is_known;
    if (advertisement.lifetime > 0 && !has_another) {
        gateway_ = advertisement.router;
        const bool is_one_host = advertisement.mac && (advertisement.mac->bytes[0] & 1) == 0;
        gateway_mac_ = is_one_host ? advertisement.mac : std::nullopt;
        gateway_until_ = now + std::chrono::seconds(advertisement.lifetime);
    } else if (advertisement.lifetime == 0 && is_known) {
        gateway_until_ = {};
    }
    for (const AdvertisedPrefix& told : advertisement.GetPrefixes()) {
        if (!told.is_on_link || told.prefix.IsLinkLocal()) continue;
        const auto known = std::find_if(
            prefixes_.begin(), prefixes_.begin() + prefix_count_,
            [&](const Prefix& one) { return one.prefix == told.prefix && one.length == told.length; });
        if (known != prefixes_.begin() + prefix_count_) {
            known->until = EndOfLifetime(now, told.valid);
            continue;
        }
        // In the place of one whose time is over.
        auto place = std::find_if(prefixes_.begin(), prefixes_.begin() + prefix_count_,
                                  [&](const Prefix& one) { return one.until <= now; });
        if (place == prefixes_.begin() + prefix_count_) {
            if (prefix_count_ == prefixes_.size()) continue;
            ++prefix_count_;
        }
        *place = {told.prefix, told.length, EndOfLifetime(now, told.valid)};
    }
}

void LinkRouters::FillIn(GivenAddress& given, Nanoseconds now) const {
    const bool has_gateway = now < gateway_until_;
    given.gateway = has_gateway ? gateway_ : IpAddress::V6({});
    given.gateway_mac = has_gateway ? gateway_mac_ : std::nullopt;
    int length = -1;
    for (std::size_t i = 0; i < prefix_count_; ++i) {
        const Prefix& one = prefixes_[i];
        if (now < one.until && IsCovered(given.address, one.prefix, one.length))
            length = std::max<int>(length, one.length);
    }
    given.prefix_length = static_cast<std::uint8_t>(length < 0 ? 128 : length);
}

bool IsCovered(const IpAddress& address, const IpAddress& prefix, std::uint8_t length) {
    for (std::size_t bit = 0; bit < length; bit += 8) {
        const auto mask = static_cast<std::uint8_t>(length - bit >= 8 ? 0xff : 0xff00 >> (length - bit));
        if (((address.GetBytes()[bit / 8] ^ prefix.GetBytes()[bit / 8]) & mask) != 0) return false;
    }
    return true;
}

il::Nanoseconds EndOfLifetime(il::Nanoseconds now, std::uint32_t seconds) {
    return seconds == AdvertisedPrefix::kForever ? GivenAddress::kForever
                                                 : now + std::chrono::seconds(seconds);
}

}  // namespace orv::live
