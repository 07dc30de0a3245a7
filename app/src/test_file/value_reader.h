// The properties and relations of the objects of a test file.
#pragma once

#include <vector>

#include "object_reader.h"

namespace orv::app {

/// Checks entries of objects that are all in the plan, and puts values and relations into it.
void ReadEntries(const std::vector<ObjectEntry>& entries, Plan& plan, MistakeList& mistakes);
/// The same for all entries of a file, with what is wrong with them together.
void ReadValues(const std::vector<ObjectEntry>& entries, Plan& plan, MistakeList& mistakes);

}  // namespace orv::app
