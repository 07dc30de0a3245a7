#include "orv/framework/property_value.h"

#include <iterator>

#include "orv/common/exceptions.h"

namespace orv::framework {

namespace {

constexpr const char* kTypeNames[] = {"bool",  "u8",     "u16",    "s16",  "u32",  "s32", "u64",
                                      "s64",   "double", "string", "ipv4", "ipv6", "mac", "output-file-path",
                                      "handle"};

}  // namespace

const char* GetTypeName(PropertyType type) {
    return kTypeNames[static_cast<std::size_t>(type)];
}

PropertyType ParseTypeName(const std::string& name) {
    for (std::size_t i = 0; i < std::size(kTypeNames); ++i) {
        if (name == kTypeNames[i]) return static_cast<PropertyType>(i);
    }
    throw common::COrvRunTimeError("unknown type \"" + name + "\"");
}

}  // namespace orv::framework
