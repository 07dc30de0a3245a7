// Which frames the kernel hands to a port.
#pragma once

#include <linux/filter.h>

#include <vector>

#include "orv/live/address.h"

namespace orv::nic {

/// What a port listens to besides what hosts always need: ARP and neighbour discovery, queries of groups, and
/// UDP to unicast addresses.
struct Listening {
    std::vector<live::IpAddress> groups = {};  ///< whose UDP packets
    bool hears_reports = false;                ///< of other hosts
};

/// A program for SO_ATTACH_FILTER (linux/filter.h). It drops frames whatever their one or two tags that
/// nobody looks at; many groups that are far apart let some others pass. Of outgoing frames it passes IGMP,
/// packets with a hop-by-hop header (MLD), and UDP to unicast MAC addresses (RTCP of hosts): the frames of
/// streams are not looked at twice.
std::vector<sock_filter> MakeFrameFilter(const Listening& listening);

}  // namespace orv::nic
