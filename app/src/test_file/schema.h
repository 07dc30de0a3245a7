// The JSON schema of test files, with which an editor completes and checks them.
#pragma once

#include <string>

namespace orv::app {

/// JSON schema (draft 2020-12) of the files that TestFile takes with the data models that are active. Names
/// are in the models' spelling: what differs in case only, or refers to objects, only TestFile judges.
std::string MakeJsonSchema();

}  // namespace orv::app
