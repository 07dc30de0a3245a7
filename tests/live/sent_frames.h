// A membership host on a network that only listens.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "il/fake_timeline.h"
#include "orv/live/membership_host.h"

namespace testing_aids {

/// What a membership message says: "report 239.1.1.1", "leave 239.1.1.1", or the records of a report as in
/// RFC 3376 section 4.2.15, "TO_EX 239.1.1.1 {} ALLOW ...". Empty for any other frame.
std::string sent_text(std::span<const std::byte> frame);

struct SentFrame {
    orv::live::Nanoseconds time;
    std::string text;
    std::size_t length;
};

/// One host that has the MAC address 02:00:00:00:0a:01 and the address 192.0.2.10 or 2001:db8::a.
struct ListeningNetwork {
    using Settings = orv::live::MembershipHost::Settings;
    explicit ListeningNetwork(const Settings& settings, std::uint64_t seed = 1);
    explicit ListeningNetwork(orv::live::MembershipVersion version)
        : ListeningNetwork(Settings{.version = version}) {}

    /// Lets time pass; what was sent since the last call, separated by "; ".
    std::string run(orv::live::Nanoseconds duration);
    std::string take();

    FakeTimeline timeline;
    std::vector<SentFrame> sent;                 ///< since the last take()
    const orv::live::MembershipVersion version;  ///< its own
    orv::live::MembershipHost host;
};

/// Short names for tables that hold for IGMP and MLD alike: "G" and "H" are groups, "a" to "d" sources.
orv::live::IpAddress lettered_address(char letter, orv::live::MembershipVersion version);
/// With the short names in place of the addresses.
std::string lettered(std::string text);

/// "E ab" of group G excludes two sources, "I a" includes one, "-" is no member. Tells the host to be it.
std::optional<orv::live::Nanoseconds> become(orv::live::MembershipHost& host, std::string_view state);

/// A query, with the bytes that its sources lie in.
struct TestQuery {
    /// An unset `group` is a general query.
    TestQuery(orv::live::MembershipVersion version, orv::live::Nanoseconds max_response_time,
              const orv::live::IpAddress& group = {}, const std::vector<orv::live::IpAddress>& sources = {});
    TestQuery& operator=(TestQuery&&) = delete;  // nor is it copied

    orv::live::MembershipQuery query;

  private:
    std::vector<std::byte> sources_;
};

/// Lets things happen to the host, separated by commas, and returns what it sends until each of the times.
///   E ab, I, -      become(), which is told at once; with a "!" before it, there is nothing to tell
///   E H, leave all  joins another group, leaves all groups
///   10s, 2h         lets time pass; adds what was sent since the last time, or "." when there is nothing
///   settle, drop    a minute passes, or no time; what is sent does not count
///   ?= 10s G ab     a query of the host's version, about a group and sources or none; the time is the
///   longest
///                   for an answer. "?<": of the version before, "?x": of the other protocol, "?1": of IGMPv1
///   heard G         a report of another host
///   v2, idle        the version spoken is to be 2, the host idle
std::string play(ListeningNetwork& network, std::string_view script);

}  // namespace testing_aids
