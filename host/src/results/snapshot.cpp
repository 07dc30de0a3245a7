#include "snapshot.h"

#include <map>

#include "orv/common/ids.h"
#include "orv/core/eot_result.h"
#include "orv/core/project.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/ids/framework_ids.h"

namespace orv::results {

using framework::CMetaClass;
using framework::CScriptable;
using framework::CScriptableLocator;
using framework::ScriptableVec;

namespace {

bool IsConfiguration(const CScriptable& object) {
    return !object.IsDeleted() && !object.IsTypeOf(ids::Command::CLASS) &&
           !object.IsTypeOf(ids::Result::CLASS) && !object.IsTypeOf(ids::EotResultNode::CLASS) &&
           !object.IsTypeOf(ids::EotResultViewDefinition::CLASS);
}

ScriptableVec Locate(common::ClassId id, const CScriptable* root) {
    ScriptableVec objects;
    CScriptableLocator::Instance().GetObjectsEx(objects, id, root, CScriptableLocator::LOCATE_SKIP_DELETED);
    return objects;
}

/// Types and names of the relations that objects of a class can be the source of.
std::map<std::uint32_t, std::string> FindRelationTypes(const CMetaClass& source) {
    std::map<std::uint32_t, std::string> types;
    for (const framework::CRelationMeta* relation : framework::CRelationManager::Instance().GetRelations()) {
        if (relation->type != common::kParentChild.type && source.IsTypeOf(relation->source)) {
            types[relation->type] = relation->name;
        }
    }
    return types;
}

}  // namespace

std::vector<const CMetaClass*> GetStoredClasses() {
    std::vector<const CMetaClass*> stored;
    for (const CMetaClass* meta_class : framework::CMetaClassManager::Instance().GetClasses()) {
        const bool is_stored =
            !meta_class->GetDefinition().is_abstract && !meta_class->IsTypeOf(ids::Command::CLASS);
        if (is_stored) stored.push_back(meta_class);
    }
    return stored;
}

void AddConfiguration(RowGroup& rows) {
    std::map<const CMetaClass*, std::map<std::uint32_t, std::string>> types_by_class;
    for (const CScriptable* object : Locate(CScriptable::CLASS_ID(), nullptr)) {
        if (!IsConfiguration(*object)) continue;
        rows.Add(*object);
        const auto [types, is_new] = types_by_class.try_emplace(object->GetMetaClass());
        if (is_new) types->second = FindRelationTypes(*object->GetMetaClass());
        for (const auto& [type, name] : types->second) {
            ScriptableVec targets;
            object->GetObjects(targets, CScriptable::CLASS_ID(), {type, 0});
            for (const CScriptable* target : targets) {
                if (IsConfiguration(*target))
                    rows.AddRelation(object->GetHandle(), target->GetHandle(), name);
            }
        }
    }
}

void AddResults(RowGroup& rows, const std::set<common::ClassId>& classes) {
    std::set<const CScriptable*> added;
    const auto add = [&](const CScriptable& object) {
        if (added.insert(&object).second) rows.Add(object);
    };
    if (const core::CProject* project = core::CProject::GetCurrentActiveInstance()) {
        for (const CScriptable* result : Locate(ids::Result::CLASS, project)) add(*result);
    }
    for (const common::ClassId id : classes) {
        for (const CScriptable* object : Locate(id, nullptr)) {
            add(*object);
            const auto* node = dynamic_cast<const core::CEotResultNode*>(object);
            const CScriptable* definition = node ? node->GetViewDefinition() : nullptr;
            if (definition) add(*definition);
        }
    }
}

}  // namespace orv::results
