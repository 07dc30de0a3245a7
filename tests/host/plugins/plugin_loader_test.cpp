#include <gtest/gtest.h>

#include <fstream>

#include "orv/common/exceptions.h"
#include "orv/core/host_application.h"
#include "orv/framework/plugin_loader.h"

namespace {

using orv::framework::ClockKind;
using orv::framework::CPluginLoader;

std::string LoadError(const std::string& path) {
    try {
        CPluginLoader::Instance().Load(path);
    } catch (const orv::common::COrvRunTimeError& error) {
        return error.what();
    }
    return "loaded";
}

class PluginLoaderTest : public testing::Test {
  protected:
    orv::core::CHostApplication host_{{ClockKind::Virtual}};
};

TEST_F(PluginLoaderTest, SaysWhatIsWrongWithAPlugin) {
    const std::string folder = TEST_PLUGINS;
    const struct {
        const char* file;
        const char* expected;
    } rows[] = {
        {"no_such_file.so", "No such file or directory"},
        {"plugin_without_entries.so",
         "entry point PluginVersion is missing; expected PluginRegister, PluginUnregister and PluginVersion, "
         "found none"},
        {"plugin_with_version_only.so",
         "entry point PluginRegister is missing; expected PluginRegister, PluginUnregister and "
         "PluginVersion, found "
         "PluginVersion"},
        {"plugin_refusing.so", "PluginRegister returned 7, expected 0"},
        {"plugin_with_second_factory.so", "class 0x00006000 (Project) has two factories"},
        {"plugin_with_unknown_model.so", "data model 0x7d000000: no file has this id in "},
        {"plugin_with_unknown_class.so", "no data model declares the class 0x7d001000 of a factory"},
    };
    for (const auto& row : rows) {
        const std::string error = LoadError(folder + "/" + row.file);
        EXPECT_EQ(error.find("plug-in " + folder + "/" + row.file + ": "), 0u) << error;
        EXPECT_NE(error.find(row.expected), std::string::npos) << error;
    }
}

TEST_F(PluginLoaderTest, RefusesAFileThatIsNoLibrary) {
    const std::string path = std::filesystem::canonical(testing::TempDir()).string() + "/no_library.so";
    std::ofstream(path) << "not a library";
    EXPECT_NE(LoadError(path).find("plug-in " + path + ": "), std::string::npos);
}

TEST_F(PluginLoaderTest, LoadsAGoodOneOnce) {
    const std::string path = std::string(TEST_PLUGINS) + "/plugin_good.so";
    const std::size_t before = CPluginLoader::Instance().GetPlugins().size();
    EXPECT_EQ(CPluginLoader::Instance().Load(path).version, "1.2.3");
    EXPECT_EQ(CPluginLoader::Instance().Load(path).path.filename(), "plugin_good.so");
    EXPECT_EQ(CPluginLoader::Instance().GetPlugins().size(), before + 1);
}

}  // namespace
