// IP addresses as the IPTV message set carries them.
#pragma once

#include <cstdint>
#include <cstring>

#include "orv/tm/struct.h"

namespace iptvcd_1_bll {

/// IPv4 address in network order.
struct Ipv4Address_s {
    std::uint8_t address[4];
};
extern const char* const Ipv4Address_t_names[];

/// IPv6 address in network order.
struct Ipv6Address_s {
    std::uint8_t address[16];
};
extern const char* const Ipv6Address_t_names[];

/// An IPv4 or IPv6 address; 0.0.0.0 by default. A type other than 0 and 1 means no address.
struct ipAddress_t {
    static constexpr std::uint32_t kV4 = 0;
    static constexpr std::uint32_t kV6 = 1;

    std::uint32_t type = kV4;  ///< a value of ipAddressType_t
    union {
        Ipv4Address_s v4;         ///< type 0; the other bytes are unused
        Ipv6Address_s v6 = {{}};  ///< type 1
    };

    /// Types equal and the bytes of that type equal.
    bool operator==(const ipAddress_t& other) const {
        return type == other.type &&
               (type > kV6 || std::memcmp(v6.address, other.v6.address, length_of(type)) == 0);
    }

    /// Bytes of an address of this type.
    static constexpr std::size_t length_of(std::uint32_t type) {
        return type == kV4 ? 4 : type == kV6 ? 16 : 0;
    }
};

/// Encodes the address as {"v4" or "v6": {"address": [bytes]}}, and as an empty struct when there is none.
void ipAddress_t_to_struct(orv::tm::Tm_struct* out, const ipAddress_t* record, bool copyArrays,
                           orv::tm::Tm_names_catalog* catalog);
/// Leaves the record as it was when the struct has neither "v4" nor "v6". Throws Tm_exception for a wrong
/// number of address bytes.
void ipAddress_t_from_struct(const orv::tm::Tm_struct* in, ipAddress_t* record);

}  // namespace iptvcd_1_bll
