// The plug-in loaded by a host, as a user's host loads it.
#include <gtest/gtest.h>

#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/core/protocol.h"
#include "orv/core/result.h"
#include "orv/framework/scriptable_creator.h"

namespace {

using namespace orv::framework;  // NOLINT: a test
using orv::core::CHostApplication, orv::core::CProtocolModule;

struct LoadedPluginTest : testing::Test {
    LoadedPluginTest() { host_.LoadPlugin(PLUGIN_PATH); }
    CScriptable* Create(const std::string& class_name, CScriptable* parent) {
        return CScriptableCreator().Create(class_name, parent);
    }
    CHostApplication host_{{ClockKind::Virtual}};
    CScriptable* const project_ = &host_.GetProject();
};

TEST_F(LoadedPluginTest, ManagedConfigurationIsEveryLiveStbBlock) {
    CScriptable* ports[] = {Create("Port", project_), Create("Port", project_)};
    std::vector<CScriptable*> blocks;
    for (CScriptable* port : {ports[1], ports[0], ports[1], ports[1]}) {
        CScriptable* device = Create("EmulatedDevice", project_);
        ASSERT_TRUE(device->AddObject(*port, {0x1000003, 0}));
        blocks.push_back(Create("IptvStbBlockConfig", device));
    }
    blocks[2]->MarkDelete(true, true);
    std::vector<std::uint32_t> handles{7};
    auto& protocol = *CProtocolModule::Instance().FindProtocol("Iptv");
    protocol.GetManagedProtocolConfig(handles);
    EXPECT_EQ(handles, (std::vector<std::uint32_t>{7, blocks[1]->GetHandle(), blocks[0]->GetHandle(),
                                                   blocks[3]->GetHandle()}))
        << "appended: ports ascending, index order within a port";
    EXPECT_EQ((std::vector{protocol.GetId(), protocol.GetCategoryStartPriority(),
                           protocol.GetProtocolStartPriority(), protocol.GetProtocolTransmitOSILayer(),
                           protocol.GetProtocolOperationOSILayer()}),
              std::vector<int>(5, 3));
}

TEST_F(LoadedPluginTest, ClearingAProjectClearsItsResults) {
    CScriptable* device = Create("EmulatedDevice", project_);
    const std::vector<CScriptable*> results{
        Create("IptvPortResults", Create("Port", project_)),
        Create("IptvChannelResults", Create("IptvViewedChannels", project_)),
        Create("IptvViewingProfileResults", Create("IptvViewingProfileConfig", project_)),
        Create("IptvStbBlockResults", Create("IptvStbBlockConfig", device)),
        Create("IptvTestResults", project_)};
    results.front()->Set("TotalPkts", "5");
    results.back()->Set("TestResult", "PASSED");
    const auto& registry = orv::core::CClearResultHandlerRegistry::Instance();
    registry.ClearResults({device->GetHandle(), 4711});
    EXPECT_FALSE(results.front()->IsDeleted()) << "only projects are cleared";
    registry.ClearResults({project_->GetHandle()});
    for (const CScriptable* result : results) EXPECT_TRUE(result->IsDeleted()) << result->Describe();
    EXPECT_EQ(results.front()->Get("TotalPkts"), "0");
    EXPECT_EQ(results.back()->Get("TestResult"), "NONE");
}

}  // namespace
