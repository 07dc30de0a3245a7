#include "schema.h"

#include <map>
#include <set>

#include "names.h"
#include "orv/framework/meta_class_manager.h"
#include "schema_parts.h"

namespace orv::app {

namespace {

Json MakeReference(const CMetaClass& meta_class) {
    return {{"$ref", "#/$defs/" + meta_class.GetName()}};
}

/// A list of objects that can stand below an object of a class; null when there are none.
Json MakeObjectList(const CMetaClass& parent) {
    Json classes = Json::array();
    for (const CMetaClass* child : GetClassesBelow(parent)) classes.push_back(MakeReference(*child));
    if (classes.empty()) return nullptr;
    return {{"type", {"array", "null"}}, {"items", {{"oneOf", classes}}}};
}

Json MakeRelations(const CMetaClass& source) {
    std::map<std::string, std::vector<std::string>> targets;
    std::set<std::string> single;
    for (const CRelationMeta* relation : GetRelationsOf(source)) {
        const auto* target = framework::CMetaClassManager::Instance().GetClass(relation->target);
        targets[relation->name].push_back(DescribeClasses({target}).front());
        if (relation->max_targets == 1) single.insert(relation->name);
    }
    Json relations = Json::object();
    for (const auto& [name, classes] : targets) {
        relations[name] = {{"$ref", single.contains(name) ? "#/$defs/reference" : "#/$defs/references"},
                           {"description", "Refers to: " + JoinNames(classes) + "."}};
    }
    return relations;
}

Json MakeClass(const CMetaClass& meta_class) {
    const auto& definition = meta_class.GetDefinition();
    Json properties = Json::object();
    properties[definition.name] = {{"type", {"string", "number", "boolean", "null"}},
                                   {"description", "Name of the object. " + definition.doc}};
    for (const CPropertyMeta* property : meta_class.GetProperties()) {
        if (CanBeWritten(*property)) properties[property->name] = MakePropertySchema(*property, meta_class);
    }
    properties.update(MakeRelations(meta_class));
    const Json children = MakeObjectList(meta_class);
    if (!children.is_null()) properties["children"] = children;

    Json schema{{"type", "object"}};
    if (!definition.display_name.empty()) schema["title"] = definition.display_name;
    if (!definition.doc.empty()) schema["description"] = definition.doc;
    schema["required"] = {definition.name};
    schema["additionalProperties"] = false;
    schema["properties"] = properties;
    return schema;
}

/// Defines the classes that can be written below a class, and in turn below those.
void DefineClassesBelow(const CMetaClass& parent, Json& definitions) {
    for (const CMetaClass* child : GetClassesBelow(parent)) {
        if (definitions.contains(child->GetName())) continue;
        definitions[child->GetName()] = MakeClass(*child);
        DefineClassesBelow(*child, definitions);
    }
}

Json MakeDefinitions() {
    Json definitions = MakeSimulationDefinitions();
    const Json name{
        {"type", {"string", "number", "boolean"}},
        {"description", "An object: its name, or its path \"outer/inner\" of names and classes."}};
    definitions["reference"] = name;
    definitions["references"] = {{"anyOf",
                                  {{{"$ref", "#/$defs/reference"}},
                                   {{"type", "array"}, {"items", {{"$ref", "#/$defs/reference"}}}},
                                   {{"type", "null"}}}}};
    DefineClassesBelow(GetProjectClass(), definitions);
    DefineClassesBelow(GetSequencerClass(), definitions);
    return definitions;
}

}  // namespace

std::string MakeJsonSchema() {
    Json project = MakeObjectList(GetProjectClass());
    project["description"] = "The objects of the test.";
    Json sequence = MakeObjectList(GetSequencerClass());
    sequence["description"] =
        "The commands of the test, in their order. Without this section the test is started, and its end "
        "waited for.";
    const Json schema{
        {"$schema", "https://json-schema.org/draft/2020-12/schema"},
        {"title", "IPTV test file"},
        {"type", "object"},
        {"required", {"project"}},
        {"additionalProperties", false},
        {"properties",
         {{"title",
           {{"type", {"string", "number", "boolean", "null"}}, {"description", "What the test is about."}}},
          {"project", project},
          {"sequence", sequence},
          {"sweep", MakeSweepDefinition()},
          {"simulation", {{"$ref", "#/$defs/simulation"}}},
          {"live", MakeLiveDefinition()},
          {"expect", MakeExpectDefinition()}}},
        {"$defs", MakeDefinitions()},
    };
    return schema.dump(2) + "\n";
}

}  // namespace orv::app
