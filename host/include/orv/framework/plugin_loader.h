// Loads plug-ins: shared libraries with three entry points.
#pragma once

#include <deque>
#include <filesystem>
#include <string>
#include <vector>

namespace orv::framework {

/// A plug-in exports, unmangled and without arguments: `int PluginRegister()`, `int PluginUnregister()` and
/// `const char* PluginVersion()`. Its static initialisers register its classes and validators; a `datamodel`
/// folder beside it is read along with the host's own.
struct PluginInfo {
    std::filesystem::path path;
    std::string version;
};

class CPluginLoader {
  public:
    static CPluginLoader& Instance();

    /// Loads and registers a plug-in. Loading the same file again does nothing. Throws COrvRunTimeError that
    /// names the file and says what is wrong: cannot be loaded, an entry point is missing (expected against
    /// found), its data model or a static registration is wrong, a factory for a class that no data model
    /// declares, or PluginRegister did not return 0. A plug-in stays until the process ends: the registries
    /// refer to its code.
    const PluginInfo& Load(const std::filesystem::path& path);
    const std::deque<PluginInfo>& GetPlugins() const { return plugins_; }

  private:
    std::deque<PluginInfo> plugins_;
};

}  // namespace orv::framework
