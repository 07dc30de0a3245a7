// An address on one link, as a key of tables.
#pragma once

#include <cstdint>

#include "hash.h"
#include "orv/live/address.h"

namespace orv::nic {

struct AddressOnLink {
    std::uint32_t link;  ///< Links::key_of
    live::IpAddress ip;
    bool operator==(const AddressOnLink&) const = default;
};

struct AddressOnLinkHash {
    std::size_t operator()(const AddressOnLink& key) const { return hash_of(key.ip, key.link); }
};

}  // namespace orv::nic
