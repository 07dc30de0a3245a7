// From interface stacks to the addresses of hosts.
#pragma once

#include <cstdint>
#include <vector>

#include "msgset/interface_requests.h"
#include "orv/live/address.h"

namespace orv::nic {

/// The hosts of a stack, in order: host i has the i-th entry of each layer's list, or the layer's only value
/// when it has no list. Throws PortFault that says what is wrong with interface `handle`: layers that live
/// ports do not offer, more than two VLANs, lists of different lengths.
std::vector<live::HostAddress> hosts_of(std::uint32_t handle,
                                        const IFSETUP_1_bll::NetworkInterfaceStack_s& stack);

}  // namespace orv::nic
