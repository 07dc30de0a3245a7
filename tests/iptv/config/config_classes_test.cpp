// How the objects of the configuration behave beside being configured: clones, reactions to relations, and
// where a range of channels lies.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <functional>
#include <memory>

#include "config/ChannelBlockIndex.h"
#include "config/IptvBlockIfUserFinder.h"
#include "orv/common/exceptions.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"
#include "test_project.h"
#include "thrown.h"

namespace {

using namespace orv;  // NOLINT: a test
using common::COrvRunTimeError;
using framework::CScriptable;
using framework::CScriptableCreator;
using framework::ScriptableVec;
using testing_aids::LogCapture;
using testing_aids::TestProject;
using testing_aids::ThrownBy;
namespace relations = ids::relations;

const std::string kBadObject = " BAD OBJECT ERROR: Error accessing Config Objects. ";

std::string LookupLine(const std::string& what) {
    return "content.mulvane.iptv Error: BAD OBJECT ERROR: Internal Error. Failed to get object " + what;
}

class ConfigClassesTest : public testing::Test {
  protected:
    TestProject project_;
    core::CPort& port_ = project_.MakePort();
    core::CEmulatedDevice& device_ = project_.MakeDevice(&port_);
    iptv::CIptvChannelBlock& channels_ = project_.MakeChannelBlock("News", 100, 10);
    mcastcore::CMulticastGroup& group_ = TestProject::GroupOf(channels_);
    iptv::CIptvViewedChannels& range_ = project_.MakeRange(channels_, 103, 105);
    iptv::CIptvViewingProfileConfig& profile_ = project_.MakeProfile();
    iptv::CIptvStbBlockConfig& block_ = project_.MakeStbBlock(device_, profile_, {&range_});
};

TEST_F(ConfigClassesTest, ClonesOfWhatBlocksUseAreUsedByNoBlock) {
    core::CNetworkInterface& other = *block_.GetMcastIf();
    const std::pair<CScriptable*, common::RelationType> cases[] = {{&range_, relations::StbChannel},
                                                                   {&profile_, relations::IptvProfile}};
    for (const auto& [original, used_by] : cases) {
        TestProject::Relate(*original, other, relations::UsesIf);
        const CScriptable& clone = *original->Clone();
        EXPECT_FALSE(clone.GetObject(block_.GetClassId(), used_by.Reverse()));
        EXPECT_TRUE(original->ContainsObject(block_, used_by.Reverse()));
        EXPECT_TRUE(clone.ContainsObject(other, relations::UsesIf));
        EXPECT_TRUE(original->CloneRelationType(other, {0x7ffffffe, 0})) << "a relation that no model knows";
    }
}

TEST_F(ConfigClassesTest, ABlockThatIsClonedWithItsDeviceKeepsWhatItUses) {
    block_.CheckIfAnyRelatedObjectsAreDirty(true);
    auto& device = dynamic_cast<core::CEmulatedDevice&>(*device_.Clone());
    auto* block = dynamic_cast<iptv::CIptvStbBlockConfig*>(
        device.GetObject(iptv::CIptvStbBlockConfig::CLASS_ID(), common::kParentChild));
    ASSERT_TRUE(block);
    EXPECT_EQ(block->GetObjects("IptvViewedChannels", relations::StbChannel), ScriptableVec{&range_});
    EXPECT_EQ(block->GetObjects("IptvViewingProfileConfig", relations::IptvProfile),
              ScriptableVec{&profile_});
    EXPECT_EQ(block->GetMcastCfg(), &TestProject::McastOf(device));
    EXPECT_EQ(block->GetMcastIf(), &TestProject::LayerOf(device, "Ipv4If"));
    EXPECT_EQ(block->GetBlockKey(), port_.GetHandle());
    EXPECT_EQ(block->GetBlockIndex(), 1);
    EXPECT_TRUE(block->CheckIfAnyRelatedObjectsAreDirty(false)) << "the clone has never been sent";
}

TEST_F(ConfigClassesTest, OrderIsByFirstChannelWithoutSign) {
    auto& other_channels = project_.MakeChannelBlock("Sports", 100, 1);
    auto& other_range = project_.MakeRange(channels_, 103, 105);
    EXPECT_FALSE(CmpChannelBlock(&channels_, &other_channels));
    EXPECT_FALSE(CmpViewedChannels(&range_, &other_range));
    other_channels.Set(ids::IptvChannelBlock::ChannelStart, 0x80000000u);
    other_range.Set(ids::IptvViewedChannels::ChannelRangeStart, 0x80000000u);
    EXPECT_TRUE(CmpChannelBlock(&channels_, &other_channels));
    EXPECT_FALSE(CmpChannelBlock(&other_channels, &channels_));
    EXPECT_TRUE(CmpViewedChannels(&range_, &other_range));
    EXPECT_FALSE(CmpViewedChannels(&other_range, &range_));
}

TEST_F(ConfigClassesTest, AChannelBlockFollowsItsGroupAndItsSources) {
    using enum CScriptable::State;
    const common::RelationType sources = relations::TrafficSources;
    const common::RelationType group = relations::MulticastParam;
    const struct {
        CScriptable::State own, others;
        common::RelationType type;
        CScriptable& other;
        CScriptable::State then;
    } cases[] = {
        {STATE_NEW, STATE_UNCHANGED, sources, device_, STATE_NEW},
        {STATE_MODIFIED, STATE_UNCHANGED, sources, device_, STATE_MODIFIED},
        {STATE_PENDING_DELETE, STATE_UNCHANGED, sources, device_, STATE_PENDING_DELETE},
        {STATE_UNCHANGED, STATE_UNCHANGED, sources, device_, STATE_MODIFIED},
        {STATE_OBSOLETE, STATE_UNCHANGED, sources, device_, STATE_OBSOLETE},
        {STATE_UNCHANGED, STATE_UNCHANGED, sources.Reverse(), device_, STATE_UNCHANGED},
        {STATE_UNCHANGED, STATE_UNCHANGED, sources, port_, STATE_UNCHANGED},
        {STATE_UNCHANGED, STATE_NEW, group, group_, STATE_UNCHANGED},
        {STATE_UNCHANGED, STATE_MODIFIED, group, group_, STATE_UNCHANGED},
        {STATE_UNCHANGED, STATE_UNCHANGED, group, group_, STATE_UNCHANGED},
        {STATE_UNCHANGED, STATE_OBSOLETE, group, group_, STATE_OBSOLETE},
        {STATE_UNCHANGED, STATE_OBSOLETE, group.Reverse(), group_, STATE_UNCHANGED},
        {STATE_UNCHANGED, STATE_OBSOLETE, group, port_, STATE_UNCHANGED},
        {STATE_UNCHANGED, STATE_PENDING_DELETE, group.Reverse(), group_, STATE_UNCHANGED},
        {STATE_UNCHANGED, STATE_PENDING_DELETE, group, group_, STATE_PENDING_DELETE},
    };
    int number = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(number++);
        for (const bool added : {true, false}) {
            channels_.SetObjectState(c.own);
            c.other.SetObjectState(c.others);
            channels_.OnRelationModified(c.type, c.other, added);
            EXPECT_EQ(channels_.GetObjectState(), c.then);
            c.other.SetObjectState(STATE_UNCHANGED);
        }
    }
    // And in earnest.
    auto& doomed = project_.MakeChannelBlock("Sports", 200, 10);
    TestProject::GroupOf(doomed).MarkDelete(true, true);
    EXPECT_TRUE(doomed.IsDeleted());
}

TEST_F(ConfigClassesTest, ABlocksHostsNeedNoMembershipsOfTheirOwn) {
    const auto allowed = [](const core::CEmulatedDevice& device) {
        return TestProject::McastOf(device).GetBool(ids::MulticastHostConfig::AllowNoMemberships);
    };
    EXPECT_TRUE(allowed(device_));
    EXPECT_FALSE(allowed(project_.MakeDevice(&port_)));
    LogCapture log;
    block_.OnRelationModified(relations::MulticastParam, port_, false);
    block_.OnRelationModified(relations::MulticastParam.Reverse(), port_, true);
    EXPECT_EQ(log.Take(), std::vector<std::string>{});
    block_.OnRelationModified(relations::MulticastParam, port_, true);
    EXPECT_EQ(log.Take(),
              std::vector<std::string>{"content.mulvane.iptv Error: IptvStbBlockConfig: Error trying to set "
                                       "AllowNoMemberships flag"});
}

TEST_F(ConfigClassesTest, TheHostLearnsWhichInterfacesTheLiveBlocksOfAPortUse) {
    core::CPort& other_port = project_.MakePort();
    auto& device = project_.MakeDevice(&port_, 1, {.ipv6 = true});
    auto& second = project_.MakeStbBlock(device, profile_, {});
    auto& third = project_.MakeStbBlock(device, profile_, {});
    project_.MakeStbBlock(device, profile_, {}).Set(ids::Scriptable::Active, false);
    project_.MakeStbBlock(device, profile_, {}).MarkDelete(true, true);
    project_.MakeStbBlock(device, profile_, {})
        .RemoveObject(TestProject::McastOf(device), relations::MulticastParam);
    project_.MakeStbBlock(project_.MakeDevice(&other_port), profile_, {});

    core::CNetworkInterface* const ipv4 = &TestProject::LayerOf(device_, "Ipv4If");
    core::CNetworkInterface* const ipv6 = &TestProject::LayerOf(device, "Ipv6If");
    const core::InterfaceUserMap expected{{&device_, {{&block_, {ipv4}}}},
                                          {&device, {{&second, {ipv6}}, {&third, {ipv6}}}}};
    EXPECT_EQ(core::CIfManager::Instance().GetInterfaceUsers(port_), expected);
    const std::unique_ptr<core::INetworkInterfaceUserFinder> finder(
        iptv::CIptvBlockIfUserFinder::IptvBlockIfUserFinderMaker(&port_));
    EXPECT_EQ(finder->GetRouteDescriptorForIfUser(&block_), nullptr);
}

/// Tells a range the address that its first channel has.
void Sent(iptv::CIptvViewedChannels& range, bool ipv6, const char* address, std::uint32_t increment) {
    if (ipv6) {
        range.SetIpParam(*common::CIpv6Address::FromString(address), increment);
    } else {
        range.SetIpParam(*common::CIpAddress::FromString(address), increment);
    }
}

TEST(ViewedChannels, AreDirtyWhenTheirFirstAddressIsNotTheOneSent) {
    const struct {
        bool ipv6;
        const char *start, *third_by_1, *third_by_1000, *moved, *third_moved;
    } cases[] = {{false, "225.0.255.254", "225.1.0.1", "225.1.11.182", "226.0.0.0", "226.0.0.3"},
                 {true, "ff1e::ffff:fffe", "ff1e::1:0:1", "ff1e::1:0:bb6", "ff1e::", "ff1e::3"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.start);
        TestProject project;
        auto& channels = project.MakeChannelBlock("News", 100, 10, c.ipv6);
        auto& addresses = *TestProject::GroupOf(channels).GetNetworkBlock();
        const common::PropId starts =
            c.ipv6 ? ids::Ipv6NetworkBlock::StartIpList : ids::Ipv4NetworkBlock::StartIpList;
        addresses.Set(starts, c.start);
        auto& range = project.MakeRange(channels, 103, 105);
        project.Settle();
        EXPECT_TRUE(range.IsViewedChannelDirty()) << "never sent";
        Sent(range, c.ipv6, c.third_by_1, 1);
        EXPECT_FALSE(range.IsViewedChannelDirty());
        Sent(range, !c.ipv6, !c.ipv6 ? "::" : "0.0.0.0", 1);
        EXPECT_FALSE(range.IsViewedChannelDirty()) << "addresses of the other version do not matter";

        for (const auto state : {CScriptable::STATE_NEW, CScriptable::STATE_MODIFIED}) {
            channels.SetObjectState(state);
            EXPECT_TRUE(range.IsViewedChannelDirty());
        }
        project.Settle();
        addresses.SetAddrIncrement(1000);
        EXPECT_TRUE(range.IsViewedChannelDirty());
        Sent(range, c.ipv6, c.third_by_1000, 1000);
        EXPECT_FALSE(range.IsViewedChannelDirty());
        Sent(range, c.ipv6, c.start, 1000);
        EXPECT_TRUE(range.IsViewedChannelDirty());
        range.Set(ids::IptvViewedChannels::ChannelRangeStart, 100u);
        EXPECT_FALSE(range.IsViewedChannelDirty()) << "its first channel is the block's first now";
        addresses.SetAddrIncrement(1);
        EXPECT_TRUE(range.IsViewedChannelDirty()) << "the same first address, but not the next one";
        range.Set(ids::IptvViewedChannels::ChannelRangeStart, 103u);
        Sent(range, c.ipv6, c.third_moved, 1);
        EXPECT_TRUE(range.IsViewedChannelDirty());
        addresses.Set(starts, c.moved);
        EXPECT_FALSE(range.IsViewedChannelDirty());
    }
}

struct OtherNetworkBlock : core::CNetworkBlock {
    std::uint64_t GetEndpointCount() const override { return GetNetworkCount(); }
};

TEST_F(ConfigClassesTest, ARangeWithoutAddressIsAnError) {
    const char* const operation = " in CIptvViewedChannels::IsViewedChannelDirty";
    const auto ask = [this] { range_.IsViewedChannelDirty(); };
    LogCapture log;
    channels_.Set(ids::Scriptable::Active, false);
    EXPECT_EQ(ThrownBy<COrvRunTimeError>(ask), kBadObject);
    EXPECT_EQ(log.Take().at(0), LookupLine("IptvChannelBlock from ChannelBlockVec") + operation);
    channels_.Set(ids::Scriptable::Active, true);

    group_.GetNetworkBlock()->Delete();
    const auto odd =
        testing_aids::DeclareOddClass<OtherNetworkBlock>(0x7f102000, "OtherNetworkBlock", "NetworkBlock");
    CScriptable& addresses = *CScriptableCreator().Create(odd, &group_);
    addresses.Set(ids::Scriptable::Name, "Odd");
    addresses.Set(ids::NetworkBlock::NetworkCount, 10u);
    EXPECT_EQ(ThrownBy<COrvRunTimeError>(ask),
              kBadObject + "NetworkBlock Odd couldnot be converted to Ipv4Block or Ipv4Block");
    EXPECT_EQ(log.Take().at(0),
              LookupLine("Ipv4Block or Ipv6Block from NetworkBlock") + operation + ". Typecast failed");
}

TEST_F(ConfigClassesTest, ABrokenListFailsWhereNoBlockBeforeAnswers) {
    auto& without_group = project_.MakeChannelBlock("Groupless", 1, 5);
    without_group.RemoveObject(TestProject::GroupOf(without_group), relations::MulticastParam);
    auto& without_addresses = project_.MakeChannelBlock("Empty", 1, 5);
    TestProject::GroupOf(without_addresses).GetNetworkBlock()->Delete();
    const struct {
        CScriptable* element;
        std::string lookup, detail;
    } cases[] = {
        {nullptr, "IptvChannelBlock from ChannelIterator", ""},
        {&port_, "IptvChannelBlock from ChannelIterator", ""},
        {&without_group, "MulticastGroup from IptvChannelBlock", "MulticastGroup associated with Groupless"},
        {&without_addresses, "NetworkBlock from MulticastGroup", "NetworkBlock associated with Empty group"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.lookup);
        EXPECT_EQ(range_.GetChannelBlockForViewChan({&channels_, c.element}), &channels_);
        LogCapture log;
        EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] {
                      range_.GetChannelBlockForViewChan({c.element, &channels_});
                  }),
                  kBadObject + c.detail);
        EXPECT_EQ(log.Take().at(0), LookupLine(c.lookup) + " in CIptvViewedChannels::CmpViewedChannels");
    }
    without_group.Set(ids::Scriptable::Active, false);
    EXPECT_EQ(range_.GetChannelBlockForViewChan({&without_group, &channels_}), &channels_);
    without_addresses.MarkDelete(true, true);
    EXPECT_EQ(range_.GetChannelBlockForViewChan({&without_addresses, &channels_}), &channels_);
}

/// The rules one by one: the first active block of the list that fulfils all four. 32-bit arithmetic.
const CScriptable* FindOneByOne(const std::vector<iptv::CIptvChannelBlock*>& blocks, std::uint32_t start,
                                std::uint32_t end) {
    for (const auto* block : blocks) {
        const std::uint32_t first = block->GetChannelStart();
        const std::uint32_t count = block->GetMulticastGroup()->GetNetworkBlock()->GetNetworkCount();
        if (block->GetActive() && start >= first && start < first + count && end <= first + count - 1 &&
            end > first) {
            return block;
        }
    }
    return nullptr;
}

std::uint32_t Number() {
    const auto base =
        *rc::gen::element<std::uint32_t>(0, 0, 0xffffffe0, *rc::gen::arbitrary<std::uint32_t>());
    return base + *rc::gen::inRange<std::uint32_t>(0, 32);
}

TEST(ChannelBlockIndex, FindsWhatTheRulesFindOneByOne) {
    TestProject project;
    std::vector<iptv::CIptvChannelBlock*> pool;
    for (int i = 0; i < 7; ++i) pool.push_back(&project.MakeChannelBlock("", 1, 1));
    EXPECT_TRUE(rc::check([&] {
        const auto size = *rc::gen::inRange<std::ptrdiff_t>(0, 8);
        std::vector<iptv::CIptvChannelBlock*> blocks(pool.begin(), pool.begin() + size);
        const bool few_channels = *rc::gen::arbitrary<bool>();  // then there are lists without overlap
        for (auto* block : blocks) {
            const std::uint32_t first = Number();
            std::uint32_t count = *rc::gen::inRange<std::uint32_t>(1, few_channels ? 5 : 20);
            // Some run past the largest number, or up to it.
            if (!few_channels)
                count =
                    *rc::gen::weightedElement<std::uint32_t>({{6, count}, {1, 0u - count}, {2, 0u - first}});
            block->Set(ids::IptvChannelBlock::ChannelStart, first);
            block->Set(ids::Scriptable::Active, *rc::gen::weightedElement<bool>({{5, true}, {1, false}}));
            block->GetMulticastGroup()->GetNetworkBlock()->SetNetworkCount(std::max(count, 1u));
        }
        if (*rc::gen::arbitrary<bool>())
            std::stable_sort(blocks.begin(), blocks.end(), iptv::CmpChannelBlock);
        const iptv::ChannelBlockIndex index({blocks.begin(), blocks.end()});
        for (int i = 0; i < 40; ++i) {
            std::uint32_t start = Number(), end = Number();
            if (!blocks.empty() && *rc::gen::arbitrary<bool>()) {  // around a block's first channel
                start = (*rc::gen::elementOf(blocks))->GetChannelStart() + *rc::gen::inRange(-1, 4);
                end = start + *rc::gen::inRange(-2, 5);
            }
            const auto* found = index.Find(start, end);
            const auto* expected = FindOneByOne(blocks, start, end);
            if (found != expected) RC_LOG() << start << "-" << end << "\n";
            RC_ASSERT(found == expected);
        }
    }));
}

}  // namespace
