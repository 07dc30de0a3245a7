// Changes that an apply could lose: made at unusual moments, or that reach ports indirectly.
#include "apply_fixture.h"
#include "config/IptvChannelBlock.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/orv_system.h"
#include "orv/igmpmld/multicast_port_config.h"
#include "results/IptvResultsManager.h"

namespace {

using namespace orv;  // NOLINT: a test
using framework::CScriptable;
using framework::ScriptableVec;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing_aids::Answer;
using testing_aids::TestProject;
namespace relations = ids::relations;

class LostChangesTest : public testing_aids::TwoPortsTest {
  protected:
    /// A first apply of everything.
    void Begin() {
        ASSERT_EQ(Apply(), "");
        TakeJournal();
    }
    std::vector<std::string> Sent() {
        EXPECT_EQ(Apply(), "");
        return TakeJournal();
    }
    /// Runs something while P1 is about to answer a request.
    void Meanwhile(const std::string& operation, std::function<void()> work) {
        far1.answer = [operation, work = std::move(work)](const tm::Message& request) {
            if (request.get_request_name() == "iptvcd_1." + operation) work();
            return Answer::Respond;
        };
    }
};

TEST_F(LostChangesTest, NewGroupsAreExpectedWhereverTheyLieInMemory) {
    std::vector<CScriptable*> made;
    const auto make = [&](int generation) {
        made.clear();
        for (std::uint32_t i = 0; i < 20; ++i) {
            const std::uint32_t first = 100 + 4 * i;
            auto& block = project.MakeChannelBlock("N" + std::to_string(generation * 100 + i), first, 4);
            auto& more = project.MakeRange(block, first, first + 3);
            TestProject::Relate(a, more, relations::StbChannel);
            made.insert(made.end(), {&more, &block, &TestProject::GroupOf(block)});
        }
    };
    make(1);
    Begin();
    for (CScriptable* object : made) object->Delete();
    make(2);
    ASSERT_EQ(Apply(), "");
    auto& config = *p1.GetObject(igmpmld::CMulticastPortConfig::CLASS_ID(), common::kParentChild);
    ScriptableVec expected;
    config.GetObjects(expected, mcastcore::CMulticastGroup::CLASS_ID(), relations::ExpectedGroups);
    EXPECT_EQ(expected.size(), 21u);
}

TEST_F(LostChangesTest, ABlockThatIsMadeOfAnotherDevicesObjectsFollowsThem) {
    b.SetObjects({&TestProject::McastOf(device_a)}, relations::MulticastParam);
    Begin();
    TestProject::McastOf(device_a).Set("Version", "IGMP_V3");
    EXPECT_THAT(Sent(), Contains("P2 UpdateSettopBlock B"));
    TestProject::McastOf(device_a).Set(ids::Scriptable::LocalActive, false);
    EXPECT_THAT(Apply(), testing::HasSubstr("\"" + device_b.GetName() +
                                            "\", the IGMP/MLD protocol must be activated."));
}

TEST_F(LostChangesTest, WhatAnInterfaceOffThePortUsedIsDeletedByTheNextApply) {
    auto& device_d = project.MakeDevice(&p2);
    auto& d = project.MakeStbBlock(device_d, slow, {&range}, "D");
    Begin();
    d.GetMcastIf()->Set(ids::EmulatedIf::IlMembership, ids::IlMembership::EXCLUDED);
    EXPECT_THAT(Sent(), ElementsAre("P2 DeleteSettopBlock D", "P2 DetachInterfaces 2"));
    EXPECT_THAT(Sent(), ElementsAre("P2 DeleteProfile Slow"));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(LostChangesTest, WhatIsDestroyedAtOnceIsDeletedFromThePortsThatKnowIt) {
    auto& other = project.MakeRange(channels, 5, 8, "Other");
    Begin();
    const std::string profile = std::to_string(fast.GetHandle());
    const std::string old_range = std::to_string(range.GetHandle());
    for (iptv::CIptvStbBlockConfig* block : {&a, &b, &c}) {
        block->SetObjects({&slow}, relations::IptvProfile);
        block->SetObjects({&other}, relations::StbChannel);
    }
    fast.Delete();
    range.Delete();
    const auto sent = Sent();
    for (const char* port : {"P1", "P2"}) {
        EXPECT_THAT(sent, Contains(port + std::string(" DeleteProfile ") + profile));
        EXPECT_THAT(sent, Contains(port + std::string(" DeleteChannelBlock ") + old_range));
    }
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(LostChangesTest, AnAddressThatMovesMeanwhileReachesAllPorts) {
    auto& device_d = project.MakeDevice(&p2);
    auto& d = project.MakeStbBlock(device_d, slow, {&range}, "D");
    Begin();
    // Port P2 has a block to delete first, and fills in the range later than P1.
    d.MarkDelete(true, true);
    range.Set(ids::IptvViewedChannels::ChannelRangeEnd, 5u);
    Meanwhile("UpdateChannelBlock",
              [this] { TestProject::GroupOf(channels).GetNetworkBlock()->SetAddrIncrement(7); });
    Sent();
    far1.answer = nullptr;
    EXPECT_THAT(Sent(), Contains("P1 UpdateChannelBlock Range"));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(LostChangesTest, APortThatDoesNotTakePartForAWhileIsSentWhatItMissed) {
    CScriptable& system = core::COrvSystem::Instance();
    system.Set(ids::System::OfflinePortsTakePart, true);
    p2.Set(ids::Port::Online, false);
    Begin();
    system.Set(ids::System::OfflinePortsTakePart, false);
    fast.Set(ids::IptvViewingProfileConfig::Interval, 2000u);
    b.Set(ids::IptvStbBlockConfig::InterClientStartDelayStep, 5u);
    EXPECT_THAT(Sent(), ElementsAre("P1 UpdateProfile Fast"));
    system.Set(ids::System::OfflinePortsTakePart, true);
    EXPECT_THAT(Sent(),
                testing::AllOf(Contains("P2 UpdateProfile Fast"), Contains("P2 UpdateSettopBlock B")));
}

TEST_F(LostChangesTest, WhatIsEditedWhileATestRunsIsSentAfterIt) {
    fast.Set(ids::Scriptable::LocalActive, false);  // it is not validated
    Begin();
    auto& results = *iptv::CIptvResultsManager::GetResultsManager();
    results.SetTestRunning(true);
    fast.Set(ids::IptvViewingProfileConfig::Interval, 2000u);
    EXPECT_THAT(Sent(), IsEmpty());
    results.SetTestRunning(false);
    EXPECT_THAT(Sent(), ElementsAre("P1 UpdateProfile Fast", "P2 UpdateProfile Fast"));
}

TEST_F(LostChangesTest, ATestTypeThatIsPreparedMeanwhileCountsAsAChange) {
    Meanwhile("UpdateProfile", [] { iptv::RunningTest::SetRules({.fcc_check = true}); });
    a.Set(ids::IptvStbBlockConfig::UdpSourcePort, std::uint16_t{7000});
    Begin();
    far1.answer = nullptr;
    iptv::RunningTest::SetRules({});
    EXPECT_THAT(Sent(), ElementsAre("P1 AttachInterfaces 1,2", "P2 AttachInterfaces 1",
                                    "P1 UpdateSettopBlock A,C", "P2 UpdateSettopBlock B"));
}

}  // namespace
