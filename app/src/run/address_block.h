// From objects of the project to what a port is told of hosts that get their addresses from the network.
#pragma once

#include <vector>

#include "msgset/hostaddr_1.h"
#include "object_problem.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"
#include "orv/core/protocol_blocks.h"

namespace orv::app {

/// The active ones of the port's devices.
std::vector<core::CProtocolBlockConfig*> FindAddressBlocks(const core::CPort& port);
/// The interface whose hosts the block is for: the first IP interface of its device and of its family, for
/// IPv6 one whose address is not link-local if there is one. Null if there is none.
const core::CNetworkInterface* FindInterfaceOf(const core::CProtocolBlockConfig& block);
/// "DHCPv4"
const char* GetProtocolName(hostaddr_1_bll::AddressProtocol protocol);

/// Blocks that cannot be carried out: their texts, no interface of their family, or one that another has.
ObjectProblems FindAddressProblems(const core::CPort& port);

/// Throws COrvRunTimeError that says what is wrong with the block, its texts among it.
hostaddr_1_bll::addressBlock_s MakeAddressBlock(const core::CProtocolBlockConfig& block,
                                                const core::CPort& port);

}  // namespace orv::app
