#include "value_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "names.h"
#include "orv/common/exceptions.h"
#include "orv/framework/meta_class_manager.h"

namespace orv::app {

using framework::CRelationManager;
using framework::PropertyType;

namespace {

std::string Quote(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

/// The values of a list; one value stands for a list of one.
std::vector<const SourceNode*> ListValues(const SourceNode& value) {
    if (!value.IsList()) return {&value};
    std::vector<const SourceNode*> items;
    for (const SourceNode& item : value.items) items.push_back(&item);
    return items;
}

class ValueReader {
  public:
    ValueReader(const ObjectEntry& entry, Plan& plan, MistakeList& mistakes)
        : plan_(plan),
          mistakes_(mistakes),
          index_(entry.object),
          key_(entry.entry->key),
          value_(entry.entry->value) {}

    void Read() {
        const CMetaClass* meta_class = plan_.At(index_).meta_class;
        if (!meta_class) return;  // that is a mistake already
        if (const CPropertyMeta* property = meta_class->FindProperty(key_.text)) {
            ReadProperty(*property);
            return;
        }
        const auto relations = GetRelationsOf(*meta_class);
        const auto relation =
            std::find_if(relations.begin(), relations.end(),
                         [this](const CRelationMeta* known) { return IsSameName(known->name, key_.text); });
        if (relation != relations.end()) {
            ReadRelation(**relation);
        } else {
            RefuseKey(*meta_class, relations);
        }
    }

  private:
    MistakeList::Where At(Position at) const { return {at, plan_.Describe(index_), key_.text}; }

    void RefuseKey(const CMetaClass& meta_class, const std::vector<const CRelationMeta*>& relations) {
        std::vector<std::string> known{"children"};
        for (const CPropertyMeta* property : meta_class.GetProperties()) {
            if (CanBeWritten(*property)) known.push_back(property->name);
        }
        for (const CRelationMeta* relation : relations) known.push_back(relation->name);
        std::vector<std::string> owners;
        for (const CRelationMeta* relation : GetRelations()) {
            if (IsSameName(relation->name, key_.text))
                owners.push_back(
                    framework::CMetaClassManager::Instance().GetClass(relation->source)->GetName());
        }
        if (!owners.empty()) {
            mistakes_.Add(At(key_.at), "this is a relation of " + JoinNames(owners) + " only");
            return;
        }
        const std::string nearest = FindNearestName(key_.text, known);
        mistakes_.Add(At(key_.at), "the class has neither property nor relation of this name",
                      nearest.empty() ? "one of " + JoinNames(known) : std::string(), nearest);
    }

    // --- Properties

    void ReadProperty(const CPropertyMeta& property) {
        auto& values = plan_.At(index_).values;
        const bool twice = std::any_of(values.begin(), values.end(), [&property](const PlannedValue& value) {
            return value.property == &property;
        });
        if (twice) {
            mistakes_.Add(At(key_.at), "the property is given twice");
        } else if (!CanBeWritten(property)) {
            mistakes_.Add(At(key_.at), property.read_only ? "the property is set by the host only"
                                                          : "the name stands behind the class");
        } else {
            PlannedValue value;
            value.property = &property;
            value.at = value_.at;
            if (property.type == PropertyType::Handle) {
                ReadHandles(property, value.references);
            } else {
                ReadText(property, value.text);
            }
            values.push_back(std::move(value));
        }
    }

    void ReadText(const CPropertyMeta& property, std::string& text) {
        const bool may_be_empty = property.nullable || property.collection ||
                                  property.type == PropertyType::String ||
                                  property.type == PropertyType::OutputFilePath;
        if (value_.IsNothing() && may_be_empty) return;
        if (!property.collection) {
            text = value_.text;
            CheckText(property, value_);
            return;
        }
        CPropertyMeta element = property;
        element.collection = false;
        for (const SourceNode* item : ListValues(value_)) {
            CheckText(element, *item);
            if (!text.empty()) text += ' ';
            text += property.type == PropertyType::String ? Quote(item->text) : item->text;
        }
    }

    void CheckText(const CPropertyMeta& property, const SourceNode& value) {
        if (value.IsText()) {
            try {
                property.Parse(value.text);
                return;
            } catch (const common::COrvRunTimeError&) {
                // What is expected says more than what the host says.
            }
        }
        std::vector<std::string> names;
        if (property.enumeration) {
            for (const auto& [name, number] : property.enumeration->values) names.push_back(name);
        }
        mistakes_.Add(At(value.at), value.DescribeWrong(), DescribeExpected(property),
                      value.IsText() ? FindNearestName(value.text, names) : std::string());
    }

    void ReadHandles(const CPropertyMeta& property, std::vector<PlannedReference>& references) {
        if (value_.IsNothing()) return;
        if (!property.collection && value_.IsList()) {
            mistakes_.Add(At(value_.at), "there is a list", DescribeExpected(property));
            return;
        }
        for (const SourceNode* item : ListValues(value_)) {
            if (const auto target = Resolve(*item)) references.push_back({*target, item->at});
        }
    }

    // --- Relations

    void ReadRelation(const CRelationMeta& meta) {
        auto& relations = plan_.At(index_).relations;
        const bool twice =
            std::any_of(relations.begin(), relations.end(),
                        [&meta](const PlannedRelation& relation) { return relation.type == meta.type; });
        if (twice) {
            mistakes_.Add(At(key_.at), "the relation is given twice", "one list of all its objects");
            return;
        }
        PlannedRelation relation{meta.type, meta.name, {}};
        if (!value_.IsNothing()) {
            for (const SourceNode* item : ListValues(value_)) ReadTarget(meta, *item, relation.targets);
        }
        if (meta.max_targets != 0 && relation.targets.size() > meta.max_targets) {
            mistakes_.Add(At(relation.targets[meta.max_targets].at), "these are too many objects",
                          fmt::format("at most {}", meta.max_targets));
        }
        relations.push_back(std::move(relation));
    }

    void ReadTarget(const CRelationMeta& meta, const SourceNode& item,
                    std::vector<PlannedReference>& targets) {
        const auto target = Resolve(item);
        if (!target) return;
        const CMetaClass& source_class = *plan_.At(index_).meta_class;
        const CMetaClass* target_class = plan_.At(*target).meta_class;
        const bool twice = std::any_of(targets.begin(), targets.end(), [&](const PlannedReference& known) {
            return known.target == *target;
        });
        if (twice) {
            mistakes_.Add(At(item.at), plan_.Describe(*target) + " is given twice");
            return;
        }
        if (target_class &&
            !CRelationManager::Instance().FindRelation(source_class, *target_class, {meta.type, 0})) {
            mistakes_.Add(At(item.at), plan_.Describe(*target) + " is of the wrong class",
                          JoinNames(GetTargetClasses(meta.type, source_class)));
            return;
        }
        targets.push_back({*target, item.at});
    }

    static std::vector<std::string> GetTargetClasses(std::uint32_t type, const CMetaClass& source) {
        std::vector<const CMetaClass*> classes;
        for (const CRelationMeta* relation : GetRelationsOf(source)) {
            if (relation->type == type)
                classes.push_back(framework::CMetaClassManager::Instance().GetClass(relation->target));
        }
        return GetNames(classes);
    }

    // --- References

    std::optional<std::size_t> Resolve(const SourceNode& item) {
        constexpr const char* kExpected = "an object's name or path";
        if (!item.IsText()) {
            mistakes_.Add(At(item.at), item.DescribeWrong(), kExpected);
            return std::nullopt;
        }
        const auto found = plan_.FindReferenced(item.text);
        if (found.size() == 1) return found.front();
        const std::string quoted = item.Describe();
        if (found.empty()) {
            mistakes_.Add(At(item.at), quoted + " names no object", kExpected,
                          FindNearestReference(item.text));
            return std::nullopt;
        }
        constexpr std::size_t kMostShown = 5;
        std::vector<std::string> paths;
        for (std::size_t i = 0; i < std::min(found.size(), kMostShown); ++i)
            paths.push_back(plan_.GetPath(found[i]));
        if (found.size() > kMostShown) paths.emplace_back("...");
        mistakes_.Add(At(item.at), fmt::format("{} names {} objects", quoted, found.size()),
                      "one of " + JoinNames(paths));
        return std::nullopt;
    }

    /// A name, or for a path the path of an object.
    std::string FindNearestReference(const std::string& text) const {
        if (text.find('/') == text.npos) return FindNearestName(text, plan_.GetNamesOf());
        std::vector<std::string> paths;
        for (std::size_t i = 0; i < plan_.Objects().size(); ++i) paths.push_back(plan_.GetPath(i));
        return FindNearestName(text, paths);
    }

    Plan& plan_;
    MistakeList& mistakes_;
    std::size_t index_;
    const SourceNode& key_;
    const SourceNode& value_;
};

}  // namespace

void ReadValues(const std::vector<ObjectEntry>& entries, Plan& plan, MistakeList& mistakes) {
    for (const ObjectEntry& entry : entries) ValueReader(entry, plan, mistakes).Read();
}

}  // namespace orv::app
