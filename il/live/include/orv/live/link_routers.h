// What a host knows of its link's routers.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

#include "orv/il/timeline.h"
#include "orv/live/address_client.h"
#include "orv/live/router_advertisement.h"

namespace orv::live {

/// The gateway and the prefixes of a link, as the advertisements so far say. Lifetimes count from the time at
/// which an advertisement came.
class LinkRouters {
  public:
    using Nanoseconds = il::Nanoseconds;

    void Note(const RouterAdvertisement& advertisement, Nanoseconds now);
    /// Whether any router has been heard.
    bool HasHeard() const { return has_heard_; }
    /// Fills in gateway, its MAC address and the length of the on-link prefix that covers the address, or
    /// 128.
    void FillIn(GivenAddress& given, Nanoseconds now) const;

  private:
    struct Prefix {
        IpAddress prefix;
        std::uint8_t length = 0;
        Nanoseconds until{};
    };

    bool has_heard_ = false;
    IpAddress gateway_;
    std::optional<MacAddress> gateway_mac_;
    Nanoseconds gateway_until_{};
    std::array<Prefix, RouterAdvertisement::kMostPrefixes> prefixes_{};  ///< on-link ones
    std::size_t prefix_count_ = 0;
};

/// Whether the first `length` bits of an IPv6 address are those of the prefix.
bool IsCovered(const IpAddress& address, const IpAddress& prefix, std::uint8_t length);
/// `seconds` from `now`; AdvertisedPrefix::kForever never ends.
il::Nanoseconds EndOfLifetime(il::Nanoseconds now, std::uint32_t seconds);

}  // namespace orv::live
