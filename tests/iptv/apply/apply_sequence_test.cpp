// Which requests an apply sends, in which order.
#include "apply_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using iptv::CIptvStbBlockConfig;
using PortsEdit = EditOf<TwoPorts>;

const Requests kEverything{"P1 UpdateProfile Fast",       "P2 UpdateProfile Fast",        //
                           "P1 UpdateChannelBlock Range", "P2 UpdateChannelBlock Range",  //
                           "P1 AttachInterfaces 1,2",     "P2 AttachInterfaces 1",        //
                           "P1 UpdateSettopBlock A,C",    "P2 UpdateSettopBlock B"};
const Requests kProfileToBoth{"P1 UpdateProfile Fast", "P2 UpdateProfile Fast"};
const Requests kRangeToBoth{"P1 UpdateChannelBlock Range", "P2 UpdateChannelBlock Range"};
const Requests kDeleteC{"P1 DeleteSettopBlock C", "P1 DetachInterfaces 2"};
const Requests kSendB{"P2 AttachInterfaces 1", "P2 UpdateSettopBlock B"};
const Requests kSendC{"P1 AttachInterfaces 2", "P1 UpdateSettopBlock C"};
const Requests kClearP1{"P1 DeleteSettopBlock A,C", "P1 DetachInterfaces 1,2", "P1 DeleteChannelBlock Range",
                        "P1 DeleteProfile Fast"};

using Two = TwoPorts;

struct Case {
    const char* name;
    PortsEdit edit;
    Requests sent;
    PortsEdit edit_back = {};
    Requests sent_back = {};
};

// Each edit is made after a first apply, applied twice, and the second time nothing is sent.
const Case kCases[] = {
    {"nothing", [](Two&) {}, {}},
    {"profile edited", "Fast.Interval=2000", kProfileToBoth},
    {"unused profile edited", "Slow.Interval=2000", {}},
    {"range edited", "Range.ChannelRangeEnd=5", kRangeToBoth},
    {"channel block edited", "News.UdpDestinationPort=7000", kRangeToBoth},
    {"group's address moved", [](Two& t) { t.AddressesOf(t.channels).Set("StartIpList", "225.1.0.1"); },
     kRangeToBoth},
    {"group's increment changed", [](Two& t) { t.AddressesOf(t.channels).SetAddrIncrement(2); },
     kRangeToBoth},
    {"STB block edited", "C.MinBufferLevel=1", kSendC},
    {"value from around an STB block edited", "Host C.DeviceCount=9", kSendC},
    {"STB block deleted", [](Two& t) { t.c.MarkDelete(true, true); }, kDeleteC},
    {"STB block deactivated", "C.LocalActive=false", kDeleteC, "C.LocalActive=true", kSendC},
    {"device deactivated", "Host C.LocalActive=false", kDeleteC, "Host C.LocalActive=true", kSendC},
    {"interface off the port", [](Two& t) { t.SetMembership(t.c, kOff); }, kDeleteC,
     [](Two& t) { t.SetMembership(t.c, kOn); }, kSendC},
    {"block moved with its device",
     [](Two& t) { t.device_c.SetObjects({&t.p2}, relations::AffiliationPort); },
     {"P1 DeleteSettopBlock C", "P2 AttachInterfaces 2", "P1 DetachInterfaces 2", "P2 UpdateSettopBlock C"},
     [](Two& t) { t.device_c.SetObjects({&t.p1}, relations::AffiliationPort); },
     {"P1 AttachInterfaces 2", "P2 DeleteSettopBlock C", "P1 UpdateSettopBlock C", "P2 DetachInterfaces 2"}},
    {"shared profile deleted",
     [](Two& t) {
         for (CIptvStbBlockConfig* block : {&t.a, &t.b, &t.c})
             block->SetObjects({&t.slow}, relations::IptvProfile);
         t.fast.MarkDelete(true, true);
     },
     {"P1 DeleteProfile Fast", "P2 DeleteProfile Fast", "P1 UpdateProfile Slow", "P2 UpdateProfile Slow",
      "P1 AttachInterfaces 1,2", "P2 AttachInterfaces 1", "P1 UpdateSettopBlock A,C",
      "P2 UpdateSettopBlock B"}},
    {"shared profile no longer used",
     [](Two& t) { t.b.SetObjects({&t.slow}, relations::IptvProfile); },
     {"P2 DeleteProfile Fast", "P2 UpdateProfile Slow", kSendB[0], kSendB[1]},
     [](Two& t) { t.b.SetObjects({&t.fast}, relations::IptvProfile); },
     {"P2 DeleteProfile Slow", "P2 UpdateProfile Fast", kSendB[0], kSendB[1]}},
    {"last blocks of a port deleted", [](Two& t) { t.a.MarkDelete(true, true), t.c.MarkDelete(true, true); },
     kClearP1},
    {"port deleted", [](Two& t) { t.p1.MarkDelete(true, true); }, kClearP1},
    {"port destroyed", [](Two& t) { t.project.Put("B.MinBufferLevel=1"), t.p1.Delete(); }, kSendB},
    {"port comes back online",
     [](Two& t) { t.project.Put("P2.Online=false"), t.project.Put("B.MinBufferLevel=1"); },
     {"P1 UpdateProfile Fast", "P1 UpdateChannelBlock Range"},
     "P2.Online=true",
     {"P2 UpdateProfile Fast", "P2 UpdateChannelBlock Range", kSendB[0], kSendB[1]}}};

TEST(ApplySequence, AnEditIsSentToThePortsThatItConcerns) {
    for (const Case& edit : kCases) {
        SCOPED_TRACE(edit.name);
        TwoPorts scene;
        ASSERT_THAT(scene.Sent(), ElementsAreArray(kEverything));
        edit.edit(scene);
        EXPECT_THAT(scene.Sent(), ElementsAreArray(edit.sent));
        EXPECT_THAT(scene.Sent(), IsEmpty());
        if (!edit.edit_back) continue;
        edit.edit_back(scene);
        EXPECT_THAT(scene.Sent(), ElementsAreArray(edit.sent_back));
        EXPECT_THAT(scene.Sent(), IsEmpty());
    }
}

class ApplySequenceTest : public TwoPortsTest {};

TEST_F(ApplySequenceTest, ABlockThatIsDestroyedHasOnlyItsNumberLeft) {
    Sent();
    const std::string number = std::to_string(c.GetHandle());
    c.Delete();
    EXPECT_THAT(Sent(), ElementsAre("P1 DeleteSettopBlock " + number, "P1 DetachInterfaces 2"));
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(ApplySequenceTest, WhatIsDeletedIsForgotten) {
    Sent();
    const std::uint32_t port = p1.GetHandle();
    EXPECT_NE(CIptvMsgSetCln::FindPortClient(port), nullptr);
    p1.MarkDelete(true, true);
    slow.MarkDelete(true, true);
    Sent();
    EXPECT_EQ(CIptvMsgSetCln::FindPortClient(port), nullptr);
    EXPECT_THAT(CIptvMsgSetCln::FindPorts(), ElementsAre(p2.GetHandle()));
    EXPECT_TRUE(!fast.FindPortinVec(port) && fast.FindPortinVec(p2.GetHandle()));
}

TEST_F(ApplySequenceTest, BlocksThatNeverReachedAPortAreNotDeletedFromIt) {
    SetMembership(a, kOff);
    project.Put("Host B.LocalActive=false");
    c.MarkDelete(true, true);
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(ApplySequenceTest, NothingIsSentWhileATestRuns) {
    Sent();
    SetTestRunning(true);
    iptv::RunningTest::SetParticipants({{p1.GetHandle(), {a.GetHandle(), c.GetHandle()}}});
    project.Put("A.MinBufferLevel=1");
    EXPECT_EQ(ApplyWithoutValidation(), "");
    c.MarkDelete(true, true);
    const std::string refused =
        "Must not apply any new IPTV configuration changes while an IPTV test is running";
    EXPECT_EQ(Apply(), refused + "\n" + refused) << "A is edited, C deleted";
    EXPECT_THAT(TakeJournal(), IsEmpty());
    SetTestRunning(false);
    EXPECT_THAT(Sent(),
                ElementsAre(kDeleteC[0], kDeleteC[1], "P1 AttachInterfaces 1", "P1 UpdateSettopBlock A"));
}

TEST_F(ApplySequenceTest, APortThatGoesOfflineEndsTheTestAndItsApply) {
    Sent();
    SetTestRunning(true);
    p2.Set(ids::Port::Online, false);
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
    p2.Set(ids::Port::Online, true);
    // With a request outstanding, which is answered nevertheless.
    Meanwhile(far2, "UpdateProfile", [this] { p2.Set(ids::Port::Online, false); });
    EXPECT_THAT(Sent(), testing::AllOf(Contains("P2 UpdateProfile Fast"),
                                       testing::Not(Contains("P2 UpdateChannelBlock Range"))));
    far2.answer = {};
    p2.Set(ids::Port::Online, true);
    far2.Take();
    Sent();
    EXPECT_THAT(far2.Take(), ElementsAre("UpdateProfile Fast", "UpdateChannelBlock Range",
                                         "AttachInterfaces 1", "UpdateSettopBlock B"));
}

TEST_F(ApplySequenceTest, APortThatIsDestroyedMeanwhileStopsNoOther) {
    Meanwhile(far2, "UpdateProfile", [this] { p1.Delete(); });
    const std::uint32_t port = p1.GetHandle();
    Sent();
    EXPECT_EQ(far1.Take().size(), 1u);
    EXPECT_EQ(far2.Take().size(), 4u);
    EXPECT_EQ(CIptvMsgSetCln::FindPortClient(port), nullptr);
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(ApplySequenceTest, ABlockThatIsDeletedMeanwhileIsTakenBackByTheNextApply) {
    Meanwhile(far1, "AttachInterfaces", [this] { c.MarkDelete(true, true); });
    Sent();
    EXPECT_THAT(far1.Take(), ElementsAre("UpdateProfile Fast", "UpdateChannelBlock Range",
                                         "AttachInterfaces 1,2", "UpdateSettopBlock A"));
    Sent();
    EXPECT_EQ(far1.Take().at(0), "DetachInterfaces 2") << "it was attached for the block";
    EXPECT_THAT(Sent(), IsEmpty());
}

}  // namespace
