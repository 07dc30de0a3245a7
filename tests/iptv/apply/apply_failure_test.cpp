// Ports that reject requests.
#include "apply/ApplyStates.h"
#include "apply_fixture.h"
#include "orv/framework/handle_registry.h"

namespace testing_aids {
namespace {

/// What one failed request is reported as, but for the beginning of the text.
std::string Entry(int i, std::uint32_t sequence, const char* port, int code, const std::string& text) {
    return "error " + std::to_string(i) + ": msgSeqNum " + std::to_string(sequence) +
           ", msgrString: " + port + ", faultCode: " + std::to_string(code) + ", faultString: " + text;
}

const std::string kOneError = "IPTV Apply received error";

/// Block C has a profile and a range of its own, so that an apply can have all kinds of requests for P1.
struct FailureScene : TwoPorts {
    FailureScene() {
        c.SetObjects({&slow}, relations::IptvProfile);
        c.SetObjects({&other}, relations::StbChannel);
    }
    iptv::CIptvViewedChannels& other = project.MakeRange(channels, 5, 8, "Other");
};
class ApplyFailureTest : public testing::Test, protected FailureScene {};

const Requests kAllKinds{"DeleteSettopBlock C", "DetachInterfaces 2", "DeleteChannelBlock Other",
                         "DeleteProfile Slow",  "UpdateProfile Fast", "UpdateChannelBlock Range",
                         "AttachInterfaces 1",  "UpdateSettopBlock A"};
constexpr std::size_t kFirstUpdate = 4;

TEST(ApplyFailure, StopsItsPortOnlyAndTheNextApplyMakesItGood) {
    const Requests to_p2{"UpdateProfile Fast", "UpdateChannelBlock Range"};
    for (std::size_t failing = 0; failing < kAllKinds.size(); ++failing) {
        SCOPED_TRACE(kAllKinds[failing]);
        FailureScene s;
        // Slow enough that a second request would meet the first.
        s.far1.thinks = std::chrono::milliseconds(3);
        s.far2.thinks = std::chrono::milliseconds(5);
        s.Sent();
        s.c.MarkDelete(true, true);
        for (const char* edit : {"Fast.Interval=2000", "Range.ChannelRangeEnd=5", "A.MinBufferLevel=3"})
            s.project.Put(edit);
        s.far1.Take();
        s.far2.Take();
        TwoPorts::Spoil(s.far1, failing, Answer::Fault);
        const auto sequence = static_cast<std::uint32_t>(s.far1.GetRequests().size() + failing + 1);
        EXPECT_EQ(s.Apply(), kOneError + Entry(0, sequence, "P1", 7, "refused"));
        EXPECT_THAT(s.far1.Take(), ElementsAreArray(kAllKinds.begin(), kAllKinds.begin() + failing + 1));
        EXPECT_THAT(s.far2.Take(), ElementsAreArray(to_p2));

        // What was deleted is not deleted again; profiles and ranges are sent while they are dirty.
        s.far1.answer = {};
        s.Sent();
        EXPECT_THAT(s.far1.Take(),
                    ElementsAreArray(kAllKinds.begin() + std::min(failing, kFirstUpdate), kAllKinds.end()));
        EXPECT_THAT(s.far2.Take(), ElementsAreArray(to_p2));
        EXPECT_THAT(s.Sent(), IsEmpty());
        EXPECT_EQ(s.far1.GetMostOutstanding(), 1);
        EXPECT_EQ(s.far2.GetMostOutstanding(), 1);
    }
}

TEST_F(ApplyFailureTest, WhatIsNewToAPortIsSentUntilThePortHasIt) {
    ASSERT_EQ(Apply(), "");
    far2.Take();
    device_c.SetObjects({&p2}, relations::AffiliationPort);
    const std::string profile = "UpdateProfile Slow", range = "UpdateChannelBlock Other",
                      interface = "AttachInterfaces 2", block = "UpdateSettopBlock C";
    const struct {
        std::size_t failing;
        Requests sent;
    } applies[] = {{0, {profile}}, {1, {profile, range}}, {1, {range, interface}}, {1, {interface, block}}};
    for (const auto& apply : applies) {
        Spoil(far2, apply.failing, Answer::Fault);
        EXPECT_NE(Apply(), "");
        EXPECT_THAT(far2.Take(), ElementsAreArray(apply.sent));
    }
    far2.answer = {};
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(far2.Take(), ElementsAre(interface, block));
    EXPECT_THAT(far1.Take(), testing::Not(Contains(block)));
}

TEST_F(ApplyFailureTest, AnExcludedInterfaceIsDetachedHoweverFarItsBlockHasCome) {
    c.SetObjects({&fast}, relations::IptvProfile);
    c.SetObjects({&range}, relations::StbChannel);
    ASSERT_EQ(Apply(), "");
    far1.Take();
    constexpr std::size_t kNone = 9;
    const std::string attach = "AttachInterfaces 2", update = "UpdateSettopBlock C",
                      remove = "DeleteSettopBlock C", detach = "DetachInterfaces 2";
    const struct {
        std::uint8_t membership;
        std::size_t failing;
        Requests sent;
    } applies[] = {{kOff, 0, {remove}},        {kOff, 1, {remove, detach}}, {kOff, kNone, {detach}},
                   {kOn, 1, {attach, update}}, {kOff, kNone, {detach}},     {kOn, kNone, {attach, update}}};
    for (const auto& apply : applies) {
        SetMembership(c, apply.membership);
        Spoil(far1, apply.failing, Answer::Fault);
        EXPECT_EQ(Apply() == "", apply.failing == kNone);
        EXPECT_THAT(far1.Take(), ElementsAreArray(apply.sent));
        if (apply.failing != kNone) continue;
        // Nothing has changed since, so that an apply has nothing to refuse.
        SetTestRunning(true);
        EXPECT_EQ(Apply(), "");
        SetTestRunning(false);
    }
}

TEST_F(ApplyFailureTest, AMovedGroupReachesAlsoThePortThatFailedBeforeIt) {
    ASSERT_EQ(Apply(), "");
    for (const std::size_t failing : {0, 1}) {
        SCOPED_TRACE(failing);
        project.Put(failing ? "Fast.Interval=2050" : "Fast.Interval=2000");
        AddressesOf(channels).SetAddrIncrement(AddressesOf(channels).GetAddrIncrement() + 1);
        Spoil(far1, failing, Answer::Fault);
        EXPECT_NE(Apply(), "");
        far1.answer = {};
        far1.Take();
        Sent();
        EXPECT_THAT(far1.Take(), ElementsAre("UpdateProfile Fast", "UpdateChannelBlock Range,Other"));
        EXPECT_THAT(Sent(), IsEmpty());
    }
}

TEST_F(ApplyFailureTest, AnswersThatDoNotComeFailTheApply) {
    const std::string late = "iptvcd_1.UpdateProfile was not answered within 30000 ms";
    const struct {
        Answer how;
        int code;
        std::string text;
    } cases[] = {
        {Answer::Nothing, -1, late},
        {Answer::Late, -1, late},
        {Answer::WrongType, -1, late},
        {Answer::CloseInstead, -2,
         "iptvcd_1.UpdateProfile was not answered: the other end closed the connection"},
    };
    std::uint32_t sequence = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Spoil(far1, 0, c.how);
        EXPECT_EQ(Apply(), kOneError + Entry(0, ++sequence, "P1", c.code, c.text));
    }
    far2.Take();
    // The connection is closed.
    EXPECT_EQ(Apply(), kOneError + Entry(0, 0, "P1", -1, "iptvcd_1.UpdateProfile could not be sent"));
    far2.Take();
    const ScriptedPort again(p1);
    EXPECT_EQ(Apply(), "");
    EXPECT_EQ(again.GetRequests().size(), 4u);
    EXPECT_EQ(Apply(), "");
    EXPECT_EQ(again.GetRequests().size(), 4u);
}

TEST_F(ApplyFailureTest, WhatFailsIsLoggedWithItsStep) {
    LogCapture log;
    Spoil(far1, 0, Answer::Fault);
    framework::CRpcManager::Instance().Disconnect(p2.GetMessenger());
    const std::string failure = Apply();
    const auto lines = log.Take();
    const std::string request = "\"iptvcd_1.UpdateProfile\", fault ", step = " (Update Profile) message ",
                      of = "RPC error for CIptvMsgSetCln::";
    for (const std::string& text :
         {of + "GenericResponseHandler" + step + "response: Seq 1, " + request + "7, \"refused\" on port P1",
          of + "Dispatch" + step + "send: Seq 0, " + request + "0, \"\" on port P2",
          std::string("IPTV Apply received errors"), failure})
        EXPECT_THAT(lines, Contains("content.mulvane.iptv Error: " + text));
}

TEST_F(ApplyFailureTest, WhatHasBeenSentIsProcessed) {
    framework::ApplyContext context;
    context.SetCurrentObject(&project.Root());
    CIptvMsgSetCln::OnApplyProject(context);
    std::vector<std::string> names;
    for (const std::uint32_t handle : context.GetProcessedObjects())
        names.push_back(framework::CHandleRegistry::Instance().Find(handle)->GetName());
    EXPECT_THAT(names,
                testing::UnorderedElementsAre("Fast", "Slow", "Range", "Other", "News", "A", "B", "C"));
    EXPECT_THAT(context.GetFailedObjects(), IsEmpty());
}

TEST_F(ApplyFailureTest, FaultsOfAllPassesAreThrownAtTheEnd) {
    Spoil(far1, 1, Answer::Fault);
    Spoil(far2, 2, Answer::Fault);
    EXPECT_EQ(Apply(), kOneError + "s" + Entry(0, 2, "P1", 7, "refused") + Entry(1, 3, "P2", 7, "refused"));
    far2.answer = {};
    Spoil(far1, 0, Answer::Fault);
    framework::CRpcManager::Instance().Disconnect(p2.GetMessenger());
    EXPECT_EQ(Apply(), kOneError + "s" + Entry(0, 0, "P2", -1, "iptvcd_1.UpdateProfile could not be sent") +
                           Entry(1, 3, "P1", 7, "refused"));
}

TEST_F(ApplyFailureTest, AnswersOfStepsThatAreGoneAreIgnored) {
    ASSERT_EQ(Apply(), "");
    CIptvMsgSetCln& client = *CIptvMsgSetCln::FindPortClient(p1.GetHandle());
    client.AddToApplyMap(iptv::apply_key::kDeleteSettopBlock, &a);
    client.Begin(std::make_unique<iptv::DeleteStbBlockState>());
    tm::Message message;
    message.set_msg_type(tm::TMT_REQUEST);
    client.GenericResponseHandler(1, &message, nullptr);
    EXPECT_TRUE(client.IsBusy()) << "a request is no answer";
    message.set_msg_type(tm::TMT_RESPONSE);
    client.Abandon();
    client.GenericResponseHandler(1, &message, nullptr);
    EXPECT_FALSE(client.IsBusy());
    EXPECT_FALSE(client.KnownBlocks().at(a.GetHandle()).deleted);
}

}  // namespace
}  // namespace testing_aids
