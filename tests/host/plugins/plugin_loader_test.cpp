#include "orv/framework/plugin_loader.h"
#include "host/aids.h"
#include "orv/core/host_application.h"

namespace {

using namespace host_test;  // NOLINT: a test

std::string LoadError(const std::string& path) {
    return ThrownBy<COrvRunTimeError>([&] { CPluginLoader::Instance().Load(path); });
}

struct PluginLoaderTest : testing::Test {
    orv::core::CHostApplication host_{{ClockKind::Virtual}};
};

TEST_F(PluginLoaderTest, SaysWhatIsWrongWithAPlugin) {
    const std::string folder = TEST_PLUGINS;
    const std::pair<std::string, std::string> rows[] = {
        {"no_such_file.so", "No such file or directory"},
        {"plugin_without_entries.so",
         "entry point PluginVersion is missing; expected PluginRegister, PluginUnregister and PluginVersion, "
         "found none"},
        {"plugin_with_version_only.so",
         "entry point PluginRegister is missing; expected PluginRegister, PluginUnregister and "
         "PluginVersion, found PluginVersion"},
        {"plugin_refusing.so", "PluginRegister returned 7, expected 0"},
        {"plugin_with_second_factory.so", "class 0x00006000 (Project) has two factories"},
        {"plugin_with_unknown_model.so", "data model 0x7d000000: no file has this id in "},
        {"plugin_with_unknown_class.so", "no data model declares the class 0x7d001000 of a factory"}};
    for (const auto& [file, expected] : rows) {
        const std::string path = folder + "/" + file;
        EXPECT_THAT(LoadError(path),
                    testing::AllOf(testing::StartsWith("plug-in " + path + ": "), HasSubstr(expected)));
    }
    const Folder other;
    other.Write("no_library.so", "not a library");
    EXPECT_THAT(LoadError(other / "no_library.so"), HasSubstr("plug-in " + (other / "no_library.so") + ": "));
}

TEST_F(PluginLoaderTest, LoadsAGoodOneOnce) {
    const std::string path = std::string(TEST_PLUGINS) + "/plugin_good.so";
    const std::size_t before = CPluginLoader::Instance().GetPlugins().size();
    EXPECT_EQ(CPluginLoader::Instance().Load(path).version, "1.2.3");
    EXPECT_EQ(CPluginLoader::Instance().Load(path).path.filename(), "plugin_good.so");
    EXPECT_EQ(CPluginLoader::Instance().GetPlugins().size(), before + 1);
}

}  // namespace
