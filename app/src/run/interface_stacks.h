// The interface stacks of the hosts on a port, as they are sent to the port.
#pragma once

#include <cstdint>
#include <vector>

#include "msgset/interface_requests.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"
#include "orv/live/address.h"

namespace orv::app {

/// Stacks, and their numbers on the port.
struct InterfaceStacks {
    std::vector<std::uint32_t> handles;
    std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks;
};

/// The IP interfaces of the active devices on the port.
std::vector<const core::CNetworkInterface*> FindStacks(const core::CPort& port);

/// One stack for each of them. Layers are ordered from the IP interface down. A record has the values of the
/// device's first host, and a list with one entry for each host. Layers other than IP, VLAN and Ethernet are
/// named, but not described.
InterfaceStacks MakeInterfaceStacks(const core::CPort& port);

/// The hosts behind an IP interface in the form of live ports; none for another endpoint. Throws
/// COrvRunTimeError if live ports do not support the stack, with the reason: "has no Ethernet layer".
std::vector<live::HostAddress> GetLiveHosts(const core::CNetworkEndpoint& endpoint);

/// Sends the stacks to the port and waits for its answer. Throws COrvRunTimeError if the answer is a fault,
/// or there is none.
void ConfigureInterfaces(const core::CPort& port);

}  // namespace orv::app
