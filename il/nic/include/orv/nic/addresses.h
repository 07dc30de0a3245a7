// Addresses of messages as addresses of frames.
#pragma once

#include <span>

#include "msgset/ip_address.h"
#include "orv/live/address.h"

namespace orv::nic {

/// 0.0.0.0 for a record without an address. Any thread may call it.
inline live::IpAddress ToLiveAddress(const iptvcd_1_bll::ipAddress_t& address) {
    const std::size_t length = iptvcd_1_bll::ipAddress_t::length_of(address.type);
    if (length == 0) return {};
    return live::IpAddress::FromBytes(std::span(address.v6.address, length));
}

}  // namespace orv::nic
