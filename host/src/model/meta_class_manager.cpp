#include "orv/framework/meta_class_manager.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <sstream>

#include "data_model_builder.h"
#include "orv/common/exceptions.h"
#include "orv/common/text.h"
#include "orv/framework/relation_manager.h"

namespace orv::framework {

using common::ToLower;

namespace fs = std::filesystem;

struct CMetaClassManager::Impl {
    std::vector<fs::path> folders;
    std::set<std::uint32_t> active;
    std::vector<std::uint32_t> in_work;
    std::map<ClassId, std::unique_ptr<CMetaClass>> classes;
    std::unordered_map<ClassId, const CMetaClass*> by_id;
    std::unordered_map<std::string, const CMetaClass*> by_name;
    std::vector<std::unique_ptr<CEnumMeta>> enumerations;
    std::vector<std::pair<const CMetaClass*, const CMetaClass*>> default_children;

    const CMetaClass& Add(std::unique_ptr<CMetaClass> meta_class) {
        const CMetaClass& added = *meta_class;
        by_id[added.GetClassId()] = &added;
        by_name[ToLower(added.GetName())] = &added;
        classes[added.GetClassId()] = std::move(meta_class);
        return added;
    }

    using Stamp = std::pair<fs::file_time_type, std::uintmax_t>;
    std::map<fs::path, std::pair<Stamp, std::uint32_t>>
        model_ids;  ///< of the files seen, as long as they stay as they were

    std::uint32_t FindModelId(const fs::path& file);
    std::vector<fs::path> FindFiles(std::uint32_t model_id);
};

namespace {

constexpr std::uint32_t kFrameworkModel = 0;

/// The folder that holds this library, where the host's own data models lie beside it.
fs::path FindLibraryFolder() {
    Dl_info info{};
    dladdr(reinterpret_cast<const void*>(&CMetaClassManager::Instance), &info);
    return info.dli_fname ? fs::weakly_canonical(info.dli_fname).parent_path() : fs::current_path();
}

std::vector<fs::path> DefaultFolders() {
    const char* configured = std::getenv("ORV_DATAMODEL_PATH");
    if (!configured) return {FindLibraryFolder() / "datamodel"};
    std::vector<fs::path> folders;
    std::istringstream list(configured);
    for (std::string folder; std::getline(list, folder, ':');) {
        if (!folder.empty()) folders.push_back(fs::weakly_canonical(folder));
    }
    return folders;
}

}  // namespace

CMetaClassManager::CMetaClassManager() : impl_(std::make_unique<Impl>()) {
    impl_->folders = DefaultFolders();
}
CMetaClassManager::~CMetaClassManager() = default;

CMetaClassManager& CMetaClassManager::Instance() {
    static auto* manager = new CMetaClassManager;  // outlives every object
    return *manager;
}

void CMetaClassManager::AddSearchFolder(const fs::path& folder) {
    const fs::path path = fs::weakly_canonical(folder);
    if (std::find(impl_->folders.begin(), impl_->folders.end(), path) == impl_->folders.end()) {
        impl_->folders.push_back(path);
    }
}

std::uint32_t CMetaClassManager::Impl::FindModelId(const fs::path& file) {
    const Stamp stamp{fs::last_write_time(file), fs::file_size(file)};
    const auto known = model_ids.find(file);
    if (known != model_ids.end() && known->second.first == stamp) return known->second.second;
    const std::uint32_t id = ReadDataModelId(file);
    model_ids[file] = {stamp, id};
    return id;
}

std::vector<fs::path> CMetaClassManager::Impl::FindFiles(std::uint32_t model_id) {
    std::set<fs::path> found;  // sorted, and a folder may lie within another
    for (const fs::path& folder : folders) {
        if (!fs::is_directory(folder)) continue;
        try {
            for (const auto& entry : fs::recursive_directory_iterator(folder)) {
                if (!entry.is_regular_file() || entry.path().extension() != ".yaml") continue;
                // A file whose id cannot be read could be part of the model, so it is an error and not passed
                // over.
                const fs::path file = fs::canonical(entry.path());
                if (FindModelId(file) == model_id) found.insert(file);
            }
        } catch (const fs::filesystem_error& error) {
            throw common::COrvRunTimeError("folder " + folder.string() + ": " + error.what());
        }
    }
    return {found.begin(), found.end()};
}

bool CMetaClassManager::IsActive(std::uint32_t data_model_id) const {
    return impl_->active.contains(data_model_id);
}

void CMetaClassManager::ActivateDataModel(std::uint32_t data_model_id) {
    if (IsActive(data_model_id)) return;
    auto& in_work = impl_->in_work;
    if (std::find(in_work.begin(), in_work.end(), data_model_id) != in_work.end()) {
        throw common::COrvRunTimeError(fmt::format("data model {:#010x} requires itself", data_model_id));
    }
    const std::vector<fs::path> paths = impl_->FindFiles(data_model_id);
    if (paths.empty()) {
        std::string folders;
        for (const fs::path& folder : impl_->folders)
            folders += (folders.empty() ? "" : ", ") + folder.string();
        throw common::COrvRunTimeError(
            fmt::format("data model {:#010x}: no file has this id in {}", data_model_id, folders));
    }
    std::vector<DataModelFile> files;
    for (const fs::path& path : paths) files.push_back(ReadDataModelFile(path));

    in_work.push_back(data_model_id);
    struct Leave {
        std::vector<std::uint32_t>& list;
        ~Leave() { list.pop_back(); }
    } leave{in_work};
    // Every class derives from Scriptable, so no model stands without the one that declares it.
    if (data_model_id != kFrameworkModel) ActivateDataModel(kFrameworkModel);
    for (const DataModelFile& file : files) {
        for (const auto& [required, where] : file.required_models) {
            try {
                ActivateDataModel(required);
            } catch (const common::COrvRunTimeError& error) {
                FailAt(where, std::string("required: ") + error.what());
            }
        }
    }

    BuiltDataModel model = BuildDataModel(files);
    for (auto& enumeration : model.enumerations) impl_->enumerations.push_back(std::move(enumeration));
    for (auto& meta_class : model.classes) impl_->Add(std::move(meta_class));
    for (auto& relation : model.relations) CRelationManager::Instance().AddRelation(std::move(relation));
    impl_->default_children.insert(impl_->default_children.end(), model.default_children.begin(),
                                   model.default_children.end());
    impl_->active.insert(data_model_id);
}

const CMetaClass* CMetaClassManager::GetClass(ClassId id) const {
    const auto found = impl_->by_id.find(id);
    return found == impl_->by_id.end() ? nullptr : found->second;
}

const CMetaClass* CMetaClassManager::GetClass(const std::string& name, const CMetaClass* base,
                                              bool required) const {
    const std::string lower = ToLower(name);
    auto found = impl_->by_name.find(lower);
    // C++ class names have a leading C that the data model leaves out.
    if (found == impl_->by_name.end() && lower.starts_with('c')) found = impl_->by_name.find(lower.substr(1));
    const bool fits = found != impl_->by_name.end() && (!base || found->second->IsTypeOf(*base));
    if (!fits && required)
        throw common::COrvRunTimeError("no active data model has the class \"" + name + "\"");
    return fits ? found->second : nullptr;
}

std::vector<const CMetaClass*> CMetaClassManager::GetClasses() const {
    std::vector<const CMetaClass*> classes;
    for (const auto& [id, meta_class] : impl_->classes) classes.push_back(meta_class.get());
    return classes;
}

std::size_t CMetaClassManager::GetClassCount() const {
    return impl_->classes.size();
}

std::vector<const CMetaClass*> CMetaClassManager::GetDefaultChildren(const CMetaClass& meta_class) const {
    std::vector<const CMetaClass*> children;
    if (meta_class.GetBase()) children = GetDefaultChildren(*meta_class.GetBase());
    for (const std::string& name : meta_class.GetDefinition().default_children) {
        children.push_back(GetClass(name, nullptr, true));
    }
    for (const auto& [parent, child] : impl_->default_children) {
        if (parent == &meta_class) children.push_back(child);
    }
    return children;
}

const CMetaClass& CMetaClassManager::AddClass(CMetaClass::Definition definition) {
    if (const CMetaClass* known = GetClass(definition.id)) {
        throw common::COrvLogicError("class " + definition.name + " cannot be added: " + known->GetName() +
                                     " has its id");
    }
    if (GetClass(definition.name))
        throw common::COrvLogicError("class " + definition.name + " is known already");
    return impl_->Add(std::make_unique<CMetaClass>(std::move(definition)));
}

}  // namespace orv::framework
