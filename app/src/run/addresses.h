// The addresses of network blocks and hosts, in the form of the messages.
#pragma once

#include <vector>

#include "msgset/ip_address.h"
#include "orv/core/network_block.h"

namespace orv::app {

using iptvcd_1_bll::ipAddress_t;

/// All addresses of a block, in its order.
std::vector<ipAddress_t> GetAddresses(const core::CNetworkBlock& block);

/// The addresses of the hosts behind an IP interface; none for another endpoint.
std::vector<ipAddress_t> GetHostAddresses(const core::CNetworkEndpoint& endpoint);

}  // namespace orv::app
