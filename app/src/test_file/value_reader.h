// The properties and relations of the objects of a test file.
#pragma once

#include <vector>

#include "object_reader.h"

namespace orv::app {

/// Checks entries of objects that are all in the plan, and puts values and relations into it.
void ReadValues(const std::vector<ObjectEntry>& entries, Plan& plan, MistakeList& mistakes);

}  // namespace orv::app
