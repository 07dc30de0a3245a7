// Values and messages as text, to compare them and to show where they differ.
#pragma once

#include <string>

#include "orv/tm/message.h"

namespace orv::tm::testing {

/// All kinds, names and values of a tree. Packed and unpacked structs read the same; doubles are shown by
/// their bits.
std::string text_of(const Tm_value& value);

/// Header, both groups and the catalog.
std::string text_of(const Message& message);

}  // namespace orv::tm::testing
