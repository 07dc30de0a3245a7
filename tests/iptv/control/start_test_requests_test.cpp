// What is in the requests of a test start.
#include <algorithm>
#include <array>

#include "msgset/HwGeneral_1.h"
#include "orv/framework/sequencer.h"
#include "start_run_fixture.h"

namespace {

using namespace start_run_test;  // NOLINT: a test

TEST_F(StartRunTest, TheConfigurationSaysWhatTheCommandSays) {
    SetAll(command,
           "TestType FCC_WITH_RRR TestEnv TESTING TestDuration 30.9 JoinFailThreshold 5 UdpPort 4321 "
           "MaxSbitDelay 70 MinSbitDelay 60 ExtHdrCheckPatternPeriod 8 TestRetransThres 99 StartDelayStep 25 "
           "ExtHdrCheckEnable true TestName Friday");
    ASSERT_EQ(Start(), "");
    Take();
    using namespace iptvcd_1_bll;  // NOLINT
    testConfig_s expected;
    expected.config_handle = 9;
    expected.test_type = TestType::FCC_WITH_RRR;
    expected.test_env = TestEnv::TESTING;
    expected.test_duration = 30000;
    expected.join_fail_threshold = 5;
    expected.udp_port_type = UdpPortType::DEST;
    expected.udp_port = 4321;
    expected.udp_protocol = UdpProtocol::UDP;
    expected.max_sbit_delay = 70;
    expected.min_sbit_delay = 60;
    expected.ext_hdr_check_enable = true;
    expected.ext_hdr_check_pattern_period = 8;
    expected.rrr_test_config = {{99}};
    EXPECT_EQ(LastConfig(far1), expected);

    HwGeneral_1_bll::rxFilterEnables_s enables;
    parse_req_SetCutThruRxFilterEnables(&far2.Last("HwGeneral_1.SetCutThruRxFilterEnables"), &enables);
    EXPECT_EQ(enables, (HwGeneral_1_bll::rxFilterEnables_s{true, true, false}));

    std::uint32_t handle = 0, step = 0;
    std::vector<std::uint32_t> blocks;
    parse_req_Start(&far1.Last("Start"), &handle, &blocks, &step);
    EXPECT_EQ(handle, 9u);
    EXPECT_EQ(step, 25u);
    EXPECT_THAT(blocks, ElementsAre(a.GetHandle(), c.GetHandle()));

    EXPECT_THAT((std::vector{a.GetBaseStbIndex(), b.GetBaseStbIndex(), c.GetBaseStbIndex()}),
                ElementsAre(0, 3, 7));
    const iptv::TestRun& run = Manager().GetRun();
    EXPECT_EQ(Results()->Get("TestName"), "Friday");
    EXPECT_EQ(run.test_results, Results()->GetHandle());
    EXPECT_EQ(run.command, command.GetHandle());
    EXPECT_EQ(run.join_fail_threshold, 5);
    EXPECT_EQ(run.test_duration, 30.9);
    EXPECT_FALSE(run.sequencer_mode);
    EXPECT_EQ(Manager().GetPortCount(), 2u);
    EXPECT_EQ(Manager().GetDatabasePath(), "/results/test.db");
}

TEST_F(StartRunTest, TheTriggersAndFiltersAreTheCommands) {
    SetAll(command,
           "TestType FAST_CHANNEL_CHANGE_TEST MulticastJoinTrigger SBIT_AND_DELAY UnicastLeaveTrigger "
           "MULTICAST_PKT_AND_DELAY UdpPortType SOURCE VlanSubFilter INNER SaveResultsPerIteration true "
           "TestRetransThres 99");
    ASSERT_EQ(Start(), "");
    using namespace iptvcd_1_bll;  // NOLINT
    const testConfig_s config = LastConfig(far1);
    EXPECT_EQ(config.test_type, TestType::FAST_CHANNEL_CHANGE);
    EXPECT_EQ(config.mcast_join_trigger, MulticastJoinTriggerType::SBIT_AND_DELAY);
    EXPECT_EQ(config.unicast_leave_trigger, UnicastLeaveTriggerType::MULTICAST_PKT_AND_DELAY);
    EXPECT_EQ(config.udp_port_type, UdpPortType::SOURCE);
    EXPECT_EQ(config.vlan_sub_filter, VlanSubFilter::INNER);
    EXPECT_THAT(config.rrr_test_config, IsEmpty());
    EXPECT_TRUE(Manager().GetRun().kind.HasSbit() && Manager().GetRun().save_per_iteration);
}

TEST_F(StartRunTest, OnlyATestByHandIsNoPartOfASequence) {
    CScriptable& sequencer = framework::CSequencer::Instance();
    CScriptable& loop = *CScriptableCreator().Create("SequencerLoopCommand", &sequencer);
    for (CScriptable* parent : {&project.Root(), &sequencer, &loop}) {
        SCOPED_TRACE(parent->Describe());
        const bool by_hand = parent == &project.Root();
        auto& start = CScriptableCreator().Make<iptv::CIptvStartTestCommand>(parent);
        Choose(start, ids::TestType::VERIFICATION, ids::TestEnv::REAL_WORLD);
        start.SetCollection<std::uint32_t>(Id::StbBlockList, {a.GetHandle()});
        ASSERT_EQ(Start(start), "");
        EXPECT_EQ(Manager().GetRun().sequencer_mode, !by_hand);
        const Lines lines = Take();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "db StartInteractive"), by_hand);
        EXPECT_TRUE(start.CanSave());
        End(far1);
    }
    const iptv::OwnedScriptable alone(CScriptableCreator().Create(Id::CLASS, nullptr));
    EXPECT_FALSE(alone->CanSave());
}

TEST_F(StartRunTest, APortThatRefusesToReportItsEndCountsAsEnded) {
    far1.answer = Refuse("RegisterEOTNotify");
    ASSERT_EQ(Start(), "");
    EXPECT_THAT(log.Take(), Contains(testing::AllOf(HasSubstr("RegisterEOTNotify"), HasSubstr("refused"))));
    EXPECT_TRUE(IsRunning());
    End(far2);
    EXPECT_FALSE(IsRunning());
}

/// A connection that ends when a port is to be asked for the end of its test.
struct EndsAtEnd : framework::ITransport {
    explicit EndsAtEnd(Lines& carried) : carried_(carried) {}
    bool Send(std::vector<std::byte> bytes) override {
        carried_.push_back(tm::Message::decode(std::move(bytes)).get_request_name());
        return carried_.back() != "iptvcd_1.RegisterEOTNotify";
    }
    void SetCallbacks(Receive, Closed) override {}
    void Close() override {}
    Lines& carried_;
};

TEST_F(StartRunTest, APortThatCannotBeAskedForItsEndReportsResultsUntilTheNextTest) {
    Manager().Prepare({});
    Lines carried;
    framework::CRpcManager::Instance().Connect(p1.GetMessenger(), std::make_unique<EndsAtEnd>(carried));
    command.RegisterForResultAndEotNotifications(p1, {7}, 1);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("message to register EOT handler")));
    EXPECT_THAT(carried, ElementsAre(HasSubstr("RegisterResultsNotify"), HasSubstr("RegisterEOTNotify")));
    Manager().Prepare({});
    EXPECT_EQ(carried.back(), "iptvcd_1.DeregisterResultsNotify") << "or each result would come twice";
    framework::CRpcManager::Instance().Disconnect(p1.GetMessenger());
}

TEST_F(StartRunTest, TheFirstBlockOfAPortSaysWhichTagsAreFiltered) {
    using Flags = std::array<std::uint8_t, 3>;
    const auto flags = [this](const ScriptedPort& port) {
        const auto config = LastConfig(port);
        return Flags{config.vlan_outer, config.vlan_inner, config.ppp_enable};
    };
    const auto make_block = [this](testing_aids::Stack stack) -> auto& {
        return project.MakeStbBlock(project.MakeDevice(&p1, 1, stack), profile, {&range});
    };
    constexpr std::uint8_t kOuter = ids::VlanSubFilter::OUTER, kInner = ids::VlanSubFilter::INNER;
    const std::tuple<testing_aids::Stack, std::uint8_t, Flags> cases[] = {
        {{}, kOuter, {0, 0, 0}},
        {{.vlans = 1}, kInner, {1, 0, 0}},
        {{.vlans = 2}, kInner, {1, 1, 0}},
        {{.vlans = 3}, kOuter, {1, 1, 0}},
        {{.vlans = 1, .pppoe = true}, kInner, {1, 0, 1}},
        {{.vlans = 2, .pppoe = true}, kOuter, {1, 0, 1}},
        {{.vlans = 2, .pppoe = true}, kInner, {0, 1, 1}}};
    for (const auto& [stack, sub_filter, outer_inner_ppp] : cases) {
        auto& fresh = Make<iptv::CIptvStartTestCommand>();
        fresh.Set(Id::VlanSubFilter, sub_filter);
        fresh.CheckVlanAndPppEnable(make_block(stack));
        fresh.OnApplyTestUpdate(p1);
        Yield();
        EXPECT_EQ(flags(far1), outer_inner_ppp) << stack.vlans << ", " << stack.pppoe;
    }

    // The next port's tags are its own.
    command.SetCollection<std::uint32_t>(Id::StbBlockList,
                                         {b.GetHandle(), make_block({.vlans = 2}).GetHandle()});
    for (auto* block : {&a, &c}) block->Set(ids::Scriptable::LocalActive, false);
    Start();
    Take();
    EXPECT_EQ(flags(far1), (Flags{1, 1, 0}));
    EXPECT_EQ(flags(far2), (Flags{0, 0, 0}));
}

TEST_F(StartRunTest, PortsReportTheLessOftenTheMoreTheyAre) {
    Manager().Prepare({});
    for (const auto& [ports, interval_ms] : {std::pair{1, 1000u}, {3, 3000u}, {10, 10000u}, {11, 10000u}}) {
        command.RegisterForResultAndEotNotifications(p1, {7, 8}, ports);
        Yield();
        const tm::Message& results = far1.Last("RegisterResultsNotify");
        std::vector<std::uint32_t> blocks;
        std::uint32_t found = 0;
        iptvcd_1_bll::parse_req_RegisterResultsNotify(&results, &blocks, &found);
        EXPECT_EQ(found, interval_ms);
        EXPECT_THAT(blocks, ElementsAre(7, 8));
        EXPECT_TRUE(results.header().get_discard_eligible());
        iptvcd_1_bll::parse_req_RegisterEOTNotify(&far1.Last("RegisterEOTNotify"), &found);
        EXPECT_EQ(found, interval_ms);
    }
    Manager().DeregisterAllNotifications();
}

TEST_F(StartRunTest, TheDatabaseIsNamedByTheCommand) {
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"", false, "iptvTest|"},           {"iptvTest.db", false, "iptvTest|"},
        {"Friday.db", false, "Friday|"},    {"Friday", false, "Friday|"},
        {"a.db.db", false, "a.db|"},        {"/data/Friday.db", false, "|/data/Friday"},
        {"/data/x.y", false, "|/data/x.y"}, {"/data/Friday.db", true, "iptvTest|"}};
    Manager().Prepare({});
    for (const auto& [file, per_iteration, setting] : cases) {
        command.Set(Id::DatabaseFileName, std::string(file));
        command.Set(Id::SaveResultsPerIteration, per_iteration);
        command.SaveCommandToDb();
        EXPECT_THAT(Take(), Contains("db Setting IPTV_Test_Results " + std::string(setting))) << file;
    }
}

TEST_F(StartRunTest, AnApplyKeepsTheAnalyzersAndTheUsersOptions) {
    CScriptable& options = *project.Root().GetObject("ResultOptions", common::kParentChild);
    for (const std::uint8_t sections : {3, 15}) {
        options.Set(ids::ResultOptions::SavedSections, sections);
        options.Set(ids::ResultOptions::ClearAnalyzersOnApply, true);
        profile.SetObjectState(CScriptable::STATE_MODIFIED);
        std::string during_apply;
        far1.answer = [&](const tm::Message&) {
            if (during_apply.empty()) during_apply = options.Get("ClearAnalyzersOnApply");
            return Answer::Respond;
        };
        ASSERT_EQ(Start(), "");
        EXPECT_EQ(during_apply, sections == 15 ? "true" : "false");
        EXPECT_EQ(options.Get("SavedSections"), "15");
        EXPECT_EQ(options.Get("ClearAnalyzersOnApply"), "true");
        EndAll();
    }
}

}  // namespace
