#include "data_model_builder.h"

#include <map>
#include <set>

#include "orv/common/text.h"
#include "orv/framework/meta_class_manager.h"
#include "property_completion.h"

namespace orv::framework {

using common::EqualIgnoringCase;
using common::ToLower;

namespace {

class Builder {
  public:
    explicit Builder(const std::vector<DataModelFile>& files) : files_(files) {}

    BuiltDataModel Build() {
        CheckModelName();
        AddEnumerations();
        CollectClasses();
        for (const DataModelFile& file : files_) {
            for (const ClassDefinition& definition : file.classes) BuildClass(definition);
        }
        for (const DataModelFile& file : files_) {
            for (const ClassDefinition& definition : file.classes) CheckNeighbours(definition);
            for (const RelationDefinition& definition : file.relations) AddRelation(definition);
            for (const DefaultChildDefinition& definition : file.default_children) {
                model_.default_children.emplace_back(&FindClass(definition.parent),
                                                     &FindClass(definition.child));
            }
        }
        CheckDefaultChildren();
        return std::move(model_);
    }

  private:
    /// Throws when `key` has been seen before in the model.
    template <class Key>
    void CheckOnce(std::map<Key, SourceLine>& seen, const Key& key, const std::string& what,
                   const SourceLine& where) {
        const auto [first, is_new] = seen.emplace(key, where);
        if (!is_new) FailAt(where, what + " is declared twice, first at " + first->second.ToString());
    }

    void CheckModelName() {
        for (const DataModelFile& file : files_) {
            const NamedLine& first = files_.front().name;
            if (file.name.name != first.name) {
                FailAt(file.name.where,
                       "the data model is named " + first.name + " at " + first.where.ToString());
            }
        }
    }

    void AddEnumerations() {
        for (const DataModelFile& file : files_) {
            for (const EnumDefinition& definition : file.enumerations) {
                CheckOnce(enum_lines_, ToLower(definition.meta.name), "enumeration " + definition.meta.name,
                          definition.where);
                model_.enumerations.push_back(std::make_unique<CEnumMeta>(definition.meta));
                enums_[ToLower(definition.meta.name)] = model_.enumerations.back().get();
            }
        }
    }

    void CollectClasses() {
        const auto& active = CMetaClassManager::Instance();
        for (const DataModelFile& file : files_) {
            for (const ClassDefinition& definition : file.classes) {
                const auto& meta = definition.meta;
                CheckOnce(class_id_lines_, meta.id.GetValue(), "the id of class " + meta.name,
                          definition.where);
                CheckOnce(class_name_lines_, ToLower(meta.name), "class " + meta.name, definition.where);
                for (const CMetaClass* known : {active.GetClass(meta.id), active.GetClass(meta.name)}) {
                    if (known) {
                        FailAt(definition.where, "class " + meta.name +
                                                     ": an active data model has the class " +
                                                     known->GetName() + " with this id or name");
                    }
                }
                if (const auto same = enum_lines_.find(ToLower(meta.name)); same != enum_lines_.end()) {
                    FailAt(definition.where, "class " + meta.name + " has the name of the enumeration at " +
                                                 same->second.ToString());
                }
                definitions_[ToLower(meta.name)] = &definition;
                for (const PropertyDefinition& property : definition.properties) {
                    CheckOnce(property_lines_, property.meta.id.GetValue(),
                              "the id of property " + property.meta.name, property.where);
                }
            }
        }
    }

    /// A class of this model (built on the way) or of an active one.
    const CMetaClass& FindClass(const NamedLine& wanted) {
        if (const auto own = definitions_.find(ToLower(wanted.name)); own != definitions_.end()) {
            return BuildClass(*own->second);
        }
        const CMetaClass* active = CMetaClassManager::Instance().GetClass(wanted.name);
        if (!active) FailAt(wanted.where, "there is no class \"" + wanted.name + "\"");
        return *active;
    }

    const CMetaClass& BuildClass(const ClassDefinition& definition) {
        const std::string key = ToLower(definition.meta.name);
        if (const auto done = classes_.find(key); done != classes_.end()) return *done->second;
        if (!in_work_.insert(key).second) {
            FailAt(definition.where, "class " + definition.meta.name + " is its own base class");
        }
        CMetaClass::Definition meta = definition.meta;
        if (definition.base) meta.base = &FindClass(*definition.base);
        for (const NamedLine& parent : definition.parents) meta.parents.push_back(parent.name);
        for (const NamedLine& child : definition.children) meta.default_children.push_back(child.name);
        std::map<std::string, SourceLine> names;
        for (const PropertyDefinition& property : definition.properties) {
            const std::string& name = property.meta.name;
            CheckOnce(names, ToLower(name), "property " + name, property.where);
            if (meta.base && meta.base->FindProperty(name)) {
                FailAt(property.where, "property " + name + " is declared by a base class of " +
                                           definition.meta.name + " already");
            }
            meta.own_properties.push_back(CompleteProperty(property, FindEnumeration(property)));
        }
        model_.classes.push_back(std::make_unique<CMetaClass>(std::move(meta)));
        classes_[key] = model_.classes.back().get();
        return *model_.classes.back();
    }

    const CEnumMeta* FindEnumeration(const PropertyDefinition& property) {
        if (!property.enumeration) return nullptr;
        const auto found = enums_.find(ToLower(property.enumeration->name));
        if (found == enums_.end()) {
            FailAt(property.enumeration->where, "property " + property.meta.name +
                                                    ": there is no enumeration \"" +
                                                    property.enumeration->name + "\"");
        }
        return found->second;
    }

    void CheckNeighbours(const ClassDefinition& definition) {
        for (const NamedLine& parent : definition.parents) FindClass(parent);
        for (const NamedLine& child : definition.children) FindClass(child);
        for (const PropertyDefinition& property : definition.properties) {
            for (const NamedLine& target : property.of) FindClass(target);
            for (const auto& [class_name, values] : property.only) {
                FindClass(class_name);
                for (const NamedLine& value : values) {
                    if (!FindEnumeration(property)->FindValue(value.name))
                        FailAt(value.where,
                               "enumeration " + property.enumeration->name + " has no name " + value.name);
                }
            }
        }
    }

    /// Default children that include their own class, directly or through others, would never end.
    void CheckDefaultChildren() {
        std::set<const CMetaClass*> path;
        for (const DataModelFile& file : files_) {
            for (const ClassDefinition& definition : file.classes) {
                if (!definition.children.empty())
                    Descend(BuildClass(definition), path, definition.children.front());
            }
            for (const DefaultChildDefinition& definition : file.default_children) {
                Descend(FindClass(definition.parent), path, definition.child);
            }
        }
    }

    void Descend(const CMetaClass& meta_class, std::set<const CMetaClass*>& path, const NamedLine& child) {
        if (!path.insert(&meta_class).second) {
            FailAt(child.where, "default child " + child.name + " brings along an object of class " +
                                    meta_class.GetName() + " again, without end");
        }
        for (const CMetaClass* next : DefaultChildrenOf(meta_class, child.where)) Descend(*next, path, child);
        path.erase(&meta_class);
    }

    std::vector<const CMetaClass*> DefaultChildrenOf(const CMetaClass& meta_class, const SourceLine& where) {
        std::vector<const CMetaClass*> children;
        const auto& active = CMetaClassManager::Instance();
        if (active.GetClass(meta_class.GetClassId()) == &meta_class) {
            children = active.GetDefaultChildren(meta_class);
        } else {
            if (meta_class.GetBase()) children = DefaultChildrenOf(*meta_class.GetBase(), where);
            for (const std::string& name : meta_class.GetDefinition().default_children) {
                children.push_back(&FindClass({name, where}));
            }
        }
        for (const auto& [parent, child] : model_.default_children) {
            if (parent == &meta_class) children.push_back(child);
        }
        return children;
    }

    void AddRelation(const RelationDefinition& definition) {
        const auto& active = CRelationManager::Instance();
        CRelationMeta relation;
        relation.type = definition.type;
        relation.name = definition.name;
        relation.source = FindClass(definition.from).GetClassId();
        relation.target = FindClass(definition.to).GetClassId();
        relation.max_targets = definition.max_targets;
        relation.dirties_source = definition.dirties_source;
        const std::string label = "relation " + relation.name;

        const auto [named, is_new_name] =
            relation_types_.emplace(ToLower(relation.name), std::pair(relation.type, definition.where));
        const auto [typed, is_new_type] =
            relation_names_.emplace(relation.type, std::pair(relation.name, definition.where));
        const auto& [first_type, first_type_line] = named->second;
        const auto& [first_name, first_name_line] = typed->second;
        if (first_type != relation.type) {
            FailAt(definition.where, label + " has another id at " + first_type_line.ToString());
        }
        if (!EqualIgnoringCase(first_name, relation.name)) {
            FailAt(definition.where, label + ": the id is that of relation " + first_name + " at " +
                                         first_name_line.ToString());
        }
        const std::uint32_t active_type = active.FindType(relation.name);
        if (active_type != 0 && active_type != relation.type) {
            FailAt(definition.where, label + " has another id in an active data model");
        }
        const std::string active_name = active.GetTypeName(relation.type);
        if (!active_name.empty() && !EqualIgnoringCase(active_name, relation.name)) {
            FailAt(definition.where,
                   label + ": the id is that of relation " + active_name + " of an active data model");
        }
        for (const CRelationMeta* known : active.GetRelations()) {
            if (known->type == relation.type && known->source == relation.source &&
                known->target == relation.target) {
                FailAt(definition.where, label + " from " + definition.from.name + " to " +
                                             definition.to.name +
                                             " is declared by an active data model already");
            }
        }
        CheckOnce(relation_lines_,
                  std::tuple(relation.type, relation.source.GetValue(), relation.target.GetValue()),
                  label + " from " + definition.from.name + " to " + definition.to.name, definition.where);
        model_.relations.push_back(std::move(relation));
    }

    const std::vector<DataModelFile>& files_;
    BuiltDataModel model_;
    std::map<std::string, const CEnumMeta*> enums_;
    std::map<std::string, const ClassDefinition*> definitions_;
    std::map<std::string, const CMetaClass*> classes_;
    std::set<std::string> in_work_;
    std::map<std::string, SourceLine> enum_lines_;
    std::map<std::string, SourceLine> class_name_lines_;
    std::map<std::uint32_t, SourceLine> class_id_lines_;
    std::map<std::uint32_t, SourceLine> property_lines_;
    std::map<std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>, SourceLine> relation_lines_;
    std::map<std::string, std::pair<std::uint32_t, SourceLine>> relation_types_;
    std::map<std::uint32_t, std::pair<std::string, SourceLine>> relation_names_;
};

}  // namespace

BuiltDataModel BuildDataModel(const std::vector<DataModelFile>& files) {
    return Builder(files).Build();
}

}  // namespace orv::framework
