// One group of one host, inside of MembershipHost.
#pragma once

#include <cstddef>
#include <vector>

#include "group_state.h"
#include "orv/live/membership_host.h"

namespace orv::live {

/// Whether messages about the group may be sent at all (RFC 3376 section 5, RFC 2710 section 5).
inline bool is_reportable(const IpAddress& group) {
    return group.IsV6() ? group != kAllNodesV6 && (group.GetBytes()[1] & 0x0f) > 1 : group != kAllSystems;
}

struct MembershipHost::Membership {
    /// Most sources recorded from queries, so that a flood takes no memory (RFC 3376 section 9.1); with more,
    /// the answer is the whole state.
    static constexpr std::size_t kMostQueriedSources = 512;

    Membership(const IpAddress& of, std::uint32_t own_id) : group(of), id(own_id) {}

    /// Whether there is anything to report when queried.
    bool has_answer() const { return state.is_member() && is_reportable(group); }

    IpAddress group;
    std::uint32_t id;  ///< for timers: memberships move
    GroupState state;
    /// Sends a report: the answer to a query, in the older versions also the next repeat of a join.
    std::uint64_t report_timer = 0;
    Nanoseconds report_due{};
    /// Sources that the answer covers (IGMPv3, MLDv2), sorted; empty for the whole state.
    std::vector<IpAddress> queried_sources;
    /// Remaining repeats of a join (older versions).
    std::uint8_t repeats = 0;
    /// No other host of the link has reported since (older versions).
    bool last_reporter = false;
};

}  // namespace orv::live
