// The plug-in loaded by a host, as a user's host loads it.
#include <gtest/gtest.h>

#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/core/protocol.h"
#include "orv/core/result.h"
#include "orv/framework/logger.h"
#include "orv/framework/plugin_loader.h"
#include "orv/framework/scriptable_creator.h"

namespace {

using namespace orv::framework;  // NOLINT: a test
using orv::core::CHostApplication;
using orv::core::CProtocolModule;

TEST(PluginTest, LogsItsRegistrationAndGivesItsVersion) {
    auto& loggers = BLLLoggerFactory::GetInstance();
    loggers.SetLevel("content.mulvane.iptv", LogLevelType::Info);
    std::vector<LogRecord> records;
    const int listener =
        loggers.AddListener([&records](const LogRecord& record) { records.push_back(record); });
    CHostApplication host({ClockKind::Virtual});
    host.LoadPlugin(PLUGIN_PATH);
    loggers.RemoveListener(listener);
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].logger, "content.mulvane.iptv");
    EXPECT_EQ(records[0].level, LogLevelType::Info);
    EXPECT_EQ(records[0].text, "Registering Iptv Plugin ");
    EXPECT_EQ(records[0].file, "iptv/bll/src/init.cpp");
    EXPECT_NE(CPluginLoader::Instance().GetPlugins().back().version, "");
}

class LoadedPluginTest : public testing::Test {
  protected:
    LoadedPluginTest() { host_.LoadPlugin(PLUGIN_PATH); }
    CHostApplication host_{{ClockKind::Virtual}};
};

TEST_F(LoadedPluginTest, TheHostListsTheProtocol) {
    auto* protocol = CProtocolModule::Instance().FindProtocol("Iptv");
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(protocol->GetId(), 3);
    EXPECT_EQ(protocol->GetCategory(), "Mulvane");
    EXPECT_EQ(protocol->GetCategoryStartPriority(), 3);
    EXPECT_EQ(protocol->GetProtocolStartPriority(), 3);
    EXPECT_EQ(protocol->GetProtocolTransmitOSILayer(), 3);
    EXPECT_EQ(protocol->GetProtocolOperationOSILayer(), 3);
    EXPECT_TRUE(protocol->GetManagedProtocolConfigType().empty());
    std::vector<int> ids{9};
    protocol->GetFlappableObjectClassIds(ids);
    EXPECT_EQ(ids, std::vector<int>{9});
}

TEST_F(LoadedPluginTest, ManagedConfigurationIsEveryLiveStbBlock) {
    auto* protocol = CProtocolModule::Instance().FindProtocol("Iptv");
    std::vector<std::uint32_t> handles{7};
    protocol->GetManagedProtocolConfig(handles);
    EXPECT_EQ(handles, std::vector<std::uint32_t>{7}) << "no blocks, nothing added";

    CScriptableCreator creator;
    CScriptable* const project = &host_.GetProject();
    CScriptable* ports[] = {creator.Create("Port", project), creator.Create("Port", project)};
    std::vector<CScriptable*> blocks;
    for (CScriptable* port : {ports[1], ports[0], ports[1], ports[1]}) {
        CScriptable* device = creator.Create("EmulatedDevice", project);
        ASSERT_TRUE(device->AddObject(*port, {0x1000003, 0}));
        blocks.push_back(creator.Create("IptvStbBlockConfig", device));
        ASSERT_NE(blocks.back(), nullptr) << creator.GetErrorText();
    }
    blocks[2]->MarkDelete(true, true);
    handles.clear();
    protocol->GetManagedProtocolConfig(handles);
    EXPECT_EQ(handles, (std::vector<std::uint32_t>{blocks[1]->GetHandle(), blocks[0]->GetHandle(),
                                                   blocks[3]->GetHandle()}))
        << "ports ascending, index order within a port";
}

TEST_F(LoadedPluginTest, ClearingAProjectClearsItsResults) {
    CScriptableCreator creator;
    CScriptable* const project = &host_.GetProject();
    CScriptable* device = creator.Create("EmulatedDevice", project);
    std::vector<CScriptable*> results;
    for (const auto& [owner, result] :
         {std::pair{creator.Create("Port", project), "IptvPortResults"},
          {creator.Create("IptvViewedChannels", project), "IptvChannelResults"},
          {creator.Create("IptvViewingProfileConfig", project), "IptvViewingProfileResults"},
          {creator.Create("IptvStbBlockConfig", device), "IptvStbBlockResults"},
          {project, "IptvTestResults"}})
        results.push_back(creator.Create(result, owner));
    results.front()->Set("TotalPkts", "5");
    results.back()->Set("TestResult", "PASSED");
    const auto& registry = orv::core::CClearResultHandlerRegistry::Instance();
    registry.ClearResults({device->GetHandle(), 4711});
    EXPECT_FALSE(results.front()->IsDeleted()) << "only projects are cleared";
    registry.ClearResults({project->GetHandle()});
    for (const CScriptable* result : results) EXPECT_TRUE(result->IsDeleted()) << result->Describe();
    EXPECT_EQ(results.front()->Get("TotalPkts"), "0");
    EXPECT_EQ(results.back()->Get("TestResult"), "NONE");
}

TEST_F(LoadedPluginTest, ASecondHostUsesTheLoadedPlugin) {
    CScriptableCreator creator;
    CScriptable* device = creator.Create("EmulatedDevice", &host_.GetProject());
    EXPECT_NE(creator.Create("CIptvStbBlockConfig", device), nullptr) << creator.GetErrorText();
    EXPECT_EQ(creator.Create("IptvStbBlockConfig", &host_.GetProject()), nullptr) << "it needs a device";
}

}  // namespace
