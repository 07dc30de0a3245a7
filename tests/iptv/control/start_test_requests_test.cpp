// What is in the requests of a test start.
#include <algorithm>
#include <array>
#include <memory>

#include "msgset/HwGeneral_1.h"
#include "msgset/iptvcd_1.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/transport.h"
#include "start_run_fixture.h"

namespace {

using namespace start_run_test;  // NOLINT: a test

TEST_F(StartRunTest, TheConfigurationSaysWhatTheCommandSays) {
    Choose(ids::TestType::FCC_WITH_RRR, ids::TestEnv::TESTING);
    command.Set(Id::TestDuration, 30.9);
    for (const auto& [id, value] : {std::pair{Id::JoinFailThreshold, 5u},
                                    {Id::UdpPort, 4321u},
                                    {Id::MaxSbitDelay, 70u},
                                    {Id::MinSbitDelay, 60u},
                                    {Id::ExtHdrCheckPatternPeriod, 8u},
                                    {Id::TestRetransThres, 99u},
                                    {Id::StartDelayStep, 25u}})
        command.Set(id, value);
    command.Set(Id::ExtHdrCheckEnable, true);
    command.Set(Id::TestName, "Friday");
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
    testConfig_s config;
    parse_req_UpdateConfig(&far1.Last("UpdateConfig"), &config);
    EXPECT_EQ(config, expected);

    HwGeneral_1_bll::rxFilterEnables_s enables;
    parse_req_SetCutThruRxFilterEnables(&far2.Last("HwGeneral_1.SetCutThruRxFilterEnables"), &enables);
    EXPECT_EQ(enables, (HwGeneral_1_bll::rxFilterEnables_s{true, true, false}));

    std::uint32_t handle = 0;
    std::uint32_t step = 0;
    std::vector<std::uint32_t> blocks;
    parse_req_Start(&far1.Last("Start"), &handle, &blocks, &step);
    EXPECT_EQ(handle, 9u);
    EXPECT_EQ(step, 25u);
    EXPECT_THAT(blocks, ElementsAre(a.GetHandle(), c.GetHandle()));

    EXPECT_THAT((std::vector{a.GetBaseStbIndex(), b.GetBaseStbIndex(), c.GetBaseStbIndex()}),
                ElementsAre(0, 3, 7));
    ASSERT_NE(Results(), nullptr);
    EXPECT_EQ(Results()->Get("TestName"), "Friday");
    EXPECT_EQ(Manager().GetRun().test_results, Results()->GetHandle());
    EXPECT_EQ(Manager().GetRun().command, command.GetHandle());
    EXPECT_EQ(Manager().GetRun().join_fail_threshold, 5);
    EXPECT_EQ(Manager().GetRun().test_duration, 30.9);
    EXPECT_FALSE(Manager().GetRun().sequencer_mode);
    EXPECT_EQ(Manager().GetPortCount(), 2u);
    EXPECT_EQ(Manager().GetDatabasePath(), "/results/test.db");
}

TEST_F(StartRunTest, TheTriggersAndFiltersAreTheCommands) {
    command.Set("TestType", "FAST_CHANNEL_CHANGE_TEST");
    EXPECT_EQ(command.Get("TestType"), "FAST_CHANNEL_CHANGE");
    for (const auto& [name, value] : {std::pair{"MulticastJoinTrigger", "SBIT_AND_DELAY"},
                                      {"UnicastLeaveTrigger", "MULTICAST_PKT_AND_DELAY"},
                                      {"UdpPortType", "SOURCE"},
                                      {"VlanSubFilter", "INNER"},
                                      {"SaveResultsPerIteration", "true"},
                                      {"TestRetransThres", "99"}})
        command.Set(name, value);
    auto& tagged = project.MakeDevice(&p1, 1, {.vlans = 2});
    SetAddress(tagged, "10.0.4.1");
    c.Set(ids::Scriptable::LocalActive, false);
    a.Set(ids::Scriptable::LocalActive, false);
    auto& block = project.MakeStbBlock(tagged, profile, {&range});
    block.Set(ids::IptvStbBlockConfig::UdpSourcePort, std::uint16_t{7000});
    command.SetCollection<std::uint32_t>(Id::StbBlockList, {block.GetHandle()});
    b.Set(ids::Scriptable::LocalActive, false);
    ASSERT_EQ(Start(), "");
    using namespace iptvcd_1_bll;  // NOLINT
    testConfig_s config;
    parse_req_UpdateConfig(&far1.Last("UpdateConfig"), &config);
    EXPECT_EQ(config.test_type, TestType::FAST_CHANNEL_CHANGE);
    EXPECT_EQ(config.mcast_join_trigger, MulticastJoinTriggerType::SBIT_AND_DELAY);
    EXPECT_EQ(config.unicast_leave_trigger, UnicastLeaveTriggerType::MULTICAST_PKT_AND_DELAY);
    EXPECT_EQ(config.udp_port_type, UdpPortType::SOURCE);
    EXPECT_EQ(config.vlan_sub_filter, VlanSubFilter::INNER);
    EXPECT_TRUE(config.rrr_test_config.empty());
    EXPECT_TRUE(config.vlan_outer && config.vlan_inner);
    EXPECT_TRUE(Manager().GetRun().kind.HasSbit());
    EXPECT_TRUE(Manager().GetRun().save_per_iteration);
}

TEST_F(StartRunTest, OnlyATestByHandIsNoPartOfASequence) {
    CScriptable& sequencer = framework::CSequencer::Instance();
    CScriptable& loop = *CScriptableCreator().Create("SequencerLoopCommand", &sequencer);
    for (const auto& [parent, by_hand] :
         {std::pair<CScriptable*, bool>{&project.Root(), true}, {&sequencer, false}, {&loop, false}}) {
        SCOPED_TRACE(parent->Describe());
        auto& start = CScriptableCreator().Make<iptv::CIptvStartTestCommand>(parent);
        start.Set("TestType", "VERIFICATION");
        start.Set("TestEnv", "REAL_WORLD");
        start.SetCollection<std::uint32_t>(Id::StbBlockList, {a.GetHandle()});
        ASSERT_EQ(Start(start), "");
        EXPECT_EQ(Manager().GetRun().sequencer_mode, !by_hand);
        const Lines lines = Take();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "db StartInteractive"), by_hand);
        EXPECT_TRUE(start.CanSave());
        End(far1);
    }
    const std::unique_ptr<CScriptable, void (*)(CScriptable*)> alone(
        CScriptableCreator().Create(Id::CLASS, nullptr), framework::ReleaseScriptable);
    EXPECT_FALSE(alone->CanSave());
}

TEST_F(StartRunTest, APortThatRefusesToReportItsEndCountsAsEnded) {
    far1.answer = [](const tm::Message& request) {
        return request.get_request_name() == "iptvcd_1.RegisterEOTNotify" ? Answer::Fault : Answer::Respond;
    };
    ASSERT_EQ(Start(), "");
    EXPECT_THAT(log.Take(), Contains(testing::AllOf(HasSubstr("RegisterEOTNotify"), HasSubstr("refused"))));
    EXPECT_TRUE(CIptvResultsManager::IsTestRunning());
    End(far2);
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
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
    auto& rpc = framework::CRpcManager::Instance();
    rpc.Connect(p1.GetMessenger(), std::make_unique<EndsAtEnd>(carried));
    command.RegisterForResultAndEotNotifications(p1, {7}, 1);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("message to register EOT handler")));
    EXPECT_THAT(carried, ElementsAre(HasSubstr("RegisterResultsNotify"), HasSubstr("RegisterEOTNotify")));
    Manager().Prepare({});
    EXPECT_EQ(carried.back(), "iptvcd_1.DeregisterResultsNotify") << "or each result would come twice";
    rpc.Disconnect(p1.GetMessenger());
}

TEST_F(StartRunTest, TheFirstBlockOfAPortSaysWhichTagsAreFiltered) {
    const struct {
        testing_aids::Stack stack;
        std::uint8_t sub_filter;
        std::array<std::uint8_t, 3> outer_inner_ppp;
    } cases[] = {
        {{}, ids::VlanSubFilter::OUTER, {0, 0, 0}},
        {{.vlans = 1}, ids::VlanSubFilter::INNER, {1, 0, 0}},
        {{.vlans = 2}, ids::VlanSubFilter::INNER, {1, 1, 0}},
        {{.vlans = 3}, ids::VlanSubFilter::OUTER, {1, 1, 0}},
        {{.vlans = 1, .pppoe = true}, ids::VlanSubFilter::INNER, {1, 0, 1}},
        {{.vlans = 2, .pppoe = true}, ids::VlanSubFilter::OUTER, {1, 0, 1}},
        {{.vlans = 2, .pppoe = true}, ids::VlanSubFilter::INNER, {0, 1, 1}},
    };
    for (const auto& test : cases) {
        auto& fresh = CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root());
        fresh.Set(Id::VlanSubFilter, test.sub_filter);
        auto& block = project.MakeStbBlock(project.MakeDevice(&p1, 1, test.stack), profile, {&range});
        fresh.CheckVlanAndPppEnable(block);
        fresh.OnApplyTestUpdate(p1);
        Yield();
        iptvcd_1_bll::testConfig_s config;
        iptvcd_1_bll::parse_req_UpdateConfig(&far1.Last("UpdateConfig"), &config);
        EXPECT_EQ((std::array{config.vlan_outer, config.vlan_inner, config.ppp_enable}), test.outer_inner_ppp)
            << test.stack.vlans << " tags, PPPoE " << test.stack.pppoe;
    }

    // The next port's tags are its own.
    auto& tagged = project.MakeStbBlock(project.MakeDevice(&p1, 1, {.vlans = 2}), profile, {&range});
    command.SetCollection<std::uint32_t>(Id::StbBlockList, {b.GetHandle(), tagged.GetHandle()});
    for (auto* block : {&a, &c}) block->Set(ids::Scriptable::LocalActive, false);
    Start();
    Take();
    for (const auto& [far, expected] : {std::pair{&far1, std::array{1, 1}}, {&far2, std::array{0, 0}}}) {
        iptvcd_1_bll::testConfig_s config;
        iptvcd_1_bll::parse_req_UpdateConfig(&far->Last("UpdateConfig"), &config);
        EXPECT_EQ((std::array<int, 2>{config.vlan_outer, config.vlan_inner}), expected);
    }
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

TEST_F(StartRunTest, FaultsAreLoggedAndAnswersMayComeWhenTheCommandIsGone) {
    far1.answer = [](const tm::Message& request) {
        const std::string& name = request.get_request_name();
        return name == "iptvcd_1.Start" || name == "iptvcd_1.UpdateConfig" ? Answer::Fault : Answer::Respond;
    };
    auto& shortlived = CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root());
    shortlived.Set(Id::TestType, "VERIFICATION");
    shortlived.Set(Id::TestEnv, "REAL_WORLD");
    EXPECT_EQ(Start(shortlived), "");
    shortlived.Delete();
    Yield();
    const Lines lines = log.Take();
    EXPECT_THAT(lines,
                Contains(testing::AllOf(StartsWith("content.mulvane.iptv Error: Rcvd error response on "
                                                   "IptvStartTestCommand: seq("),
                                        testing::EndsWith(") refused on port "))));
    EXPECT_THAT(lines,
                Contains("content.mulvane.iptv Error: P1 did not carry out iptvcd_1.UpdateConfig: refused"));
    EXPECT_THAT(lines, Not(Contains(HasSubstr("REMOTE PROCEDURE ERROR"))));
    EXPECT_THAT(lines, Contains(HasSubstr(" In CIptvStartTestCommand::SetConfigHandler Message Response 2")));
    EXPECT_THAT(lines, Contains(HasSubstr(" In CIptvStartTestCommand::SetConfigHandler Message Response 1")));
}

TEST_F(StartRunTest, TheDatabaseIsNamedByTheCommand) {
    const struct {
        const char* file;
        bool per_iteration;
        const char* setting;
    } cases[] = {
        {"", false, "iptvTest|"},           {"iptvTest.db", false, "iptvTest|"},
        {"Friday.db", false, "Friday|"},    {"Friday", false, "Friday|"},
        {"a.db.db", false, "a.db|"},        {"/data/Friday.db", false, "|/data/Friday"},
        {"/data/x.y", false, "|/data/x.y"}, {"/data/Friday.db", true, "iptvTest|"},
    };
    CIptvResultsManager::GetResultsManager();  // without one there are no results to store
    for (const auto& test : cases) {
        command.Set(Id::DatabaseFileName, std::string(test.file));
        command.Set(Id::SaveResultsPerIteration, test.per_iteration);
        command.SaveCommandToDb();
        EXPECT_THAT(Take(), Contains(std::string("db Setting IPTV_Test_Results ") + test.setting))
            << test.file;
    }
}

TEST_F(StartRunTest, AnApplyKeepsTheAnalyzersAndTheUsersOptions) {
    CScriptable& options = *project.Root().GetObject("ResultOptions", common::kParentChild);
    const struct {
        std::uint8_t sections;
        const char* during_apply;
    } cases[] = {{3, "false"}, {15, "true"}};
    for (const auto& test : cases) {
        options.Set(ids::ResultOptions::SavedSections, test.sections);
        options.Set(ids::ResultOptions::ClearAnalyzersOnApply, true);
        profile.SetObjectState(CScriptable::STATE_MODIFIED);
        std::string during_apply;
        far1.answer = [&](const tm::Message&) {
            if (during_apply.empty()) during_apply = options.Get("ClearAnalyzersOnApply");
            return Answer::Respond;
        };
        ASSERT_EQ(Start(), "");
        EXPECT_EQ(during_apply, test.during_apply);
        EXPECT_EQ(options.Get("SavedSections"), "15");
        EXPECT_EQ(options.Get("ClearAnalyzersOnApply"), "true");
        End(far1);
        End(far2);
    }
}

}  // namespace
