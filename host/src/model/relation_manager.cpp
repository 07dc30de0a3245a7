#include "orv/framework/relation_manager.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "orv/common/exceptions.h"
#include "orv/common/text.h"
#include "orv/framework/meta_class.h"

namespace orv::framework {

using common::EqualIgnoringCase;
using common::ToLower;

struct CRelationManager::Impl {
    std::vector<std::unique_ptr<CRelationMeta>> relations;
    std::unordered_map<std::uint32_t, std::vector<const CRelationMeta*>> by_type;
    std::map<std::string, std::uint32_t> type_by_name;
};

CRelationManager::CRelationManager() : impl_(std::make_unique<Impl>()) {}
CRelationManager::~CRelationManager() = default;

CRelationManager& CRelationManager::Instance() {
    static auto* manager = new CRelationManager;  // outlives every object
    return *manager;
}

const CRelationMeta* CRelationManager::FindRelation(const CMetaClass& source, const CMetaClass& target,
                                                    RelationType type) const {
    const auto found = impl_->by_type.find(type.type);
    if (found == impl_->by_type.end()) return nullptr;
    const CMetaClass& from = type.direction == 0 ? source : target;
    const CMetaClass& to = type.direction == 0 ? target : source;
    for (const CRelationMeta* relation : found->second) {
        if (from.IsTypeOf(relation->source) && to.IsTypeOf(relation->target)) return relation;
    }
    return nullptr;
}

std::uint32_t CRelationManager::FindType(std::string_view name) const {
    const auto found = impl_->type_by_name.find(ToLower(name));
    return found == impl_->type_by_name.end() ? 0 : found->second;
}

std::string CRelationManager::GetTypeName(std::uint32_t type) const {
    const auto found = impl_->by_type.find(type);
    return found == impl_->by_type.end() ? std::string() : found->second.front()->name;
}

std::vector<const CRelationMeta*> CRelationManager::GetRelations() const {
    std::vector<const CRelationMeta*> relations;
    for (const auto& relation : impl_->relations) relations.push_back(relation.get());
    return relations;
}

void CRelationManager::AddRelation(CRelationMeta relation) {
    const std::uint32_t known_type = FindType(relation.name);
    const std::string known_name = GetTypeName(relation.type);
    if (known_type != 0 && known_type != relation.type) {
        throw common::COrvLogicError("relation name " + relation.name + " belongs to another relation type");
    }
    if (!known_name.empty() && !EqualIgnoringCase(known_name, relation.name)) {
        throw common::COrvLogicError("relation " + relation.name + " has the type of " + known_name);
    }
    auto& same_type = impl_->by_type[relation.type];
    const bool twice = std::any_of(same_type.begin(), same_type.end(), [&](const CRelationMeta* known) {
        return known->source == relation.source && known->target == relation.target;
    });
    if (twice)
        throw common::COrvLogicError("relation " + relation.name + " is declared twice for the same classes");
    impl_->type_by_name[ToLower(relation.name)] = relation.type;
    impl_->relations.push_back(std::make_unique<CRelationMeta>(std::move(relation)));
    same_type.push_back(impl_->relations.back().get());
}

}  // namespace orv::framework
