// Orders addresses of both IP versions.
#pragma once

#include <cstring>

#include "msgset/ip_address.h"

namespace orv::il {

/// IPv4 before IPv6, within a version by the bytes.
struct AddressOrder {
    bool operator()(const iptvcd_1_bll::ipAddress_t& a, const iptvcd_1_bll::ipAddress_t& b) const {
        if (a.type != b.type) return a.type < b.type;
        return std::memcmp(a.v6.address, b.v6.address, iptvcd_1_bll::ipAddress_t::length_of(a.type)) < 0;
    }
};

}  // namespace orv::il
