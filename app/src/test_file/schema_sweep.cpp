#include "schema_parts.h"
#include "sweep.h"

namespace orv::app {

namespace {

Json MakeRange(const char* description, bool has_repetitions) {
    Json members{{"from", {{"type", "number"}, {"description", "The first value."}}},
                 {"to", {{"type", "number"}, {"description", "No value is above it."}}},
                 {"step",
                  {{"type", "number"},
                   {"exclusiveMinimum", 0},
                   {"default", 1},
                   {"description", "From one value to the next."}}}};
    if (has_repetitions)
        members["repetitions"] = {{"type", "integer"},
                                  {"minimum", 1},
                                  {"maximum", kMostRepetitions},
                                  {"default", SweepSearch().repetitions},
                                  {"description", "Runs of a value, all of which have to pass."}};
    return {{"type", "object"},
            {"description", description},
            {"additionalProperties", false},
            {"required", {"from", "to"}},
            {"properties", members}};
}

}  // namespace

Json MakeSweepDefinition() {
    const Json list{
        {"type", "array"}, {"minItems", 1}, {"description", "The values, as the property has them."}};
    const Json search{{"type", "object"},
                      {"additionalProperties", false},
                      {"required", {"search"}},
                      {"properties", {{"search", MakeRange("Finds the highest value that passes.", true)}}}};
    return {
        {"type", {"object", "null"}},
        {"description",
         "One or two properties that vary, by reference: \"Homes/DeviceCount\". The test is run for each "
         "value, of two properties for each combination."},
        {"maxProperties", 2},
        {"propertyNames", {{"pattern", "^.+/[^/]+$"}}},
        {"additionalProperties", {{"oneOf", {list, MakeRange("All values of a range.", false), search}}}}};
}

}  // namespace orv::app
