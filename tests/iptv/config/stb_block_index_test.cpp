// The index of STB blocks among the blocks of their port.
#include <gtest/gtest.h>

#include "config/IptvStbBlockConfig.h"
#include "orv/common/exceptions.h"
#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/framework/apply.h"
#include "orv/framework/scriptable_creator.h"
#include "test_project.h"
#include "thrown.h"

namespace {

using namespace orv::framework;  // NOLINT: a test
using orv::iptv::CIptvStbBlockConfig;
using Blocks = std::vector<CIptvStbBlockConfig*>;
using Handles = std::vector<std::uint32_t>;

constexpr orv::common::RelationType kPort{0x1000003, 0};

class StbBlockIndexTest : public testing::Test {
  protected:
    CScriptable& MakePort() { return *CScriptableCreator().Create("Port", &host_.GetProject()); }
    CScriptable& MakeDevice(CScriptable* port) {
        CScriptable& device = *CScriptableCreator().Create("EmulatedDevice", &host_.GetProject());
        if (port) device.AddObject(*port, kPort);
        return device;
    }
    CIptvStbBlockConfig& MakeBlock(CScriptable& device) {
        return CScriptableCreator().Make<CIptvStbBlockConfig>(&device);
    }
    static std::vector<CIptvStbBlockConfig*> BlocksOf(const CScriptable& port) {
        std::vector<CIptvStbBlockConfig*> blocks;
        CIptvStbBlockConfig::FindObjects(port.GetHandle(), blocks);
        return blocks;
    }

    orv::core::CHostApplication host_{{ClockKind::Virtual}};
};

TEST_F(StbBlockIndexTest, TheFirstGapIsFilled) {
    CScriptable& port = MakePort();
    CScriptable& device = MakeDevice(&port);
    CIptvStbBlockConfig& first = MakeBlock(device);
    CIptvStbBlockConfig& second = MakeBlock(device);
    CIptvStbBlockConfig& third = MakeBlock(device);
    EXPECT_EQ(first.GetBlockIndex(), 0);
    EXPECT_EQ(second.GetBlockIndex(), 1);
    EXPECT_EQ(third.GetBlockIndex(), 2);
    second.MarkDelete(true, true);
    EXPECT_EQ(second.GetBlockIndex(), 1) << "kept until it is destroyed";
    CIptvStbBlockConfig& fourth = MakeBlock(device);
    EXPECT_EQ(fourth.GetBlockIndex(), 1);
    EXPECT_EQ(MakeBlock(device).GetBlockIndex(), 3);
    SettleAfterApply(host_.GetProject());
    EXPECT_EQ(BlocksOf(port).size(), 4u);
    EXPECT_EQ(CIptvStbBlockConfig::GetObjectByIndex(port.GetHandle(), 1), &fourth);
    EXPECT_EQ(CIptvStbBlockConfig::GetObjectByIndex(port.GetHandle(), 9), nullptr);
}

TEST_F(StbBlockIndexTest, ABlockFollowsItsDevice) {
    CScriptable& port = MakePort();
    CScriptable& other = MakePort();
    CScriptable& device = MakeDevice(nullptr);
    CIptvStbBlockConfig& block = MakeBlock(device);
    EXPECT_FALSE(block.HasBlockIndex());
    std::vector<std::uint32_t> ports;
    CIptvStbBlockConfig::FindObjectHandles(ports);
    EXPECT_TRUE(ports.empty());

    MakeBlock(MakeDevice(&other));
    device.AddObject(port, kPort);
    EXPECT_EQ(block.GetBlockIndex(), 0);
    EXPECT_EQ(BlocksOf(port), std::vector<CIptvStbBlockConfig*>{&block});
    device.RemoveObject(port, kPort);
    EXPECT_FALSE(block.HasBlockIndex());
    EXPECT_TRUE(BlocksOf(port).empty());
    device.AddObject(other, kPort);
    EXPECT_EQ(block.GetBlockIndex(), 1);
    EXPECT_EQ(BlocksOf(other).back(), &block);
}

TEST_F(StbBlockIndexTest, ABlockMayChangeItsDevice) {
    CScriptable& port = MakePort();
    CScriptable& other = MakePort();
    CScriptable& first = MakeDevice(&port);
    CScriptable& second = MakeDevice(&other);
    CIptvStbBlockConfig& block = MakeBlock(first);
    ASSERT_TRUE(second.AddObject(block, orv::common::kParentChild));
    EXPECT_TRUE(BlocksOf(port).empty());
    EXPECT_EQ(BlocksOf(other), std::vector<CIptvStbBlockConfig*>{&block});
    first.RemoveObject(port, kPort);
    EXPECT_TRUE(block.HasBlockIndex()) << "its former device is no concern of it";
    second.RemoveObject(other, kPort);
    EXPECT_FALSE(block.HasBlockIndex());
    block.Delete();
    first.AddObject(port, kPort);  // does not notify the removed one
    second.AddObject(other, kPort);
}

TEST_F(StbBlockIndexTest, ABlockWhoseCreationFailsLeavesNothingBehind) {
    CScriptable& port = MakePort();
    CScriptable& device = MakeDevice(nullptr);
    struct Thrower {
        void Told(CScriptable&, CScriptable&, RelationType type, bool) {
            if (type == orv::common::kParentChild) throw std::runtime_error("no more children");
        }
    } thrower;
    const auto delegate = RelationChangeDelegate::To<&Thrower::Told>(&thrower);
    device.RegisterRelationChangeDelegate(delegate);
    EXPECT_THROW(MakeBlock(device), std::runtime_error);
    device.UnregisterRelationChangeDelegate(delegate);
    device.AddObject(port, kPort);
    EXPECT_TRUE(BlocksOf(port).empty());
}

TEST_F(StbBlockIndexTest, APortThatIsDeletedLeavesItsBlocksWithoutIndex) {
    CScriptable& port = MakePort();
    CIptvStbBlockConfig& block = MakeBlock(MakeDevice(&port));
    port.MarkDelete(true, true);
    EXPECT_FALSE(block.HasBlockIndex());
    SettleAfterApply(host_.GetProject());
    EXPECT_FALSE(block.HasBlockIndex());
}

TEST_F(StbBlockIndexTest, AFullPortGivesNoFurtherIndex) {
    constexpr std::size_t kMost = 65535;  // the largest index means that there is none
    const testing_aids::LogCapture log;
    CScriptable& port = MakePort();
    CScriptable* device = nullptr;
    for (std::size_t i = 0; i < kMost; ++i) {
        if (i % 50 == 0) device = &MakeDevice(&port);
        MakeBlock(*device);
    }
    ASSERT_EQ(BlocksOf(port).size(), kMost);
    EXPECT_EQ(BlocksOf(port).back()->GetBlockIndex(), kMost - 1);
    const std::size_t children = device->GetObjects("IptvStbBlockConfig", orv::common::kParentChild).size();
    EXPECT_EQ(
        testing_aids::ThrownBy<orv::common::COrvRunTimeError>([&] { MakeBlock(*device); }),
        device->Describe() + ": its port carries 65535 set-top-box blocks already, and cannot carry more");
    EXPECT_EQ(BlocksOf(port).size(), kMost);
    EXPECT_EQ(device->GetObjects("IptvStbBlockConfig", orv::common::kParentChild).size(), children);

    // Blocks that are moved here with their devices are on the port, without index.
    CScriptable& other = MakePort();
    Blocks moved;
    for (int i = 0; i < 3; ++i) {
        CScriptable& mover = MakeDevice(&other);
        moved.push_back(&MakeBlock(mover));
        mover.RemoveObject(other, kPort);
        mover.AddObject(port, kPort);
        EXPECT_FALSE(moved.back()->HasBlockIndex());
        EXPECT_EQ(moved.back()->GetBlockKey(), port.GetHandle());
    }
    const Blocks all = BlocksOf(port);
    ASSERT_EQ(all.size(), kMost + 3);
    EXPECT_EQ(Blocks(all.end() - 3, all.end()), moved);

    all[7]->MarkDelete(true, true);
    EXPECT_EQ(MakeBlock(*device).GetBlockIndex(), 7);
    CScriptable& mover = *moved[0]->GetParent();
    mover.RemoveObject(port, kPort);
    mover.AddObject(other, kPort);
    EXPECT_EQ(moved[0]->GetBlockIndex(), 0);
    moved[1]->Delete();
    EXPECT_EQ(BlocksOf(port).size(), kMost + 1);
    EXPECT_EQ(BlocksOf(port).back(), moved[2]);
}

}  // namespace
