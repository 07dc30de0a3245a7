// How the objects of the configuration behave beside being configured: defaults, clones, reactions to
// relations, and where a range of channels lies.
#include <rapidcheck.h>

#include <algorithm>

#include "IptvLog.h"
#include "config/ChannelBlockIndex.h"
#include "orv/core/if_manager.h"
#include "orv/ids/igmpmld_ids.h"
#include "thrown.h"
#include "validation_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using common::kParentChild, framework::ScriptableVec;

class ConfigClassesTest : public testing::Test, protected Scene {};

TEST(Defaults, AProjectMadeOnlyOfDefaultsIsValid) {
    for (const bool ipv6 : {false, true}) {
        TestProject project;
        auto& root = project.Root();
        auto& channels = CScriptableCreator().Make<iptv::CIptvChannelBlock>(&root);
        auto& group = *CScriptableCreator().Create(ipv6 ? "Ipv6Group" : "Ipv4Group", &root);
        project.Relate(channels, group, relations::MulticastParam);
        auto& range = CScriptableCreator().Make<iptv::CIptvViewedChannels>(&root);
        range.Set(ids::IptvViewedChannels::ChannelBlock, channels.GetHandle());
        auto& device = project.MakeDevice(&project.MakePort(), 1, {.ipv6 = ipv6});
        project.MakeStbBlock(device, project.MakeProfile(), {&range});
        // Also for the tests that look at more.
        iptv::RunningTest::SetRules({.fcc_check = true, .trigger_delay_check = true});
        framework::ValidationContext context;
        framework::ValidatorRegistry::Instance().ValidateTree(root, context);
        EXPECT_EQ(ReportsOf(context), Reports{});
    }
}

TEST_F(ConfigClassesTest, ClonesOfWhatBlocksUseAreUsedByNoBlock) {
    core::CNetworkInterface& other = *block.GetMcastIf();
    const std::pair<CScriptable*, common::RelationType> cases[] = {{&range, relations::StbChannel},
                                                                   {&profile, relations::IptvProfile}};
    for (const auto& [original, used_by] : cases) {
        TestProject::Relate(*original, other, relations::UsesIf);
        const CScriptable& clone = *original->Clone();
        EXPECT_FALSE(clone.GetObject(block.GetClassId(), used_by.Reverse()));
        EXPECT_TRUE(original->ContainsObject(block, used_by.Reverse()));
        EXPECT_TRUE(clone.ContainsObject(other, relations::UsesIf));
    }
}

TEST_F(ConfigClassesTest, ABlockThatIsClonedWithItsDeviceKeepsWhatItUses) {
    block.CheckIfAnyRelatedObjectsAreDirty(true);
    auto& copy = dynamic_cast<core::CEmulatedDevice&>(*device.Clone());
    auto* boxes =
        dynamic_cast<iptv::CIptvStbBlockConfig*>(copy.GetObject("IptvStbBlockConfig", kParentChild));
    ASSERT_TRUE(boxes);
    EXPECT_EQ(boxes->GetObjects("IptvViewedChannels", relations::StbChannel), ScriptableVec{&range});
    EXPECT_EQ(boxes->GetObjects("IptvViewingProfileConfig", relations::IptvProfile), ScriptableVec{&profile});
    EXPECT_EQ(boxes->GetMcastIf(), &TestProject::LayerOf(copy, "Ipv4If"));
    EXPECT_EQ(boxes->GetBlockKey(), port.GetHandle());
    EXPECT_EQ(boxes->GetBlockIndex(), 1);
    EXPECT_TRUE(boxes->CheckIfAnyRelatedObjectsAreDirty(false)) << "the clone has never been sent";
}

TEST_F(ConfigClassesTest, AChannelBlockFollowsItsGroupAndItsSources) {
    using enum CScriptable::State;
    const auto sources = relations::TrafficSources, group_of = relations::MulticastParam;
    CScriptable& group = TestProject::GroupOf(channels);
    const struct {
        CScriptable::State own, others;
        common::RelationType type;
        CScriptable& other;
        CScriptable::State then;
    } cases[] = {{STATE_NEW, STATE_UNCHANGED, sources, device, STATE_NEW},
                 {STATE_PENDING_DELETE, STATE_UNCHANGED, sources, device, STATE_PENDING_DELETE},
                 {STATE_UNCHANGED, STATE_UNCHANGED, sources, device, STATE_MODIFIED},
                 {STATE_UNCHANGED, STATE_UNCHANGED, sources.Reverse(), device, STATE_UNCHANGED},
                 {STATE_UNCHANGED, STATE_UNCHANGED, sources, port, STATE_UNCHANGED},
                 {STATE_UNCHANGED, STATE_NEW, group_of, group, STATE_UNCHANGED},
                 {STATE_UNCHANGED, STATE_OBSOLETE, group_of, group, STATE_OBSOLETE},
                 {STATE_UNCHANGED, STATE_OBSOLETE, group_of.Reverse(), group, STATE_UNCHANGED},
                 {STATE_UNCHANGED, STATE_PENDING_DELETE, group_of, port, STATE_UNCHANGED},
                 {STATE_UNCHANGED, STATE_PENDING_DELETE, group_of, group, STATE_PENDING_DELETE}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        for (const bool added : {true, false}) {
            channels.SetObjectState(c.own);
            c.other.SetObjectState(c.others);
            channels.OnRelationModified(c.type, c.other, added);
            EXPECT_EQ(channels.GetObjectState(), c.then);
            c.other.SetObjectState(STATE_UNCHANGED);
        }
    }
    // And in earnest.
    auto& doomed = project.MakeChannelBlock("Sports", 200, 10);
    TestProject::GroupOf(doomed).MarkDelete(true, true);
    EXPECT_TRUE(doomed.IsDeleted());
}

TEST_F(ConfigClassesTest, ABlocksHostsNeedNoMembershipsOfTheirOwn) {
    const auto allowed = ids::MulticastHostConfig::AllowNoMemberships;
    EXPECT_TRUE(TestProject::McastOf(device).GetBool(allowed));
    EXPECT_FALSE(TestProject::McastOf(project.MakeDevice(&port)).GetBool(allowed));
    LogCapture log;
    block.OnRelationModified(relations::MulticastParam, port, true);
    EXPECT_THAT(log.Take(), testing::ElementsAre(testing::HasSubstr("set AllowNoMemberships flag")));
}

TEST_F(ConfigClassesTest, TheHostLearnsWhichInterfacesTheLiveBlocksOfAPortUse) {
    auto& six = project.MakeDevice(&port, 1, {.ipv6 = true});
    auto &second = project.MakeStbBlock(six, profile, {}), &third = project.MakeStbBlock(six, profile, {});
    project.MakeStbBlock(six, profile, {}).Set(ids::Scriptable::Active, false);
    project.MakeStbBlock(six, profile, {}).MarkDelete(true, true);
    project.MakeStbBlock(six, profile, {}).SetObjects({}, relations::MulticastParam);
    project.MakeStbBlock(project.MakeDevice(&project.MakePort()), profile, {});
    core::CNetworkInterface* const ipv4 = &TestProject::LayerOf(device, "Ipv4If");
    core::CNetworkInterface* const ipv6 = &TestProject::LayerOf(six, "Ipv6If");
    const core::InterfaceUserMap expected{{&device, {{&block, {ipv4}}}},
                                          {&six, {{&second, {ipv6}}, {&third, {ipv6}}}}};
    EXPECT_EQ(core::CIfManager::Instance().GetInterfaceUsers(port), expected);
}

TEST_F(ConfigClassesTest, NoTextIsMadeForALevelThatIsOff) {
    const LogCapture log;
    iptv::devLogger()->SetLevel(framework::LogLevelType::Error);
    const auto make = []() -> std::string { throw std::logic_error("made"); };
    EXPECT_NO_THROW(iptv::Trace(make));
    EXPECT_NO_THROW(iptv::LogText(iptv::devLogger(), framework::LogLevelType::Info, make));
}

TEST_F(ConfigClassesTest, ABrokenListOfChannelBlocksFailsWhereNoBlockBeforeAnswers) {
    const LogCapture log;
    auto& groupless = project.MakeChannelBlock("Groupless", 1, 5);
    groupless.SetObjects({}, relations::MulticastParam);
    auto& empty = project.MakeChannelBlock("Empty", 1, 5);
    TestProject::GroupOf(empty).GetNetworkBlock()->Delete();
    const std::pair<CScriptable*, std::string> cases[] = {
        {nullptr, ""},
        {&port, ""},
        {&groupless, "MulticastGroup associated with Groupless"},
        {&empty, "NetworkBlock associated with Empty group"}};
    for (const auto& [broken, detail] : cases) {
        const ScriptableVec list{broken, &channels};
        EXPECT_EQ(range.GetChannelBlockForViewChan({&channels, broken}), &channels);
        EXPECT_EQ(ThrownBy<common::COrvRunTimeError>([&] { range.GetChannelBlockForViewChan(list); }),
                  " BAD OBJECT ERROR: Error accessing Config Objects. " + detail);
    }
    groupless.Set(ids::Scriptable::Active, false);
    empty.MarkDelete(true, true);
    EXPECT_EQ(range.GetChannelBlockForViewChan({&groupless, &empty, &channels}), &channels);
}

/// The rules one by one: the first active block of the list that fulfils all four. 32-bit arithmetic.
const CScriptable* FindOneByOne(const std::vector<iptv::CIptvChannelBlock*>& blocks, std::uint32_t start,
                                std::uint32_t end) {
    for (const auto* block : blocks) {
        const std::uint32_t first = block->GetChannelStart();
        const std::uint32_t count = block->GetMulticastGroup()->GetNetworkBlock()->GetNetworkCount();
        if (block->GetActive() && start >= first && start < first + count && end <= first + count - 1 &&
            end > first)
            return block;
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
            const auto* expected = FindOneByOne(blocks, start, end);
            const bool same = index.Find(start, end) == expected;
            if (!same) RC_LOG() << start << "-" << end << "\n";
            RC_ASSERT(same);
        }
    }));
}

}  // namespace
