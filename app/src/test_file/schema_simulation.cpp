#include <limits>

#include "schema_parts.h"
#include "simulation.h"

namespace orv::app {

namespace {

Json MakeObject(Json properties) {
    return {{"type", "object"}, {"additionalProperties", false}, {"properties", std::move(properties)}};
}

/// The same, or nothing.
Json MakeSection(Json properties) {
    Json section = MakeObject(std::move(properties));
    section["type"] = {"object", "null"};
    return section;
}

/// By names of objects, which the schema cannot know.
Json MakeByName(const char* description, Json value) {
    return {{"type", {"object", "null"}},
            {"description", description},
            {"additionalProperties", std::move(value)}};
}

Json MakeWhole(std::uint64_t least, std::uint64_t most, const char* description) {
    return {{"type", "integer"}, {"minimum", least}, {"maximum", most}, {"description", description}};
}

Json MakeDelay(const char* doc) {
    const Json milliseconds{{"type", "number"}, {"minimum", 0}, {"maximum", kLongestDelayMs}};
    Json forms = Json::array({milliseconds});
    for (const DistributionForm& form : GetDistributionForms()) {
        const Json numbers{{"type", "array"},
                           {"items", milliseconds},
                           {"minItems", 2},
                           {"maxItems", 2},
                           {"description", form.parameters}};
        Json one = MakeObject({{form.name, numbers}});
        one["required"] = {form.name};
        forms.push_back(one);
    }
    return {{"description", std::string(doc) + " Unit: ms."}, {"oneOf", forms}};
}

Json MakeBehaviour() {
    Json members = Json::object();
    for (const DelayMember& member : GetDelayMembers()) members[member.name] = MakeDelay(member.doc);
    for (const NumberMember& member : GetNumberMembers()) {
        Json schema{{"description", member.doc}};
        if (member.kind == NumberMember::Kind::Fraction) {
            const Json percent{{"type", "string"}, {"pattern", "^[0-9.]+ *%$"}};
            schema["oneOf"] = {{{"type", "number"}, {"minimum", 0}, {"maximum", 1}}, percent};
        } else {
            schema["type"] = "number";
            schema["exclusiveMinimum"] = 0;
            schema["maximum"] = member.most;
        }
        members[member.name] = schema;
    }
    return MakeSection(members);
}

Json MakeFault() {
    Json kinds = Json::array();
    for (const FaultForm& form : GetFaultForms()) {
        Json members{{"kind", {{"const", form.name}, {"description", form.doc}}}};
        Json required{"kind"};
        if (form.takes_request) {
            members["request"] = {{"enum", il::GetRequestNames()},
                                  {"description", "Which request, without its message set."}};
        }
        constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
        members["occurrence"] = MakeWhole(1, kMost, "Ordinal of the match, from 1.");
        if (form.takes_delay) {
            members["delay_ms"] = MakeWhole(1, kLongestDelayMs, "How late.");
            required.push_back("delay_ms");
        }
        Json fault = MakeObject(members);
        fault["required"] = required;
        kinds.push_back(fault);
    }
    return {{"oneOf", kinds}};
}

}  // namespace

Json MakeSimulationDefinitions() {
    const Json behaviour{{"$ref", "#/$defs/network_behaviour"}};
    Json schema = MakeSection({
        {"seed", MakeWhole(0, std::numeric_limits<std::uint64_t>::max(), "Of all that is drawn at random.")},
        {"defaults", behaviour},
        {"ports", MakeByName("By name of the port.", behaviour)},
        {"channel_blocks", MakeByName("By name of the channel block; goes before the port's, and what it "
                                      "does not say is as the port has it.",
                                      behaviour)},
        {"faults", MakeByName("By name of the port.", {{"type", "array"}, {"items", MakeFault()}})},
    });
    schema["description"] = "What the simulated network and the software ports do.";
    return {{"simulation", schema}, {"network_behaviour", MakeBehaviour()}};
}

}  // namespace orv::app
