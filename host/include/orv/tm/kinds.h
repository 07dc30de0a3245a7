// Kind and type codes of typed messages.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv::tm {

/// Kind of a value. Codes 0 to 9 are the simple kinds: fixed width, allowed in backed arrays and packed rows.
enum TMV : std::uint8_t {
    TMV_INT8 = 0,
    TMV_UINT8 = 1,
    TMV_INT16 = 2,
    TMV_UINT16 = 3,
    TMV_INT32 = 4,
    TMV_UINT32 = 5,
    TMV_INT64 = 6,
    TMV_UINT64 = 7,
    TMV_DOUBLE = 8,
    TMV_BOOL = 9,
    TMV_STRING = 10,
    TMV_STRUCT = 11,
    TMV_ARRAY = 12,
};

/// Type of a message.
enum TMT : std::uint8_t { TMT_REQUEST = 0, TMT_RESPONSE = 1, TMT_FAULT = 2 };

/// Member group of a message. Group 1 holds all members; group 0 is reserved.
enum TMG : std::uint8_t { TMG_RESERVED = 0, TMG_MEMBERS = 1 };
inline constexpr int kGroupCount = 2;

constexpr bool is_simple(TMV kind) {
    return kind <= TMV_BOOL;
}

/// Width of a simple kind in bytes as it lies in backed arrays and packed rows; 0 for the other kinds.
constexpr std::size_t width_of(TMV kind) {
    switch (kind) {
        case TMV_INT8:
        case TMV_UINT8:
        case TMV_BOOL:
            return 1;
        case TMV_INT16:
        case TMV_UINT16:
            return 2;
        case TMV_INT32:
        case TMV_UINT32:
            return 4;
        case TMV_INT64:
        case TMV_UINT64:
        case TMV_DOUBLE:
            return 8;
        default:
            return 0;
    }
}

/// "uint32", "struct" and so on, for error texts.
const char* name_of(TMV kind);
const char* name_of(TMT type);

/// The kind of a C++ type, as `kind_of<uint16_t>`.
template <class T>
inline constexpr TMV kind_of = TMV_STRUCT;
template <>
inline constexpr TMV kind_of<std::int8_t> = TMV_INT8;
template <>
inline constexpr TMV kind_of<std::uint8_t> = TMV_UINT8;
template <>
inline constexpr TMV kind_of<std::int16_t> = TMV_INT16;
template <>
inline constexpr TMV kind_of<std::uint16_t> = TMV_UINT16;
template <>
inline constexpr TMV kind_of<std::int32_t> = TMV_INT32;
template <>
inline constexpr TMV kind_of<std::uint32_t> = TMV_UINT32;
template <>
inline constexpr TMV kind_of<std::int64_t> = TMV_INT64;
template <>
inline constexpr TMV kind_of<std::uint64_t> = TMV_UINT64;
template <>
inline constexpr TMV kind_of<double> = TMV_DOUBLE;
template <>
inline constexpr TMV kind_of<bool> = TMV_BOOL;

}  // namespace orv::tm
