#include "orv/framework/plugin_loader.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>

#include "orv/common/exceptions.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"

namespace orv::framework {

namespace {

[[noreturn]] void Fail(const std::filesystem::path& path, const std::string& reason) {
    throw common::COrvRunTimeError("plug-in " + path.string() + ": " + reason);
}

template <class Function>
Function* FindEntry(void* library, const std::filesystem::path& path, const char* name) {
    void* symbol = dlsym(library, name);
    if (symbol) return reinterpret_cast<Function*>(symbol);
    std::string found;
    for (const char* other : {"PluginRegister", "PluginUnregister", "PluginVersion"}) {
        if (dlsym(library, other)) found += (found.empty() ? "" : ", ") + std::string(other);
    }
    Fail(path, std::string("entry point ") + name +
                   " is missing; expected PluginRegister, PluginUnregister and PluginVersion, found " +
                   (found.empty() ? "none" : found));
}

void FailOnRegistrationErrors(const std::filesystem::path& path) {
    const std::vector<std::string> errors = CStaticRegistration::TakeErrors();
    if (!errors.empty()) Fail(path, fmt::format("{}", fmt::join(errors, "; ")));
}

/// A factory that the library registered for a class without declaration would never be used.
void FailOnUndeclaredClass(const std::filesystem::path& path, const std::vector<ClassId>& known_before) {
    for (const ClassId id : CMetaClass::GetClassesWithFactory()) {
        const bool is_new = !std::binary_search(known_before.begin(), known_before.end(), id);
        if (!is_new || CMetaClassManager::Instance().GetClass(id)) continue;
        char number[16];
        std::snprintf(number, sizeof number, "0x%08x", id.GetValue());
        Fail(path, std::string("no data model declares the class ") + number + " of a factory");
    }
}

}  // namespace

CPluginLoader& CPluginLoader::Instance() {
    static CPluginLoader loader;
    return loader;
}

const PluginInfo& CPluginLoader::Load(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::canonical(path, error);
    if (error) Fail(path, error.message());
    const auto known = std::find_if(plugins_.begin(), plugins_.end(),
                                    [&file](const PluginInfo& plugin) { return plugin.path == file; });
    if (known != plugins_.end()) return *known;

    const std::filesystem::path folder = file.parent_path() / "datamodel";
    if (std::filesystem::is_directory(folder)) CMetaClassManager::Instance().AddSearchFolder(folder);
    CStaticRegistration::TakeErrors();
    const std::vector<ClassId> with_factory = CMetaClass::GetClassesWithFactory();
    void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) Fail(file, dlerror());
    FailOnRegistrationErrors(file);
    FailOnUndeclaredClass(file, with_factory);
    auto* plugin_version = FindEntry<const char*()>(library, file, "PluginVersion");
    auto* plugin_register = FindEntry<int()>(library, file, "PluginRegister");
    FindEntry<int()>(library, file, "PluginUnregister");  // called by nobody: plug-ins stay to the end

    const char* version = plugin_version();
    if (!version || !*version) Fail(file, "PluginVersion gives no version");
    const int result = plugin_register();
    if (result != 0) Fail(file, "PluginRegister returned " + std::to_string(result) + ", expected 0");
    plugins_.push_back({file, version});
    return plugins_.back();
}

}  // namespace orv::framework
