// Names that users type.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orv::app {

/// Compares without regard to case.
bool IsSameName(std::string_view a, std::string_view b);

/// The known name that takes the fewest edits (a letter put in, left out, changed, or two neighbours swapped)
/// to become `name`, without regard to case; empty when none is near enough to be meant. The first of equals.
std::string FindNearestName(std::string_view name, const std::vector<std::string>& known);

/// "a, b, c"
std::string JoinNames(const std::vector<std::string>& names);

}  // namespace orv::app
