// The index of STB blocks among the blocks of their port.
#include "thrown.h"
#include "validation_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using iptv::CIptvStbBlockConfig;
using Blocks = std::vector<CIptvStbBlockConfig*>;

constexpr auto kPort = relations::AffiliationPort;

struct StbBlockIndexTest : testing::Test {
    CScriptable& MakeDevice(CScriptable* on) {
        auto& device = CScriptableCreator().Make<core::CEmulatedDevice>(&project.Root());
        if (on) TestProject::Relate(device, *on, kPort);
        return device;
    }
    CIptvStbBlockConfig& MakeBlock(CScriptable& device) {
        return CScriptableCreator().Make<CIptvStbBlockConfig>(&device);
    }
    static Blocks BlocksOf(const CScriptable& port) {
        Blocks blocks;
        CIptvStbBlockConfig::FindObjects(port.GetHandle(), blocks);
        return blocks;
    }

    TestProject project;
    CScriptable &port = project.MakePort(), &other = project.MakePort();
};

TEST_F(StbBlockIndexTest, TheFirstGapIsFilled) {
    CScriptable& device = MakeDevice(&port);
    Blocks blocks;
    for (int i = 0; i < 3; ++i) {
        blocks.push_back(&MakeBlock(device));
        EXPECT_EQ(blocks.back()->GetBlockIndex(), i);
    }
    blocks[1]->MarkDelete(true, true);
    EXPECT_EQ(blocks[1]->GetBlockIndex(), 1) << "kept until it is destroyed";
    CIptvStbBlockConfig& fourth = MakeBlock(device);
    EXPECT_EQ(fourth.GetBlockIndex(), 1);
    EXPECT_EQ(MakeBlock(device).GetBlockIndex(), 3);
    project.Settle();
    EXPECT_EQ(BlocksOf(port).size(), 4u);
    EXPECT_EQ(CIptvStbBlockConfig::GetObjectByIndex(port.GetHandle(), 1), &fourth);
    EXPECT_EQ(CIptvStbBlockConfig::GetObjectByIndex(port.GetHandle(), 9), nullptr);
}

TEST_F(StbBlockIndexTest, ABlockFollowsItsDevice) {
    CScriptable& device = MakeDevice(nullptr);
    CIptvStbBlockConfig& block = MakeBlock(device);
    EXPECT_FALSE(block.HasBlockIndex());
    std::vector<std::uint32_t> ports;
    CIptvStbBlockConfig::FindObjectHandles(ports);
    EXPECT_TRUE(ports.empty());

    MakeBlock(MakeDevice(&other));
    TestProject::Relate(device, port, kPort);
    EXPECT_EQ(block.GetBlockIndex(), 0);
    EXPECT_EQ(BlocksOf(port), Blocks{&block});
    device.RemoveObject(port, kPort);
    EXPECT_TRUE(!block.HasBlockIndex() && BlocksOf(port).empty());
    TestProject::Relate(device, other, kPort);
    EXPECT_EQ(block.GetBlockIndex(), 1);
    EXPECT_EQ(BlocksOf(other).back(), &block);
    other.MarkDelete(true, true);
    EXPECT_FALSE(block.HasBlockIndex());
}

TEST_F(StbBlockIndexTest, ABlockMayChangeItsDevice) {
    CScriptable &first = MakeDevice(&port), &second = MakeDevice(&other);
    CIptvStbBlockConfig& block = MakeBlock(first);
    TestProject::Relate(second, block, common::kParentChild);
    EXPECT_TRUE(BlocksOf(port).empty());
    EXPECT_EQ(BlocksOf(other), Blocks{&block});
    first.RemoveObject(port, kPort);
    EXPECT_TRUE(block.HasBlockIndex()) << "its former device is no concern of it";
    second.RemoveObject(other, kPort);
    EXPECT_FALSE(block.HasBlockIndex());
    block.Delete();
    TestProject::Relate(first, port, kPort);  // does not notify the removed one
    TestProject::Relate(second, other, kPort);
}

TEST_F(StbBlockIndexTest, ABlockWhoseCreationFailsLeavesNothingBehind) {
    CScriptable& device = MakeDevice(nullptr);
    struct Thrower {
        void Told(CScriptable&, CScriptable&, common::RelationType type, bool) {
            if (type == common::kParentChild) throw std::runtime_error("no more children");
        }
    } thrower;
    const auto delegate = framework::RelationChangeDelegate::To<&Thrower::Told>(&thrower);
    device.RegisterRelationChangeDelegate(delegate);
    EXPECT_THROW(MakeBlock(device), std::runtime_error);
    device.UnregisterRelationChangeDelegate(delegate);
    TestProject::Relate(device, port, kPort);
    EXPECT_TRUE(BlocksOf(port).empty());
}

TEST_F(StbBlockIndexTest, AFullPortGivesNoFurtherIndex) {
    constexpr std::size_t kMost = 65535;  // the largest index means that there is none
    const LogCapture log;
    CScriptable* device = nullptr;
    for (std::size_t i = 0; i < kMost; ++i) {
        if (i % 50 == 0) device = &MakeDevice(&port);
        MakeBlock(*device);
    }
    ASSERT_EQ(BlocksOf(port).size(), kMost);
    EXPECT_EQ(BlocksOf(port).back()->GetBlockIndex(), kMost - 1);
    const std::size_t children = device->GetObjects("IptvStbBlockConfig", common::kParentChild).size();
    EXPECT_EQ(
        ThrownBy<common::COrvRunTimeError>([&] { MakeBlock(*device); }),
        device->Describe() + ": its port carries 65535 set-top-box blocks already, and cannot carry more");
    EXPECT_EQ(BlocksOf(port).size(), kMost);
    EXPECT_EQ(device->GetObjects("IptvStbBlockConfig", common::kParentChild).size(), children);

    // Blocks that are moved here with their devices are on the port, without index.
    Blocks moved;
    for (int i = 0; i < 3; ++i) {
        CScriptable& mover = MakeDevice(&other);
        moved.push_back(&MakeBlock(mover));
        mover.SetObjects({&port}, kPort);
        EXPECT_FALSE(moved.back()->HasBlockIndex());
        EXPECT_EQ(moved.back()->GetBlockKey(), port.GetHandle());
    }
    const Blocks all = BlocksOf(port);
    ASSERT_EQ(all.size(), kMost + 3);
    EXPECT_EQ(Blocks(all.end() - 3, all.end()), moved);

    all[7]->MarkDelete(true, true);
    EXPECT_EQ(MakeBlock(*device).GetBlockIndex(), 7);
    moved[0]->GetParent()->SetObjects({&other}, kPort);
    EXPECT_EQ(moved[0]->GetBlockIndex(), 0);
    moved[1]->Delete();
    EXPECT_EQ(BlocksOf(port).size(), kMost + 1);
    EXPECT_EQ(BlocksOf(port).back(), moved[2]);
}

}  // namespace
