#include "value_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "names.h"
#include "orv/common/exceptions.h"
#include "orv/common/text.h"
#include "orv/framework/meta_class_manager.h"
#include "reference_reader.h"
#include "stack_check.h"

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

/// The values of a list; one value is a list of one.
std::vector<const SourceNode*> ListValues(const SourceNode& value) {
    if (!value.IsList()) return {&value};
    std::vector<const SourceNode*> items;
    for (const SourceNode& item : value.items) items.push_back(&item);
    return items;
}

class ValueReader {
  public:
    ValueReader(const ObjectEntry& entry, Plan& plan, ReferenceReader& references, MistakeList& mistakes)
        : plan_(plan),
          references_(references),
          mistakes_(mistakes),
          index_(entry.object),
          key_(entry.entry->key),
          value_(entry.entry->value) {}

    void Read() {
        if (!plan_.At(index_).meta_class) return;  // already reported as a mistake
        if (const CPropertyMeta* property = Class().FindProperty(key_.text)) {
            ReadProperty(*property);
            return;
        }
        const auto relations = GetRelationsOf(Class());
        const auto relation = std::find_if(
            relations.begin(), relations.end(),
            [this](const CRelationMeta* known) { return common::EqualIgnoringCase(known->name, key_.text); });
        if (relation != relations.end()) {
            ReadRelation(**relation);
        } else {
            RefuseKey(relations);
        }
    }

  private:
    MistakeList::Where At(Position at) const { return {at, plan_.Describe(index_), key_.text}; }
    const CMetaClass& Class() const { return *plan_.At(index_).meta_class; }

    void RefuseKey(const std::vector<const CRelationMeta*>& relations) {
        if (const std::string meant = InsertMissingBlank(key_.text); !meant.empty()) {
            mistakes_.Add(At(key_.at), kMissingBlank, "\"" + meant + "\"");
            return;
        }
        std::vector<std::string> known;
        if (key_.at.setting == 0) known.emplace_back(kChildren);
        for (const CPropertyMeta* property : Class().GetProperties()) {
            if (CanBeWritten(*property)) known.push_back(property->name);
        }
        for (const CRelationMeta* relation : relations) known.push_back(relation->name);
        std::vector<std::string> owners;
        for (const CRelationMeta* relation : GetRelations()) {
            if (common::EqualIgnoringCase(relation->name, key_.text))
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
                if (!property.enumeration || IsValueOf(property, Class(), value.text)) return;
            } catch (const common::COrvRunTimeError&) {
                // The expected value is clearer than the host's error.
            }
        }
        std::vector<std::string> names;
        if (property.enumeration) names = GetValueNames(property, Class());
        mistakes_.Add(At(value.at), value.DescribeWrong(), DescribeExpected(property, Class()),
                      value.IsText() ? FindNearestName(value.text, names) : std::string());
    }

    void ReadHandles(const CPropertyMeta& property, std::vector<PlannedReference>& references) {
        if (!property.collection && value_.IsList()) {
            mistakes_.Add(At(value_.at), "there is a list", DescribeExpected(property, Class()));
            return;
        }
        const auto allowed = GetTargetClasses(property);
        references = ReadTargets([&allowed](const CMetaClass& target) {
            const bool fits = std::any_of(allowed.begin(), allowed.end(),
                                          [&target](const CMetaClass* one) { return target.IsTypeOf(*one); });
            return fits ? std::vector<const CMetaClass*>{} : allowed;
        });
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
        const CMetaClass& source = Class();
        PlannedRelation relation{meta.type, meta.name, {}};
        relation.targets = ReadTargets([&](const CMetaClass& target) {
            const bool fits = CRelationManager::Instance().FindRelation(source, target, {meta.type, 0});
            return fits ? std::vector<const CMetaClass*>{} : GetTargetClasses(meta.type, source);
        });
        if (meta.max_targets != 0 && relation.targets.size() > meta.max_targets) {
            mistakes_.Add(At(relation.targets[meta.max_targets].at), "these are too many objects",
                          fmt::format("at most {}", meta.max_targets));
        }
        relations.push_back(std::move(relation));
    }

    // --- References

    /// The named objects, each once and of a class that `find_wrong` accepts: it returns the classes expected
    /// instead, or none.
    template <class FindWrong>
    std::vector<PlannedReference> ReadTargets(const FindWrong& find_wrong) {
        std::vector<PlannedReference> targets;
        if (value_.IsNothing()) return targets;
        std::unordered_set<std::size_t> known;
        for (const SourceNode* item : ListValues(value_)) {
            const auto target = references_.Resolve(
                *item, [&](const CMetaClass& target_class) { return find_wrong(target_class).empty(); },
                [&] { return At(item->at); });
            if (!target) continue;
            if (!known.insert(*target).second) {
                mistakes_.Add(At(item->at), plan_.Describe(*target) + " is given twice");
                continue;
            }
            const CMetaClass* target_class = plan_.At(*target).meta_class;
            const auto expected = target_class ? find_wrong(*target_class) : std::vector<const CMetaClass*>{};
            if (expected.empty()) {
                targets.push_back({*target, item->at});
            } else {
                mistakes_.Add(At(item->at), plan_.Describe(*target) + " is of the wrong class",
                              JoinNames(DescribeClasses(expected)));
            }
        }
        return targets;
    }

    Plan& plan_;
    ReferenceReader& references_;
    MistakeList& mistakes_;
    std::size_t index_;
    const SourceNode& key_;
    const SourceNode& value_;
};

}  // namespace

void ReadEntries(const std::vector<ObjectEntry>& entries, Plan& plan, MistakeList& mistakes) {
    ReferenceReader references(plan, mistakes);
    for (const ObjectEntry& entry : entries) ValueReader(entry, plan, references, mistakes).Read();
}

void ReadValues(const std::vector<ObjectEntry>& entries, Plan& plan, MistakeList& mistakes) {
    ReadEntries(entries, plan, mistakes);
    CheckStacks(plan, mistakes);
}

}  // namespace orv::app
