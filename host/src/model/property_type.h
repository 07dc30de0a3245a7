// From a property's type, known at run time, to its C++ type.
#pragma once

#include <string>
#include <type_traits>

#include "orv/framework/property_value.h"

namespace orv::framework {

/// Calls `function(std::type_identity<T>{})` with the C++ type of single values of `type`.
template <class Function>
decltype(auto) WithType(PropertyType type, const Function& function) {
    switch (type) {
        case PropertyType::Bool:
            return function(std::type_identity<bool>{});
        case PropertyType::U8:
            return function(std::type_identity<std::uint8_t>{});
        case PropertyType::U16:
            return function(std::type_identity<std::uint16_t>{});
        case PropertyType::S16:
            return function(std::type_identity<std::int16_t>{});
        case PropertyType::U32:
        case PropertyType::Handle:
            return function(std::type_identity<std::uint32_t>{});
        case PropertyType::S32:
            return function(std::type_identity<std::int32_t>{});
        case PropertyType::U64:
            return function(std::type_identity<std::uint64_t>{});
        case PropertyType::S64:
            return function(std::type_identity<std::int64_t>{});
        case PropertyType::Double:
            return function(std::type_identity<double>{});
        case PropertyType::String:
            return function(std::type_identity<std::string>{});
        case PropertyType::Ipv4:
            return function(std::type_identity<CIpAddress>{});
        case PropertyType::Ipv6:
            return function(std::type_identity<CIpv6Address>{});
        case PropertyType::Mac:
            return function(std::type_identity<CMacAddress>{});
        case PropertyType::OutputFilePath:
            break;
    }
    return function(std::type_identity<OutputFilePath>{});
}

/// Types that a slot can hold a list of.
template <class T>
inline constexpr bool kCanBeListed =
    std::is_same_v<T, std::uint8_t> || std::is_same_v<T, std::uint16_t> || std::is_same_v<T, std::uint32_t> ||
    std::is_same_v<T, std::uint64_t> || std::is_same_v<T, std::string> || std::is_same_v<T, CIpAddress> ||
    std::is_same_v<T, CIpv6Address> || std::is_same_v<T, CMacAddress>;

template <class T>
inline constexpr bool kIsInteger = std::is_integral_v<T> && !std::is_same_v<T, bool>;

}  // namespace orv::framework
