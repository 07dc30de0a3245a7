// A host that asks routers for a prefix, on a link whose routers do what a script says.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "il/fake_timeline.h"
#include "orv/live/slaac_client.h"

namespace testing_aids {

struct SlaacNetwork {
    explicit SlaacNetwork(const orv::live::SlaacClient::Settings& settings, std::uint64_t seed = 1);

    /// Lets things happen to the client, separated by commas, and returns what it sends until each of the
    /// times, and its state then.
    ///   bind, release         is told so
    ///   ra 1 1800 a=LA=90=60  router fe80::1 is a gateway for 1800 s, and has the prefix 2001:db8:a::/64
    ///   with
    ///                         these flags, valid for 90 s, preferred for 60. Others as "a/48", "fe80::";
    ///                         further words: "M"; "mac2", "mac3" (the router's, or a group's)
    ///   used a, mine a        somebody else, or the host, says that the address with this prefix is his
    ///   10s                   lets time pass
    /// Sent is "ask" (a router), "probe a". After the state of a bound host: its prefix and length, the
    /// gateway, and until when in seconds.
    std::string play(std::string_view script);

    FakeTimeline timeline;
    std::vector<std::pair<orv::il::Nanoseconds, std::vector<std::byte>>> sent;  ///< frames
    int changes = 0;
    orv::live::SlaacClient client;

  private:
    std::string said_;  ///< since the last time
};

}  // namespace testing_aids
