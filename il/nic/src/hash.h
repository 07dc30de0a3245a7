// Hashes of addresses and frames, for tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "orv/il/random.h"
#include "orv/live/address.h"

namespace orv::nic {

/// `seed` distinguishes tables, or parts of one key.
inline std::uint64_t hash_of(std::span<const std::byte> bytes, std::uint64_t seed) {
    std::uint64_t hash = seed + bytes.size();
    for (; bytes.size() >= 8; bytes = bytes.subspan(8)) {
        std::uint64_t word;
        std::memcpy(&word, bytes.data(), 8);
        hash = il::mixed(hash ^ word) + 0x9e3779b97f4a7c15U;
    }
    std::uint64_t rest = 0;
    if (!bytes.empty()) std::memcpy(&rest, bytes.data(), bytes.size());
    return il::mixed(hash ^ rest);
}

inline std::uint64_t hash_of(const live::IpAddress& address, std::uint64_t seed) {
    return hash_of(std::as_bytes(address.GetBytes()), seed);
}

struct AddressHash {
    std::size_t operator()(const live::IpAddress& address) const { return hash_of(address, 0); }
};

}  // namespace orv::nic
