// The interface stacks of the hosts on a port, as they are sent to the port.
#pragma once

#include <cstdint>
#include <vector>

#include "msgset/interface_requests.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"
#include "orv/live/address.h"

namespace orv::app {

/// Stacks, and the numbers by which the port knows them.
struct InterfaceStacks {
    std::vector<std::uint32_t> handles;
    std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks;
};

/// The IP interfaces on the port of active devices.
std::vector<const core::CNetworkInterface*> FindStacks(const core::CPort& port);

/// One stack for each of them. Layers stand in order from the IP
/// interface down; a record has the values of the device's first host, and a list with one entry for each
/// host. Layers other than IP, VLAN and Ethernet are named, but not described.
InterfaceStacks MakeInterfaceStacks(const core::CPort& port);

/// The hosts behind an IP interface as the frames of live ports have them; none for another endpoint. Throws
/// COrvRunTimeError, saying what live ports do not offer of its stack: "has no Ethernet layer".
std::vector<live::HostAddress> GetLiveHosts(const core::CNetworkEndpoint& endpoint);

/// Sends the stacks to the port and waits for its answer. Throws COrvRunTimeError when that is a fault, or
/// there is none.
void ConfigureInterfaces(const core::CPort& port);

}  // namespace orv::app
