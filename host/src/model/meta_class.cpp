#include "orv/framework/meta_class.h"

#include <dlfcn.h>

#include <algorithm>
#include <bit>
#include <filesystem>

#include "orv/common/exceptions.h"
#include "orv/common/text.h"
#include "orv/framework/meta_class_manager.h"

namespace orv::framework {

using common::ToLower;

namespace {

std::unordered_map<ClassId, CMetaClass::Factory>& Factories() {
    // Never destroyed: it is filled by static initialisers of any library, in any order.
    static auto* factories = new std::unordered_map<ClassId, CMetaClass::Factory>;
    return *factories;
}

/// The file name of the program or library that a factory's code lies in.
std::string FindLibraryName(MakeFunction make) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(make), &info) == 0 || !info.dli_fname)
        return "an unknown library";
    return std::filesystem::path(info.dli_fname).filename().string();
}

std::uint32_t Hash(std::uint32_t id) {
    return (id * 0x9e3779b1u) >> 16;
}

}  // namespace

CMetaClass::CMetaClass(Definition definition) : definition_(std::move(definition)) {
    if (definition_.base) {
        properties_ = definition_.base->properties_;
        lineage_ = definition_.base->lineage_;
    }
    lineage_.push_back(definition_.id);
    for (CPropertyMeta& property : definition_.own_properties) {
        property.slot = properties_.size();
        properties_.push_back(&property);
    }
    slot_by_id_.resize(std::bit_ceil(properties_.size() * 2 + 1));
    const std::size_t mask = slot_by_id_.size() - 1;
    for (const CPropertyMeta* property : properties_) {
        defaults_.push_back(property->default_value);
        slot_by_name_.emplace(ToLower(property->name), property->slot);
        std::size_t at = Hash(property->id.GetValue()) & mask;
        while (slot_by_id_[at].id != 0) at = (at + 1) & mask;
        slot_by_id_[at] = {property->id.GetValue(), static_cast<std::uint32_t>(property->slot)};
    }
}

bool CMetaClass::IsTypeOf(ClassId id) const {
    return std::find(lineage_.rbegin(), lineage_.rend(), id) != lineage_.rend();
}

bool CMetaClass::IsTypeOf(const CMetaClass& other) const {
    const std::size_t depth = other.lineage_.size() - 1;
    return depth < lineage_.size() && lineage_[depth] == other.definition_.id;
}

bool CMetaClass::IsTypeOf(std::string_view class_name) const {
    const CMetaClass* wanted = CMetaClassManager::Instance().GetClass(std::string(class_name));
    return wanted && IsTypeOf(*wanted);
}

const CPropertyMeta* CMetaClass::FindProperty(PropId id) const {
    const std::size_t mask = slot_by_id_.size() - 1;
    for (std::size_t at = Hash(id.GetValue()) & mask; slot_by_id_[at].id != 0; at = (at + 1) & mask) {
        if (slot_by_id_[at].id == id.GetValue()) return properties_[slot_by_id_[at].slot];
    }
    return nullptr;
}

const CPropertyMeta* CMetaClass::FindProperty(const std::string& name) const {
    const auto found = slot_by_name_.find(ToLower(name));
    return found == slot_by_name_.end() ? nullptr : properties_[found->second];
}

CMetaClass::Factory CMetaClass::GetFactory() const {
    for (const CMetaClass* in_lineage = this; in_lineage; in_lineage = in_lineage->GetBase()) {
        const auto found = Factories().find(in_lineage->GetClassId());
        if (found != Factories().end()) return found->second;
    }
    return {};
}

void CMetaClass::InitMakeDestroyFuncs(ClassId id, MakeFunction make, DestroyFunction destroy) {
    const auto [known, is_new] = Factories().emplace(id, Factory{make, destroy});
    if (is_new) return;
    const CMetaClass* meta_class = CMetaClassManager::Instance().GetClass(id);
    char number[16];
    std::snprintf(number, sizeof number, "0x%08x", id.GetValue());
    throw common::COrvLogicError(std::string("class ") + number +
                                 (meta_class ? " (" + meta_class->GetName() + ")" : "") +
                                 " has two factories: one of " + FindLibraryName(known->second.make) +
                                 " and one of " + FindLibraryName(make));
}

std::vector<ClassId> CMetaClass::GetClassesWithFactory() {
    std::vector<ClassId> ids;
    for (const auto& [id, factory] : Factories()) ids.push_back(id);
    std::sort(ids.begin(), ids.end());
    return ids;
}

}  // namespace orv::framework
