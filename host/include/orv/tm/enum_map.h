// Enumerations travel as their names.
#pragma once

namespace orv::tm {

/// One row of an enumeration's table. The table ends with a row whose name is null.
struct tm_enum_map {
    int value;
    const char* name;
};

/// Name of a value. Throws Tm_exception for a value that the table does not hold.
const char* tms_enum_to_string(int value, const tm_enum_map* map);

/// Value of a name (exact match). Throws Tm_exception that quotes the name when the table does not hold it.
int tms_string_to_enum(const char* name, const tm_enum_map* map);

}  // namespace orv::tm
