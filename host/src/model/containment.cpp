#include "containment.h"

#include <algorithm>

#include "orv/framework/meta_class.h"
#include "orv/framework/meta_class_manager.h"

namespace orv::framework {

namespace {

/// The object at the top of the tree lies below nothing.
bool IsRoot(const CMetaClass& meta_class) {
    const CMetaClass::Definition& definition = meta_class.GetDefinition();
    return definition.is_singleton && definition.parents.empty();
}

}  // namespace

bool CanBeChildOf(const CMetaClass& child, const CMetaClass& parent) {
    for (const CMetaClass* in_lineage = &child; in_lineage; in_lineage = in_lineage->GetBase()) {
        const auto& allowed = in_lineage->GetDefinition().parents;
        if (allowed.empty()) continue;
        return std::any_of(allowed.begin(), allowed.end(), [&parent](const std::string& name) {
            return parent.IsTypeOf(std::string_view(name));
        });
    }
    return true;
}

Holders::Holders(const std::vector<common::ClassId>& wanted) {
    const std::vector<const CMetaClass*> classes = CMetaClassManager::Instance().GetClasses();
    // What is to be placed below others: the wanted classes first, then whatever can hold them.
    std::vector<const CMetaClass*> to_place;
    for (const CMetaClass* meta_class : classes) {
        const bool is_wanted = std::any_of(wanted.begin(), wanted.end(),
                                           [&](common::ClassId id) { return meta_class->IsTypeOf(id); });
        if (is_wanted) to_place.push_back(meta_class);
    }
    while (!to_place.empty()) {
        const CMetaClass* child = to_place.back();
        to_place.pop_back();
        if (IsRoot(*child)) continue;
        for (const CMetaClass* parent : classes) {
            if (!holders_.contains(parent) && CanBeChildOf(*child, *parent)) {
                holders_.insert(parent);
                to_place.push_back(parent);
            }
        }
    }
}

const Holders& Holders::Of(common::ClassId wanted) {
    static auto* known = new std::unordered_map<common::ClassId, Holders>;
    static std::size_t class_count = 0;
    // Classes are never taken away, and their rules never change.
    const std::size_t count = CMetaClassManager::Instance().GetClassCount();
    if (count != class_count) known->clear();
    class_count = count;
    return known->try_emplace(wanted, std::vector{wanted}).first->second;
}

}  // namespace orv::framework
