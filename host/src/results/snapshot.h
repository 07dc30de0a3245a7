// Which objects are stored when a test starts and when it ends.
#pragma once

#include <set>
#include <vector>

#include "row_group.h"

namespace orv::results {

/// Classes that have a table in every file: all that can have objects, except commands.
std::vector<const framework::CMetaClass*> GetStoredClasses();

/// The objects of the whole tree that a user configures, and the relations between them.
void AddConfiguration(RowGroup& rows);

/// The results of the open project, the objects of the given classes, and the view definitions that result
/// nodes among them name. Deleted objects are left out.
void AddResults(RowGroup& rows, const std::set<common::ClassId>& classes);

}  // namespace orv::results
