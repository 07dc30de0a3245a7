// Simple values as they lie in backed arrays and packed rows: little-endian, without padding, perhaps
// unaligned.
#pragma once

#include <bit>
#include <cstring>

#include "orv/tm/value.h"

namespace orv::tm {

static_assert(std::endian::native == std::endian::little,
              "packed values are copied as they lie in memory, which is little-endian in messages");

template <class T>
T load_as(const std::byte* from) {
    if constexpr (std::is_same_v<T, bool>) {
        return *from != std::byte{0};  // any byte may come from a peer; a bool object may hold 0 and 1 only
    } else {
        T value;
        std::memcpy(&value, from, sizeof value);
        return value;
    }
}

/// Calls `use` with a value of the C++ type of a simple kind, to pick a template's instance.
template <class Use>
auto with_type_of(TMV kind, Use&& use) {
    switch (kind) {
        case TMV_INT8:
            return use(std::int8_t{});
        case TMV_UINT8:
            return use(std::uint8_t{});
        case TMV_INT16:
            return use(std::int16_t{});
        case TMV_UINT16:
            return use(std::uint16_t{});
        case TMV_INT32:
            return use(std::int32_t{});
        case TMV_UINT32:
            return use(std::uint32_t{});
        case TMV_INT64:
            return use(std::int64_t{});
        case TMV_UINT64:
            return use(std::uint64_t{});
        case TMV_DOUBLE:
            return use(double{});
        case TMV_BOOL:
            return use(bool{});
        default:
            throw Tm_exception(std::string(name_of(kind)) + " is no simple kind");
    }
}

inline Tm_scalar load_scalar(TMV kind, const std::byte* from) {
    return with_type_of(kind, [from]<class T>(T) { return Tm_scalar::of(load_as<T>(from)); });
}

/// Writes width_of(value.kind) bytes.
inline void store_scalar(const Tm_scalar& value, std::byte* to) {
    with_type_of(value.kind, [&value, to]<class T>(T) {
        const T plain = value.as<T>();
        std::memcpy(to, &plain, sizeof plain);
    });
}

}  // namespace orv::tm
