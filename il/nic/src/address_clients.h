// What asks for addresses on behalf of the hosts of a block.
#pragma once

#include <functional>
#include <memory>

#include "host_stacks.h"
#include "msgset/hostaddr_1.h"
#include "orv/live/address_client.h"

namespace orv::nic {

/// Makes the client of one host. Throws std::invalid_argument for what no client can say.
using ClientMaker = std::function<std::unique_ptr<live::AddressClient>(
    const hostaddr_1_bll::hostIdentity_s&, const Host&, live::AddressClient::Surroundings)>;

/// The hosts of the block share their settings. Throws PortFault.
ClientMaker choose_client_maker(const hostaddr_1_bll::addressBlock_s& block);

}  // namespace orv::nic
