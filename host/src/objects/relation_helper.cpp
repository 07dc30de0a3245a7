#include "orv/framework/relation_helper.h"

#include "orv/common/text.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable.h"

namespace orv::framework {

namespace {

bool TakeSuffix(std::string& text, const std::string& suffix) {
    if (text.size() <= suffix.size()) return false;
    const std::size_t start = text.size() - suffix.size();
    if (!common::EqualIgnoringCase(std::string_view(text).substr(start), suffix)) return false;
    text.resize(start);
    return true;
}

}  // namespace

CRelationHelper& CRelationHelper::Instance() {
    static CRelationHelper helper;
    return helper;
}

bool CRelationHelper::ParseRelation(const std::string& relationSpec, std::uint32_t& type,
                                    std::uint32_t& direction) const {
    std::string name = relationSpec;
    direction = 0;
    if (TakeSuffix(name, "-sources")) {
        direction = 1;
    } else {
        TakeSuffix(name, "-targets");
    }
    type = CRelationManager::Instance().FindType(name);
    return type != 0;
}

bool CRelationHelper::AddRelation(CScriptable* source, const std::string& relationSpec,
                                  const std::vector<std::uint32_t>& targetHandles, std::string& errorText) {
    errorText.clear();
    RelationType relation;
    if (!source) {
        errorText = "relation " + relationSpec + " has no source";
        return false;
    }
    if (!ParseRelation(relationSpec, relation.type, relation.direction)) {
        errorText = "no data model has a relation \"" + relationSpec + "\"";
        return false;
    }
    ScriptableVec added;
    for (const std::uint32_t handle : targetHandles) {
        CScriptable* target = CHandleRegistry::Instance().Find(handle);
        if (!target) {
            errorText = "relation " + relationSpec + " from " + source->Describe() +
                        ": no object has the handle " + std::to_string(handle);
        } else if (source->AddObject(*target, relation, &errorText)) {
            added.push_back(target);
            continue;
        }
        for (CScriptable* undone : added) source->RemoveObject(*undone, relation, false);
        return false;
    }
    return true;
}

}  // namespace orv::framework
