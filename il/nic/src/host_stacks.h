// From interface stacks to hosts.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "msgset/interface_requests.h"
#include "orv/live/address.h"

namespace orv::nic {

/// A host, and how it reaches others.
struct Host {
    live::HostAddress address;
    live::IpAddress gateway = {};  ///< of the address's family; unspecified: none
    std::uint8_t prefix_length = 0;
    std::optional<live::MacAddress> gateway_mac = {};  ///< when it is configured, not to be asked for
};

/// What the nth host of an interface had before it got another address.
struct FormerAddress {
    std::uint32_t if_handle;
    std::uint32_t nth;
    live::IpAddress ip;
};

/// The hosts of a stack, in order: host i has the i-th entry of each layer's list, or the layer's only value
/// when it has no list. Throws PortFault that says what is wrong with interface `handle`: layers that live
/// ports do not offer, more than two VLANs, lists of different lengths.
std::vector<Host> hosts_of(std::uint32_t handle, const IFSETUP_1_bll::NetworkInterfaceStack_s& stack);

/// The same for hosts that get their addresses from the network: what is configured of these does not matter,
/// they are unspecified ones of the layer's family.
std::vector<Host> hosts_without_addresses(std::uint32_t handle,
                                          const IFSETUP_1_bll::NetworkInterfaceStack_s& stack);

/// Who a packet to `destination`, a unicast address of the host's family, is handed to: `destination` itself
/// when it is on the host's link or the host has no gateway, otherwise the gateway.
live::IpAddress next_hop(const Host& host, const live::IpAddress& destination);

}  // namespace orv::nic
