// What commands with a list of objects have in common.
#pragma once

#include <string>
#include <vector>

#include "orv/framework/command.h"

namespace orv::core {

/// Makes a new command's list name the open project, so that the command covers all objects until it is
/// narrowed.
void CoverWholeProject(framework::CCommand& command, framework::PropId list);

/// "a, b and 3 more": names of objects for a status text, at most `most` of them.
std::string JoinNames(const framework::ScriptableVec& objects, std::size_t most = 5);

}  // namespace orv::core
