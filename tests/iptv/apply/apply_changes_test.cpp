// An apply looks only at what has changed. It must find as much as one that looks at everything, also after
// changes that are made at unusual moments, or that reach ports indirectly.
#include <random>

#include "apply_fixture.h"
#include "orv/core/orv_system.h"
#include "orv/igmpmld/multicast_port_config.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

struct ApplyChangesTest : TwoPortsTest {
    std::size_t Draw(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
    }
    template <class T>
    T& Pick(const std::vector<T*>& from) {
        return *from[Draw(from.size())];
    }
    std::string Number(std::size_t count) { return std::to_string(Draw(count)); }
    void Toggle(CScriptable& object) {
        object.Set(ids::Scriptable::LocalActive, !object.GetBool(ids::Scriptable::LocalActive));
    }
    void ToggleRange(iptv::CIptvStbBlockConfig& block) {
        if (!block.RemoveObject(other_range, relations::StbChannel))
            TestProject::Relate(block, other_range, relations::StbChannel);
    }
    void AddBlock() {
        devices_.push_back(&project.MakeDevice(Draw(2) ? &p1 : &p2));
        blocks_.push_back(&project.MakeStbBlock(*devices_.back(), fast, {&range}));
    }
    void Delete(bool at_once) {
        if (devices_.size() < 3) return;
        core::CEmulatedDevice* device = devices_.back();
        devices_.pop_back();
        blocks_.pop_back();
        at_once ? device->Delete() : static_cast<void>(device->MarkDelete(true, true));
    }
    void Edit();

    iptv::CIptvViewedChannels& other_range = project.MakeRange(channels, 5, 8, "Other range");
    std::mt19937 random_{20260815};
    std::vector<core::CEmulatedDevice*> devices_{&device_a, &device_b, &device_c};
    std::vector<iptv::CIptvStbBlockConfig*> blocks_{&a, &b, &c};
};

void ApplyChangesTest::Edit() {
    const std::function<void()> kinds[] = {
        [&] { Pick(blocks_).Set("MinBufferLevel", Number(100)); },
        [&] { Pick(blocks_).Set("UdpSourcePort", Number(3)); },
        [&] { Pick(blocks_).SetObjects({Draw(2) ? &fast : &slow}, relations::IptvProfile); },
        [&] { Pick(devices_).Set("DeviceCount", "1" + Number(3)); },
        [&] { Pick(devices_).SetObjects({Draw(2) ? &p1 : &p2}, relations::AffiliationPort); },
        [&] { Toggle(Pick(blocks_)); },
        [&] { Toggle(Pick(devices_)); },
        [&] { Toggle(TestProject::McastOf(Pick(devices_))); },
        [&] { ToggleRange(Pick(blocks_)); },
        [&] { range.Set("ChannelRangeStep", Number(3)); },
        [&] { fast.Set("ZapDirection", Number(2)); },
        [&] { iptv::RunningTest::SetRules({.fcc_check = Draw(2) != 0}); },
        [&] { far1.answer = [how = Draw(2) ? Answer::Fault : Answer::Respond](auto&) { return how; }; },
        [&] { AddBlock(); },
        [&] { Delete(false); },
        [&] { Delete(true); }};
    kinds[Draw(std::size(kinds))]();
}

TEST_F(ApplyChangesTest, FindsWhatALookAtEverythingFinds) {
    int applied = 0;
    for (int step = 0; step < 1000; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        Edit();
        const std::string failure = Apply();
        TakeJournal();
        // Everything counts as changed, although nothing has.
        project.Root().Set("Name", "Project " + std::to_string(step));
        const std::string failure_of_everything = Apply();
        // A port that refuses a request is not asked again for what it did not refuse.
        if (failure.find("refused") == std::string::npos) {
            ASSERT_EQ(failure, failure_of_everything);
        }
        if (failure.empty()) {
            ASSERT_THAT(TakeJournal(), IsEmpty());
            ++applied;
        }
    }
    EXPECT_GT(applied, 300);  // otherwise nothing has been tried
}

TEST_F(ApplyChangesTest, LeavesPortsAloneThatAnEditDoesNotConcern) {
    for (int i = 0; i < 2; ++i) ASSERT_EQ(Apply(), "");
    project.Put("A.MinBufferLevel=77");
    LogCapture log;
    ASSERT_EQ(Apply(), "");
    std::string looked_at;
    for (const std::string& line : log.Take())
        if (line.find("CIptvMsgSetCln::PrepareState") != std::string::npos)
            looked_at += line.substr(line.size() - 2);
    EXPECT_EQ(looked_at, "P1");
}

class LostChangesTest : public TwoPortsTest {};

TEST_F(LostChangesTest, NewGroupsAreExpectedWhereverTheyLieInMemory) {
    std::vector<CScriptable*> made;
    const auto make = [&](const std::string& generation) {
        for (std::uint32_t first = 100; first < 180; first += 4) {
            auto& block = project.MakeChannelBlock(generation + std::to_string(first), first, 4);
            auto& more = project.MakeRange(block, first, first + 3);
            TestProject::Relate(a, more, relations::StbChannel);
            made.insert(made.end(), {&more, &block, &TestProject::GroupOf(block)});
        }
    };
    make("Old");
    Sent();
    for (CScriptable* object : made) object->Delete();
    make("New");
    Sent();
    auto& config = *p1.GetObject(igmpmld::CMulticastPortConfig::CLASS_ID(), common::kParentChild);
    EXPECT_EQ(config.GetObjects("MulticastGroup", relations::ExpectedGroups).size(), 21u);
}

TEST_F(LostChangesTest, ABlockThatIsMadeOfAnotherDevicesObjectsFollowsThem) {
    b.SetObjects({&TestProject::McastOf(device_a)}, relations::MulticastParam);
    Sent();
    TestProject::McastOf(device_a).Set("Version", "IGMP_V3");
    EXPECT_THAT(Sent(), Contains("P2 UpdateSettopBlock B"));
    TestProject::McastOf(device_a).Set(ids::Scriptable::LocalActive, false);
    EXPECT_THAT(Apply(), HasSubstr("\"Host B\", the IGMP/MLD protocol must be activated."));
}

TEST_F(LostChangesTest, WhatAnInterfaceOffThePortUsedIsDeletedByTheNextApply) {
    auto& d = AddD();
    Sent();
    SetMembership(d, kOff);
    EXPECT_THAT(Sent(), ElementsAre("P2 DeleteSettopBlock D", "P2 DetachInterfaces 2"));
    EXPECT_THAT(Sent(), ElementsAre("P2 DeleteProfile Slow"));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(LostChangesTest, WhatIsDestroyedAtOnceIsDeletedFromThePortsThatKnowIt) {
    auto& other = project.MakeRange(channels, 5, 8, "Other");
    Sent();
    const std::string deletions[] = {" DeleteProfile " + std::to_string(fast.GetHandle()),
                                     " DeleteChannelBlock " + std::to_string(range.GetHandle())};
    for (iptv::CIptvStbBlockConfig* block : {&a, &b, &c}) {
        block->SetObjects({&slow}, relations::IptvProfile);
        block->SetObjects({&other}, relations::StbChannel);
    }
    fast.Delete();
    range.Delete();
    const auto sent = Sent();
    for (const std::string& deletion : deletions) {
        EXPECT_THAT(sent, Contains("P1" + deletion));
        EXPECT_THAT(sent, Contains("P2" + deletion));
    }
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(LostChangesTest, AnAddressThatMovesMeanwhileReachesAllPorts) {
    auto& d = AddD();
    Sent();
    // Port P2 has a block to delete first, and fills in the range later than P1.
    d.MarkDelete(true, true);
    project.Put("Range.ChannelRangeEnd=5");
    Meanwhile(far1, "UpdateChannelBlock", [this] { AddressesOf(channels).SetAddrIncrement(7); });
    Sent();
    far1.answer = nullptr;
    EXPECT_THAT(Sent(), Contains("P1 UpdateChannelBlock Range"));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(LostChangesTest, APortThatDoesNotTakePartForAWhileIsSentWhatItMissed) {
    CScriptable& system = core::COrvSystem::Instance();
    p2.Set(ids::Port::Online, false);
    EXPECT_THAT(Sent(), testing::Each(StartsWith("P1")));
    system.Set(ids::System::OfflinePortsTakePart, true);
    EXPECT_THAT(Sent(), testing::AllOf(testing::SizeIs(4), testing::Each(StartsWith("P2"))));
    system.Set(ids::System::OfflinePortsTakePart, false);
    project.Put("Fast.Interval=2000");
    project.Put("B.InterClientStartDelayStep=5");
    EXPECT_THAT(Sent(), ElementsAre("P1 UpdateProfile Fast"));
    system.Set(ids::System::OfflinePortsTakePart, true);
    EXPECT_THAT(Sent(), testing::IsSupersetOf({"P2 UpdateProfile Fast", "P2 UpdateSettopBlock B"}));
}

TEST_F(LostChangesTest, WhatIsEditedWhileATestRunsIsSentAfterIt) {
    project.Put("Fast.LocalActive=false");  // it is not validated
    Sent();
    SetTestRunning(true);
    project.Put("Fast.Interval=2000");
    EXPECT_THAT(Sent(), IsEmpty());
    SetTestRunning(false);
    EXPECT_THAT(Sent(), ElementsAre("P1 UpdateProfile Fast", "P2 UpdateProfile Fast"));
}

TEST_F(LostChangesTest, ATestTypeThatIsPreparedMeanwhileCountsAsAChange) {
    Meanwhile(far1, "UpdateProfile", [] { iptv::RunningTest::SetRules({.fcc_check = true}); });
    project.Put("A.UdpSourcePort=7000");
    Sent();
    far1.answer = nullptr;
    iptv::RunningTest::SetRules({});
    EXPECT_THAT(Sent(), ElementsAre("P1 AttachInterfaces 1,2", "P2 AttachInterfaces 1",
                                    "P1 UpdateSettopBlock A,C", "P2 UpdateSettopBlock B"));
}

}  // namespace
