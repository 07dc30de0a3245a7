#include "object_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "names.h"
#include "orv/common/text.h"
#include "orv/framework/meta_class_manager.h"

namespace orv::app {

namespace {

constexpr const char* kObjectForm = "\"Class: name\", and the object's properties below";

bool IsInSequence(const Plan& plan, std::size_t parent) {
    const CMetaClass* meta_class = plan.At(parent).meta_class;
    return parent == Plan::kSequencer || (meta_class && IsCommand(*meta_class));
}

/// Classes that could be meant where a class cannot be written: those derived from it that can stand there.
std::vector<std::string> FindAlternatives(const CMetaClass& meta_class, const CMetaClass& parent) {
    std::vector<const CMetaClass*> classes = GetClassesBelow(parent);
    std::erase_if(classes, [&](const CMetaClass* other) { return !other->IsTypeOf(meta_class); });
    return GetNames(classes);
}

}  // namespace

bool HasKey(const CMetaClass& meta_class, const std::string& key) {
    const auto relations = GetRelationsOf(meta_class);
    return common::EqualIgnoringCase(key, kChildren) || meta_class.FindProperty(key) ||
           std::any_of(relations.begin(), relations.end(), [&key](const CRelationMeta* relation) {
               return common::EqualIgnoringCase(relation->name, key);
           });
}

void ObjectReader::ReadObjects(const SourceNode& list, std::size_t parent, const MistakeList::Where& where) {
    if (list.IsNothing()) return;
    if (!list.IsList()) {
        mistakes_.Add(where, list.DescribeWrong(), "a list of objects");
        return;
    }
    for (const SourceNode& item : list.items) ReadObject(item, parent, where);
}

void ObjectReader::ReadObject(const SourceNode& node, std::size_t parent, const MistakeList::Where& where) {
    if (!node.IsMap() || node.entries.empty()) {
        const std::string meant = InsertMissingBlank(node.text);
        mistakes_.Add({node.at, where.object, where.property},
                      meant.empty() ? node.Describe() + " is no object" : kMissingBlank,
                      meant.empty() ? kObjectForm : "\"" + meant + "\"");
        return;
    }
    const SourceEntry& first = FindClassEntry(node, where);
    const CMetaClass* meta_class = FindClass(first.key, parent);
    const std::string name = ReadName(first, parent);
    const std::size_t index = Place(meta_class, name, first.key.at, parent);
    bool has_children = false;
    for (const SourceEntry& entry : node.entries) {
        if (&entry == &first) continue;
        if (common::EqualIgnoringCase(entry.key.text, kChildren)) {
            if (std::exchange(has_children, true))
                mistakes_.Add({entry.key.at, plan_.Describe(index), entry.key.text},
                              "the key is given twice");
            ReadObjects(entry.value, index, {entry.value.at, plan_.Describe(index), entry.key.text});
        } else {
            entries_.push_back({index, &entry});
        }
    }
}

/// The first entry. Where that can only belong to an object whose class stands further down, this is a
/// mistake, and the object is read as it is meant.
const SourceEntry& ObjectReader::FindClassEntry(const SourceNode& node, const MistakeList::Where& where) {
    const SourceEntry& first = node.entries.front();
    const auto& classes = framework::CMetaClassManager::Instance();
    if (classes.GetClass(first.key.text)) return first;
    for (const SourceEntry& entry : node.entries) {
        const CMetaClass* meta_class = classes.GetClass(entry.key.text);
        if (!meta_class || !HasKey(*meta_class, first.key.text)) continue;
        mistakes_.Add({first.key.at, where.object, where.property},
                      fmt::format("the object does not begin with its class, which stands in line {}",
                                  entry.key.at.line),
                      fmt::format("\"{}:{}{}\" first", entry.key.text, entry.value.text.empty() ? "" : " ",
                                  entry.value.text));
        return entry;
    }
    return first;
}

const CMetaClass* ObjectReader::FindClass(const SourceNode& key, std::size_t parent) {
    const MistakeList::Where where{key.at, key.text};
    const auto& classes = framework::CMetaClassManager::Instance();
    if (const CMetaClass* meta_class = classes.GetClass(key.text)) {
        CheckPlace(*meta_class, where, parent);
        return meta_class;
    }
    RefuseClass(key, plan_.At(parent).meta_class);
    return nullptr;
}

void ObjectReader::RefuseClass(const SourceNode& key, const CMetaClass* parent_class) {
    if (const std::string meant = InsertMissingBlank(key.text); !meant.empty()) {
        mistakes_.Add({key.at, key.text}, kMissingBlank, "\"" + meant + "\"");
        return;
    }
    const auto [said, is_new] = unknown_.try_emplace({parent_class, key.text});
    auto& [expected, nearest] = said->second;
    if (is_new) {
        const auto below =
            parent_class ? GetNames(GetClassesBelow(*parent_class)) : std::vector<std::string>{};
        nearest = FindNearestName(key.text, below);
        if (nearest.empty()) {
            nearest =
                FindNearestName(key.text, GetNames(framework::CMetaClassManager::Instance().GetClasses()));
        }
        if (nearest.empty() && parent_class) expected = "one of " + JoinNames(below);
    }
    mistakes_.Add({key.at, key.text}, "no data model has this class", expected, nearest);
}

void ObjectReader::CheckPlace(const CMetaClass& meta_class, const MistakeList::Where& where,
                              std::size_t parent) {
    const CMetaClass* parent_class = plan_.At(parent).meta_class;
    if (!parent_class) return;
    if (meta_class.GetDefinition().is_abstract) {
        const auto alternatives = FindAlternatives(meta_class, *parent_class);
        mistakes_.Add(where, "the class is abstract",
                      alternatives.empty() ? std::string() : "one of " + JoinNames(alternatives));
    } else if (!CanBeWritten(meta_class)) {
        mistakes_.Add(where, "objects of this class are the host's own");
    } else if (IsCommand(meta_class) && !IsInSequence(plan_, parent)) {
        mistakes_.Add(where, "a command stands in the sequence only", "an object of the configuration");
    } else if (!IsCommand(meta_class) && IsInSequence(plan_, parent)) {
        mistakes_.Add(where, "this is no command", "a command");
    } else if (!CanStandBelow(meta_class, *parent_class)) {
        mistakes_.Add(where, "it cannot be below " + plan_.Describe(parent),
                      "a parent of class " + JoinNames(DescribeClasses(GetParentClasses(meta_class))));
    }
}

std::string ObjectReader::ReadName(const SourceEntry& first, std::size_t parent) {
    const SourceNode& value = first.value;
    if (value.IsNothing()) return {};
    const MistakeList::Where where{value.at, first.key.text};
    if (!value.IsText()) {
        mistakes_.Add(where, value.DescribeWrong(), "the object's name; its properties in the lines below");
        return {};
    }
    if (const auto sibling = plan_.FindChild(parent, value.text)) {
        mistakes_.Add(
            where,
            fmt::format("\"{}\" is the name of the {} in line {} already", value.text,
                        plan_.At(*sibling).meta_class ? plan_.At(*sibling).meta_class->GetName() : "object",
                        plan_.At(*sibling).at.line),
            "another name");
    }
    return value.text;
}

std::size_t ObjectReader::Place(const CMetaClass* meta_class, const std::string& name, Position at,
                                std::size_t parent) {
    if (meta_class) {
        for (const std::size_t index : plan_.At(parent).children) {
            PlannedObject& child = plan_.At(index);
            if (!child.comes_with_parent) break;  // these are the first
            if (child.meta_class != meta_class) continue;
            if (child.is_written) {
                mistakes_.Add({at, meta_class->GetName()},
                              fmt::format("{} has only one, which stands in line {} already",
                                          plan_.Describe(parent), child.at.line),
                              "all its properties in one place");
                return index;
            }
            child.is_written = true;
            child.at = at;
            if (!name.empty()) plan_.SetName(index, name);
            return index;
        }
    }
    PlannedObject object;
    const bool is_abstract = meta_class && meta_class->GetDefinition().is_abstract;
    (is_abstract ? object.abstract_class : object.meta_class) = meta_class;
    object.name = name;
    object.parent = parent;
    object.at = at;
    object.is_written = true;
    return plan_.Add(std::move(object));
}

}  // namespace orv::app
