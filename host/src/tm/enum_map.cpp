#include "orv/tm/enum_map.h"

#include <cstring>

#include <fmt/format.h>

#include "orv/tm/exceptions.h"

namespace orv::tm {

const char* tms_enum_to_string(int value, const tm_enum_map* map) {
    for (const tm_enum_map* row = map; row->name != nullptr; ++row) {
        if (row->value == value) return row->name;
    }
    throw Tm_exception(fmt::format("the enumeration has no value {}", value));
}

int tms_string_to_enum(const char* name, const tm_enum_map* map) {
    for (const tm_enum_map* row = map; row->name != nullptr; ++row) {
        if (std::strcmp(row->name, name) == 0) return row->value;
    }
    throw Tm_exception("the enumeration has no value named " + quoted(name));
}

}  // namespace orv::tm
