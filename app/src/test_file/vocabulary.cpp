#include "vocabulary.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <sstream>

#include "names.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

using framework::CMetaClassManager;
using framework::CRelationManager;
using framework::PropertyType;

namespace {

template <class T>
WholeRange RangeOf() {
    return {std::to_string(std::numeric_limits<T>::min()), std::to_string(std::numeric_limits<T>::max())};
}

WholeRange GetTypeRange(PropertyType type) {
    switch (type) {
        case PropertyType::U8:
            return RangeOf<std::uint8_t>();
        case PropertyType::U16:
            return RangeOf<std::uint16_t>();
        case PropertyType::S16:
            return RangeOf<std::int16_t>();
        case PropertyType::S32:
            return RangeOf<std::int32_t>();
        case PropertyType::U64:
            return RangeOf<std::uint64_t>();
        case PropertyType::S64:
            return RangeOf<std::int64_t>();
        default:
            return RangeOf<std::uint32_t>();
    }
}

/// Of an attribute that may not be there.
std::vector<std::string> SplitWords(const std::string* text) {
    std::istringstream stream(text ? *text : std::string());
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string DescribeNumbers(const CPropertyMeta& property) {
    if (!property.minimum && !property.maximum) return "a number";
    if (!property.maximum) return fmt::format("a number of at least {}", *property.minimum);
    if (!property.minimum) return fmt::format("a number of at most {}", *property.maximum);
    return fmt::format("a number from {} to {}", *property.minimum, *property.maximum);
}

std::string DescribeOne(const CPropertyMeta& property, const CMetaClass& owner) {
    if (property.enumeration) return "one of " + JoinNames(GetValueNames(property, owner));
    switch (property.type) {
        case PropertyType::Bool:
            return "true or false";
        case PropertyType::Double:
            return DescribeNumbers(property);
        case PropertyType::String:
            return "a text";
        case PropertyType::OutputFilePath:
            return "the path of a file";
        case PropertyType::Ipv4:
            return "an IPv4 address";
        case PropertyType::Ipv6:
            return "an IPv6 address";
        case PropertyType::Mac:
            return "a MAC address";
        case PropertyType::Handle:
            return "an object's name or path";
        default:
            break;
    }
    const WholeRange range = GetWholeRange(property);
    return fmt::format("a whole number from {} to {}", range.low, range.high);
}

}  // namespace

const CMetaClass& GetProjectClass() {
    return *CMetaClassManager::Instance().GetClass(ids::Project::CLASS);
}

const CMetaClass& GetSequencerClass() {
    return *CMetaClassManager::Instance().GetClass(ids::Sequencer::CLASS);
}

bool IsCommand(const CMetaClass& meta_class) {
    return meta_class.IsTypeOf(ids::Command::CLASS);
}

bool CanBeWritten(const CMetaClass& meta_class) {
    const auto& definition = meta_class.GetDefinition();
    return !definition.is_abstract && !definition.is_singleton && !meta_class.IsTypeOf(ids::Result::CLASS) &&
           meta_class.GetFactory().make;
}

std::vector<const CMetaClass*> GetParentClasses(const CMetaClass& child) {
    std::vector<const CMetaClass*> parents;
    // The rule of the nearest class that has one applies.
    for (const CMetaClass* in_lineage = &child; in_lineage && parents.empty();
         in_lineage = in_lineage->GetBase()) {
        for (const std::string& name : in_lineage->GetDefinition().parents)
            parents.push_back(CMetaClassManager::Instance().GetClass(name));
    }
    return parents;
}

bool CanStandBelow(const CMetaClass& child, const CMetaClass& parent) {
    const bool in_sequence = IsCommand(parent) || parent.IsTypeOf(ids::Sequencer::CLASS);
    const std::vector<const CMetaClass*> allowed = GetParentClasses(child);
    return IsCommand(child) == in_sequence &&
           (allowed.empty() || std::any_of(allowed.begin(), allowed.end(), [&parent](const CMetaClass* one) {
                return parent.IsTypeOf(*one);
            }));
}

std::vector<const CMetaClass*> GetClassesBelow(const CMetaClass& parent) {
    std::vector<const CMetaClass*> classes = CMetaClassManager::Instance().GetClasses();
    std::erase_if(classes, [&parent](const CMetaClass* child) {
        return !CanBeWritten(*child) || !CanStandBelow(*child, parent) ||
               child->IsTypeOf(ids::IptvWizardFinishCommand::CLASS);
    });
    return classes;
}

std::vector<const CMetaClass*> GetOfferedClasses() {
    std::vector<const CMetaClass*> reached{&GetProjectClass(), &GetSequencerClass()};
    for (std::size_t i = 0; i < reached.size(); ++i) {
        for (const CMetaClass* below : GetClassesBelow(*reached[i]))
            if (std::find(reached.begin(), reached.end(), below) == reached.end()) reached.push_back(below);
    }
    reached.erase(reached.begin(), reached.begin() + 2);
    std::sort(reached.begin(), reached.end(),
              [](const CMetaClass* a, const CMetaClass* b) { return a->GetClassId() < b->GetClassId(); });
    return reached;
}

bool CanBeWritten(const CPropertyMeta& property) {
    return !property.read_only && property.id != ids::Scriptable::Name;
}

std::vector<const CRelationMeta*> GetRelations() {
    std::vector<const CRelationMeta*> relations = CRelationManager::Instance().GetRelations();
    std::erase_if(relations, [](const CRelationMeta* relation) {
        return relation->type == ids::relations::ParentChild.type ||
               relation->type == ids::relations::ResultChild.type;
    });
    return relations;
}

std::vector<const CRelationMeta*> GetRelationsOf(const CMetaClass& source) {
    std::vector<const CRelationMeta*> relations = GetRelations();
    std::erase_if(relations,
                  [&source](const CRelationMeta* relation) { return !source.IsTypeOf(relation->source); });
    return relations;
}

std::vector<const CMetaClass*> GetTargetClasses(std::uint32_t relation_type, const CMetaClass& source) {
    std::vector<const CMetaClass*> classes;
    for (const CRelationMeta* relation : GetRelationsOf(source)) {
        if (relation->type == relation_type)
            classes.push_back(CMetaClassManager::Instance().GetClass(relation->target));
    }
    return classes;
}

std::vector<const CMetaClass*> GetTargetClasses(const CPropertyMeta& property) {
    std::vector<const CMetaClass*> classes;
    for (const std::string& name : SplitWords(property.FindAttribute("of")))
        classes.push_back(CMetaClassManager::Instance().GetClass(name, nullptr, true));
    return classes;
}

std::vector<std::string> GetNames(const std::vector<const CMetaClass*>& classes) {
    std::vector<std::string> names;
    for (const CMetaClass* meta_class : classes) names.push_back(meta_class->GetName());
    return names;
}

std::vector<std::string> DescribeClasses(const std::vector<const CMetaClass*>& classes) {
    constexpr std::size_t kMostShown = 12;
    std::vector<std::string> texts;
    for (const CMetaClass* meta_class : classes) {
        std::string& text = texts.emplace_back(meta_class->GetName());
        if (!meta_class->GetDefinition().is_abstract) continue;
        std::vector<const CMetaClass*> meant = CMetaClassManager::Instance().GetClasses();
        std::erase_if(meant, [meta_class](const CMetaClass* other) {
            return !other->IsTypeOf(*meta_class) || !CanBeWritten(*other);
        });
        if (!meant.empty()) text += " (" + JoinNames(GetNames(meant), kMostShown) + ")";
    }
    return texts;
}

std::vector<std::string> GetValueNames(const CPropertyMeta& property, const CMetaClass& owner) {
    for (const CMetaClass* in_lineage = &owner; in_lineage; in_lineage = in_lineage->GetBase()) {
        if (const std::string* names = property.FindAttribute("only " + in_lineage->GetName()))
            return SplitWords(names);
    }
    std::vector<std::string> names;
    for (const auto& [name, value] : property.enumeration->values) names.push_back(name);
    return names;
}

bool TakesNumbers(const framework::CEnumMeta& enumeration) {
    return std::all_of(enumeration.values.begin(), enumeration.values.end(), [](const auto& entry) {
        const std::size_t digits = entry.first.find_last_not_of("0123456789") + 1;
        return digits == entry.first.size() || entry.first.substr(digits) == std::to_string(entry.second);
    });
}

bool IsValueOf(const CPropertyMeta& property, const CMetaClass& owner, const std::string& text) {
    const bool is_name = property.enumeration->FindValue(text).has_value();
    if (!is_name && !TakesNumbers(*property.enumeration)) return false;
    const auto names = GetValueNames(property, owner);
    const auto value = property.Parse(text);
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& name) { return property.Parse(name) == value; });
}

std::string DescribeExpected(const CPropertyMeta& property, const CMetaClass& owner) {
    return (property.collection ? "a list, each " : "") + DescribeOne(property, owner);
}

std::string GetDefaultText(const CPropertyMeta& property, const CMetaClass& owner) {
    if (property.collection || property.type == PropertyType::Handle) return {};
    const std::string text = property.Format(property.default_value);
    const bool is_others = property.enumeration && !text.empty() && !IsValueOf(property, owner, text);
    return is_others ? std::string() : text;
}

WholeRange GetWholeRange(const CPropertyMeta& property) {
    WholeRange range = GetTypeRange(property.type);
    if (property.minimum) range.low = fmt::format("{:.0f}", *property.minimum);
    if (property.maximum) range.high = fmt::format("{:.0f}", *property.maximum);
    return range;
}

bool IsWhole(PropertyType type) {
    return type >= PropertyType::U8 && type <= PropertyType::S64;
}

}  // namespace orv::app
