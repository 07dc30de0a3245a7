#include "names.h"
#include "schema_parts.h"

namespace orv::app {

using framework::PropertyType;

namespace {

constexpr const char* kMacPattern = "^[0-9A-Fa-f]{2}([:-][0-9A-Fa-f]{2}){5}$";

/// A number of the text, exact for whole numbers of 64 bits.
Json ToNumber(const std::string& text) {
    return Json::parse(text);
}

Json MakeEnumeration(const CPropertyMeta& property, const CMetaClass& owner) {
    const std::vector<std::string> names = GetValueNames(property, owner);
    Json values = names;
    if (TakesNumbers(*property.enumeration)) {
        for (const std::string& name : names) values.push_back(*property.enumeration->FindValue(name));
    }
    return {{"enum", values}};
}

Json MakeOne(const CPropertyMeta& property, const CMetaClass& owner) {
    if (property.enumeration) return MakeEnumeration(property, owner);
    switch (property.type) {
        case PropertyType::Bool:
            return {{"type", "boolean"}};
        case PropertyType::Double: {
            Json schema{{"type", "number"}};
            if (property.minimum) schema["minimum"] = *property.minimum;
            if (property.maximum) schema["maximum"] = *property.maximum;
            return schema;
        }
        case PropertyType::String:
        case PropertyType::OutputFilePath:
            // YAML reads 5 and true as other types; they are accepted as texts, too.
            return {{"type", {"string", "number", "boolean"}}};
        case PropertyType::Ipv4:
            return {{"type", "string"}, {"format", "ipv4"}};
        case PropertyType::Ipv6:
            return {{"type", "string"}, {"format", "ipv6"}};
        case PropertyType::Mac:
            return {{"type", "string"}, {"pattern", kMacPattern}};
        case PropertyType::Handle:
            return {{"$ref", "#/$defs/reference"}};
        default:
            break;
    }
    const WholeRange range = GetWholeRange(property);
    return {{"type", "integer"}, {"minimum", ToNumber(range.low)}, {"maximum", ToNumber(range.high)}};
}

/// The default as a file would have it; null for none worth showing.
Json MakeDefault(const CPropertyMeta& property, const CMetaClass& owner) {
    const std::string text = GetDefaultText(property, owner);
    if (text.empty()) return nullptr;
    const bool plain = property.type == PropertyType::Bool || property.type == PropertyType::Double ||
                       IsWhole(property.type);
    if (plain && !property.enumeration) return Json::parse(text);
    return text;
}

std::string MakeDescription(const CPropertyMeta& property) {
    std::string text;
    if (const std::string* doc = property.FindAttribute("doc")) text = *doc;
    const auto targets = GetTargetClasses(property);
    if (!targets.empty())
        text += (text.empty() ? "Refers to: " : " Refers to: ") + JoinNames(DescribeClasses(targets)) + ".";
    if (const std::string* unit = property.FindAttribute("unit"))
        text += (text.empty() ? "Unit: " : " Unit: ") + *unit + ".";
    return text;
}

}  // namespace

Json MakePropertySchema(const CPropertyMeta& property, const CMetaClass& owner) {
    Json schema = MakeOne(property, owner);
    if (property.collection) schema = {{"anyOf", {{{"type", "array"}, {"items", schema}}, schema}}};
    const bool may_be_empty =
        property.nullable || property.collection || property.type == PropertyType::Handle ||
        property.type == PropertyType::String || property.type == PropertyType::OutputFilePath;
    if (may_be_empty) schema = {{"anyOf", {schema, {{"type", "null"}}}}};
    if (const std::string* title = property.FindAttribute("displayName")) schema["title"] = *title;
    const std::string description = MakeDescription(property);
    if (!description.empty()) schema["description"] = description;
    const Json default_value = MakeDefault(property, owner);
    if (!default_value.is_null()) schema["default"] = default_value;
    return schema;
}

}  // namespace orv::app
