// The interface stacks of the hosts on a port, as the port is told of them.
#pragma once

#include <cstdint>
#include <vector>

#include "msgset/interface_requests.h"
#include "orv/core/port.h"

namespace orv::app {

/// Stacks, and the numbers by which the port knows them.
struct InterfaceStacks {
    std::vector<std::uint32_t> handles;
    std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks;
};

/// One stack for each IP interface on the port of an active device. Layers stand in order from the IP
/// interface down; a record has the values of the device's first host, and a list with one entry for each
/// host. Layers other than IP, VLAN and Ethernet are named, but not described.
InterfaceStacks MakeInterfaceStacks(const core::CPort& port);

/// Sends the stacks to the port and waits for its answer. Throws COrvRunTimeError when that is a fault, or
/// there is none.
void ConfigureInterfaces(const core::CPort& port);

}  // namespace orv::app
