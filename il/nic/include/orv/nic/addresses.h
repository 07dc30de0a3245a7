// Addresses of messages as addresses of frames.
#pragma once

#include <span>

#include "hash.h"
#include "msgset/ip_address.h"
#include "orv/live/address.h"

namespace orv::nic {

/// 0.0.0.0 for no address.
inline live::IpAddress convert(const iptvcd_1_bll::ipAddress_t& address) {
    const std::size_t length = iptvcd_1_bll::ipAddress_t::length_of(address.type);
    if (length == 0) return {};
    return live::IpAddress::FromBytes(std::span(address.v6.address, length));
}

struct AddressHash {
    std::size_t operator()(const live::IpAddress& address) const { return hash_of(address, 0); }
};

}  // namespace orv::nic
