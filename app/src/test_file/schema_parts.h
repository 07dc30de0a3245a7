// Parts of the JSON schema of test files.
#pragma once

#include <nlohmann/json.hpp>

#include "vocabulary.h"

namespace orv::app {

using Json = nlohmann::ordered_json;

/// Schema of the values of a property in objects of a class.
Json MakePropertySchema(const CPropertyMeta& property, const CMetaClass& owner);
/// Definitions "simulation" (the section) and those that it refers to.
Json MakeSimulationDefinitions();
/// Schema of the section "sweep".
Json MakeSweepDefinition();
/// Schema of the section "live".
Json MakeLiveDefinition();
/// Schema of the section "expect".
Json MakeExpectDefinition();

}  // namespace orv::app
