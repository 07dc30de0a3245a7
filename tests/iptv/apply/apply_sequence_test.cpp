// Which requests an apply sends, in which order.
#include <functional>

#include "apply_fixture.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/orv_system.h"
#include "results/IptvResultsManager.h"

namespace {

using namespace orv;  // NOLINT: a test
using framework::CScriptable;
using iptv::CIptvMsgSetCln;
using iptv::CIptvStbBlockConfig;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing_aids::Answer;
using testing_aids::TestProject;
using Requests = std::vector<std::string>;
namespace relations = ids::relations;

class ApplySequenceTest : public testing_aids::TwoPortsTest {
  public:
    struct Case {
        const char* name;
        std::function<void(ApplySequenceTest&)> edit;
        Requests sent;
        /// Takes the edit back.
        std::function<void(ApplySequenceTest&)> edit_back = {};
        Requests sent_back = {};
    };
    static const std::vector<Case> kCases;

  protected:
    void EditMinBufferLevel(CIptvStbBlockConfig& block) {
        block.Set(ids::IptvStbBlockConfig::MinBufferLevel, ++level_);
    }
    core::CNetworkInterface& InterfaceOf(CIptvStbBlockConfig& block) { return *block.GetMcastIf(); }
    core::CIpv4NetworkBlock& Addresses() {
        return dynamic_cast<core::CIpv4NetworkBlock&>(*TestProject::GroupOf(channels).GetNetworkBlock());
    }
    void Move(core::CEmulatedDevice& device, core::CPort& from, core::CPort& to) {
        device.RemoveObject(from, relations::AffiliationPort);
        TestProject::Relate(device, to, relations::AffiliationPort);
    }
    void ChangeProfile(iptv::CIptvViewingProfileConfig& to) {
        for (CIptvStbBlockConfig* block : {&a, &b, &c}) block->SetObjects({&to}, relations::IptvProfile);
    }
    std::uint16_t level_ = 0;
};

const Requests kEverything{"P1 UpdateProfile Fast",       "P2 UpdateProfile Fast",        //
                           "P1 UpdateChannelBlock Range", "P2 UpdateChannelBlock Range",  //
                           "P1 AttachInterfaces 1,2",     "P2 AttachInterfaces 1",        //
                           "P1 UpdateSettopBlock A,C",    "P2 UpdateSettopBlock B"};
const Requests kRangeToBoth{"P1 UpdateChannelBlock Range", "P2 UpdateChannelBlock Range"};
const Requests kDeleteC{"P1 DeleteSettopBlock C", "P1 DetachInterfaces 2"};
const Requests kSendC{"P1 AttachInterfaces 2", "P1 UpdateSettopBlock C"};
const Requests kClearP1{"P1 DeleteSettopBlock A,C", "P1 DetachInterfaces 1,2", "P1 DeleteChannelBlock Range",
                        "P1 DeleteProfile Fast"};

using T = ApplySequenceTest;
// Each edit is made after a first apply, applied twice, and the second time nothing is sent.
const std::vector<T::Case> T::kCases{
    {"nothing", [](T&) {}, {}},
    {"profile edited",
     [](T& t) { t.fast.Set(ids::IptvViewingProfileConfig::Interval, 2000u); },
     {"P1 UpdateProfile Fast", "P2 UpdateProfile Fast"}},
    {"unused profile edited", [](T& t) { t.slow.Set(ids::IptvViewingProfileConfig::Interval, 2000u); }, {}},
    {"range edited", [](T& t) { t.range.Set(ids::IptvViewedChannels::ChannelRangeEnd, 5u); }, kRangeToBoth},
    {"channel block edited",
     [](T& t) { t.channels.Set(ids::IptvChannelBlock::UdpDestinationPort, std::uint16_t{7000}); },
     kRangeToBoth},
    {"group's address moved",
     [](T& t) { t.Addresses().SetStartIpList({*common::CIpAddress::FromString("225.1.0.1")}); },
     kRangeToBoth},
    {"group's increment changed", [](T& t) { t.Addresses().SetAddrIncrement(2); }, kRangeToBoth},
    {"STB block edited", [](T& t) { t.EditMinBufferLevel(t.c); }, kSendC},
    {"tag of an STB block's device edited",  // a value from around the block
     [](T& t) { t.device_c.Set(ids::EmulatedDevice::DeviceCount, 9u); }, kSendC},
    {"STB block deleted", [](T& t) { t.c.MarkDelete(true, true); }, kDeleteC},
    {"STB block destroyed",
     [](T& t) { t.c.Delete(); },
     {"P1 DeleteSettopBlock " + std::to_string(0), "P1 DetachInterfaces 2"}},
    {"STB block deactivated", [](T& t) { t.c.Set(ids::Scriptable::LocalActive, false); }, kDeleteC,
     [](T& t) { t.c.Set(ids::Scriptable::LocalActive, true); }, kSendC},
    {"device deactivated", [](T& t) { t.device_c.Set(ids::Scriptable::LocalActive, false); }, kDeleteC,
     [](T& t) { t.device_c.Set(ids::Scriptable::LocalActive, true); }, kSendC},
    {"interface off the port",
     [](T& t) { t.InterfaceOf(t.c).Set(ids::EmulatedIf::IlMembership, ids::IlMembership::EXCLUDED); },
     kDeleteC,
     [](T& t) { t.InterfaceOf(t.c).Set(ids::EmulatedIf::IlMembership, ids::IlMembership::INCLUDED); },
     kSendC},
    {"block moved with its device",
     [](T& t) { t.Move(t.device_c, t.p1, t.p2); },
     {"P1 DeleteSettopBlock C", "P2 AttachInterfaces 2", "P1 DetachInterfaces 2", "P2 UpdateSettopBlock C"},
     [](T& t) { t.Move(t.device_c, t.p2, t.p1); },
     {"P1 AttachInterfaces 2", "P2 DeleteSettopBlock C", "P1 UpdateSettopBlock C", "P2 DetachInterfaces 2"}},
    {"shared profile deleted",
     [](T& t) {
         t.ChangeProfile(t.slow);
         t.fast.MarkDelete(true, true);
     },
     {"P1 DeleteProfile Fast", "P2 DeleteProfile Fast", "P1 UpdateProfile Slow", "P2 UpdateProfile Slow",
      "P1 AttachInterfaces 1,2", "P2 AttachInterfaces 1", "P1 UpdateSettopBlock A,C",
      "P2 UpdateSettopBlock B"}},
    {"shared profile no longer used",
     [](T& t) { t.b.SetObjects({&t.slow}, relations::IptvProfile); },
     {"P2 DeleteProfile Fast", "P2 UpdateProfile Slow", "P2 AttachInterfaces 1", "P2 UpdateSettopBlock B"},
     [](T& t) { t.b.SetObjects({&t.fast}, relations::IptvProfile); },
     {"P2 DeleteProfile Slow", "P2 UpdateProfile Fast", "P2 AttachInterfaces 1", "P2 UpdateSettopBlock B"}},
    {"last blocks of a port deleted",
     [](T& t) {
         t.a.MarkDelete(true, true);
         t.c.MarkDelete(true, true);
     },
     kClearP1},
    {"port deleted", [](T& t) { t.p1.MarkDelete(true, true); }, kClearP1},
    {"port destroyed",
     [](T& t) {
         t.EditMinBufferLevel(t.b);
         t.p1.Delete();
     },
     {"P2 AttachInterfaces 1", "P2 UpdateSettopBlock B"}},
    {"port comes back online",
     [](T& t) {
         t.p2.Set(ids::Port::Online, false);
         t.EditMinBufferLevel(t.b);
     },
     {"P1 UpdateProfile Fast", "P1 UpdateChannelBlock Range"},
     [](T& t) { t.p2.Set(ids::Port::Online, true); },
     {"P2 UpdateProfile Fast", "P2 UpdateChannelBlock Range", "P2 AttachInterfaces 1",
      "P2 UpdateSettopBlock B"}},
};

class EditTest : public ApplySequenceTest, public testing::WithParamInterface<std::size_t> {
  protected:
    void ExpectSent(const Requests& expected) {
        EXPECT_EQ(Apply(), "");
        EXPECT_THAT(TakeJournal(), ElementsAreArray(expected));
        EXPECT_EQ(Apply(), "");
        EXPECT_THAT(TakeJournal(), IsEmpty()) << "nothing changed any more";
    }
};

TEST_P(EditTest, IsSentToThePortsThatItConcerns) {
    const Case& edit = kCases[GetParam()];
    SCOPED_TRACE(edit.name);
    ASSERT_EQ(Apply(), "");
    ASSERT_THAT(TakeJournal(), ElementsAreArray(kEverything));
    Requests sent = edit.sent;
    // A block that is gone altogether has only its number left.
    if (std::string(edit.name) == "STB block destroyed")
        sent[0] = "P1 DeleteSettopBlock " + std::to_string(c.GetHandle());
    edit.edit(*this);
    ExpectSent(sent);
    if (!edit.edit_back) return;
    edit.edit_back(*this);
    ExpectSent(edit.sent_back);
}

INSTANTIATE_TEST_SUITE_P(Edits, EditTest, testing::Range<std::size_t>(0, T::kCases.size()),
                         [](const auto& info) {
                             std::string name = T::kCases[info.param].name;
                             std::erase_if(name, [](char ch) { return !std::isalnum(ch); });
                             return name;
                         });

TEST_F(ApplySequenceTest, WhatIsDeletedIsForgotten) {
    ASSERT_EQ(Apply(), "");
    const std::uint32_t port = p1.GetHandle();
    EXPECT_NE(CIptvMsgSetCln::FindPortClient(port), nullptr);
    p1.MarkDelete(true, true);
    slow.MarkDelete(true, true);
    EXPECT_EQ(Apply(), "");
    EXPECT_EQ(CIptvMsgSetCln::FindPortClient(port), nullptr);
    EXPECT_THAT(CIptvMsgSetCln::FindPorts(), ElementsAre(p2.GetHandle()));
    EXPECT_FALSE(fast.FindPortinVec(port));
    EXPECT_TRUE(fast.FindPortinVec(p2.GetHandle()));
}

TEST_F(ApplySequenceTest, OfflinePortsWaitUnlessTheyTakePart) {
    p2.Set(ids::Port::Online, false);
    EXPECT_EQ(Apply(), "");
    EXPECT_EQ(far1.Take().size(), 4u);
    EXPECT_THAT(far2.Take(), IsEmpty());
    core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, true);
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(far1.Take(), IsEmpty());
    EXPECT_EQ(far2.Take().size(), 4u);
}

TEST_F(ApplySequenceTest, BlocksThatNeverReachedAPortAreNotDeletedFromIt) {
    InterfaceOf(a).Set(ids::EmulatedIf::IlMembership, ids::IlMembership::EXCLUDED);
    device_b.Set(ids::Scriptable::LocalActive, false);
    c.MarkDelete(true, true);
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(TakeJournal(), IsEmpty());
}

TEST_F(ApplySequenceTest, NothingIsSentWhileATestRuns) {
    ASSERT_EQ(Apply(), "");
    TakeJournal();
    auto* results = iptv::CIptvResultsManager::GetResultsManager();
    results->SetTestRunning(true);
    iptv::RunningTest::SetParticipants({{p1.GetHandle(), {a.GetHandle(), c.GetHandle()}}});
    EditMinBufferLevel(a);
    EXPECT_EQ(ApplyWithoutValidation(), "");
    EXPECT_THAT(TakeJournal(), IsEmpty());
    c.MarkDelete(true, true);
    const std::string refused =
        "Must not apply any new IPTV configuration changes while an IPTV test is running";
    EXPECT_EQ(Apply(), refused + "\n" + refused) << "A is edited, C deleted";
    EXPECT_THAT(TakeJournal(), IsEmpty());
    results->SetTestRunning(false);
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(TakeJournal(), ElementsAre("P1 DeleteSettopBlock C", "P1 DetachInterfaces 2",
                                           "P1 AttachInterfaces 1", "P1 UpdateSettopBlock A"));
}

TEST_F(ApplySequenceTest, APortThatGoesOfflineEndsTheTestAndItsApply) {
    auto* results = iptv::CIptvResultsManager::GetResultsManager();
    ASSERT_EQ(Apply(), "");
    results->SetTestRunning(true);
    p2.Set(ids::Port::Online, false);
    EXPECT_FALSE(results->IsTestRunning());
    p2.Set(ids::Port::Online, true);
    TakeJournal();
    far2.answer = [this](const tm::Message&) {
        p2.Set(ids::Port::Online, false);  // with a request outstanding, which is answered nevertheless
        return Answer::Respond;
    };
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(far2.Take(), testing::Contains("UpdateProfile Fast"));
    far2.answer = {};
    far2.Take();
    p2.Set(ids::Port::Online, true);
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(far2.Take(), ElementsAre("UpdateProfile Fast", "UpdateChannelBlock Range",
                                         "AttachInterfaces 1", "UpdateSettopBlock B"));
}

TEST_F(ApplySequenceTest, APortThatIsDestroyedMeanwhileStopsNoOther) {
    far2.answer = [this, done = false](const tm::Message&) mutable {
        if (!std::exchange(done, true)) p1.Delete();
        return Answer::Respond;
    };
    const std::uint32_t port = p1.GetHandle();
    EXPECT_EQ(Apply(), "");
    EXPECT_EQ(far1.Take().size(), 1u);
    EXPECT_EQ(far2.Take().size(), 4u);
    EXPECT_EQ(CIptvMsgSetCln::FindPortClient(port), nullptr);
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(far2.Take(), IsEmpty());
}

TEST_F(ApplySequenceTest, ABlockThatIsDeletedMeanwhileIsTakenBackByTheNextApply) {
    far1.answer = [this](const tm::Message& request) {
        if (request.get_request_name() == "iptvcd_1.AttachInterfaces") c.MarkDelete(true, true);
        return Answer::Respond;
    };
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(far1.Take(), ElementsAre("UpdateProfile Fast", "UpdateChannelBlock Range",
                                         "AttachInterfaces 1,2", "UpdateSettopBlock A"));
    EXPECT_EQ(Apply(), "");
    EXPECT_EQ(far1.Take().at(0), "DetachInterfaces 2") << "it was attached for the block";
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(far1.Take(), IsEmpty());
}

}  // namespace
