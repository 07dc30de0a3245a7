// What a test start does, in which order, and its state after it is cancelled or fails.
#include <algorithm>

#include "orv/core/orv_system.h"
#include "start_run_fixture.h"

namespace {

using namespace start_run_test;  // NOLINT: a test

const Lines kRegistered{"P1 RegisterResultsNotify", "P1 RegisterEOTNotify", "P2 RegisterResultsNotify",
                        "P2 RegisterEOTNotify"};
const Lines kDeregistered{"P1 DeregisterEOTNotify", "P1 DeregisterResultsNotify", "P2 DeregisterEOTNotify",
                          "P2 DeregisterResultsNotify"};
const Lines kSaved{"db StartInteractive", "db Setting IPTV_Test_Results iptvTest|", "db SaveConfiguration",
                   "db SetTestCommand Start"};
const Lines kAnalyzersRun{"P1 analyzer RUNNING", "P2 analyzer RUNNING"}, kStarted{"P1 Start", "P2 Start"};
const Lines kStopped{"P1 Stop", "P2 Stop"};

Lines Join(const std::vector<Lines>& parts) {
    Lines all;
    for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST_F(StartRunTest, EverythingComesInOrderForEveryTypeOfTest) {
    const Lines map{"P1 UpdateStreamMap", "P2 UpdateStreamMap"}, config{"P1 UpdateConfig", "P2 UpdateConfig"};
    const Lines config_and_filters{"P1 UpdateConfig", "P1 HwGeneral_1.SetCutThruRxFilterEnables",
                                   "P2 UpdateConfig", "P2 HwGeneral_1.SetCutThruRxFilterEnables"};
    using namespace ids::TestType;  // NOLINT
    using namespace ids::TestEnv;   // NOLINT
    const std::tuple<std::uint8_t, std::uint8_t, Lines, Lines> cases[] = {
        {ZAPPING, TESTING, {}, config},
        {ZAPPING, REAL_WORLD, {}, config},
        {VERIFICATION, TESTING, map, config},
        {VERIFICATION, REAL_WORLD, {}, config},
        {FAST_CHANNEL_CHANGE, TESTING, map, config},
        {FAST_CHANNEL_CHANGE, REAL_WORLD, {}, config},
        {RELIABLE_RETRANSMISSION, REAL_WORLD, {}, config},
        {FCC_WITH_RRR, TESTING, map, config_and_filters}};
    database.on_call = [&](const std::string& call) {
        const bool starts = call.find("Save") == 0 || call.find("Set") == 0;
        if (!starts || call == "SaveObjects") return;
        EXPECT_TRUE(!IsEnabled(a, Id::CLASS) && IsEnabled(a, ids::IptvStopTestCommand::CLASS)) << call;
        EXPECT_FALSE(IsRunning()) << "the data set comes first";
    };
    for (const auto& [type, environment, map, config] : cases) {
        SCOPED_TRACE(std::to_string(type) + " in environment " + std::to_string(environment));
        Choose(command, type, environment);
        range.SetObjectState(CScriptable::STATE_MODIFIED);  // something to apply
        EXPECT_EQ(Start(), "");
        EXPECT_TRUE(project.Root().ContainsObject(*Results(), ids::relations::ResultChild));
        EXPECT_EQ(Take(), Join({map, config, {"apply"}, kAnalyzersRun, kRegistered, kStarted, kSaved}));
        EXPECT_TRUE(IsRunning() && !Manager().AreResultsSaved());
        EXPECT_EQ(Manager().GetRun().kind.type, type);
        EndAll();
        EXPECT_TRUE(!IsRunning() && Manager().AreResultsSaved());
    }
}

TEST_F(StartRunTest, ACancelledStartLeavesWhatItsStepSays) {
    const Lines set_up = Join({{"P1 UpdateConfig", "P2 UpdateConfig", "apply"}, kAnalyzersRun});
    const struct {
        const char* at;  ///< text of the log, or call of the database, at which the start is cancelled
        Lines sent;
        bool prepared = true;  ///< the results manager
        bool running = false;
        Lines after_the_end = {};  ///< of the ports that were started
    } cases[] = {
        {"at once", {}, false},
        {"CIptvStartTestCommand::ResetResultClasses Resetting all result classes back to zero ", {}},
        {"CIptvStartTestCommand::OnApplyTestUpdate for P1", {"P1 UpdateConfig"}},
        {"CIptvStartTestCommand::OnApplyTestUpdate for P2", set_up},
        {"Registering Result and EOT notifications for P2with Notification Interval 2000",
         Join({set_up, kRegistered, kDeregistered})},
        {"Starting Test on  P2", Join({set_up, kRegistered, kStarted, kStopped}), true, false, kDeregistered},
        {"SetTestCommand Start", Join({set_up, kRegistered, kStarted, kSaved, kStopped}), true, true,
         Join({{"db SaveObjects", "db Finalise"}, kDeregistered})},
        // The other port will not report its end, so its registrations end with the next start.
        {"Starting Test on  P1", Join({set_up, kRegistered, {"P1 Start"}, kStopped})}};
    struct AtOnce {
        iptv::CIptvStartTestCommand& start;
        void Cancel(CScriptable*, framework::PropId) { start.Cancel(); }
    } at_once{command};
    const auto early = framework::PropertyChangeDelegate::To<&AtOnce::Cancel>(&at_once);
    for (const auto& test : cases) {
        SCOPED_TRACE(test.at);
        const std::string name = std::string("cancelled: ") + test.at;
        command.Set(Id::TestName, name);
        range.SetObjectState(CScriptable::STATE_MODIFIED);
        CancelAt(test.at);
        if (test.at == std::string("at once"))
            command.RegisterPropertyChangeDelegate(ids::Command::ProgressIsCancellable, early);
        EXPECT_EQ(Start(), "");
        command.UnregisterPropertyChangeDelegate(ids::Command::ProgressIsCancellable, early);
        EXPECT_EQ(command.GetCommandState(), framework::CCommand::COMMAND_CANCELLED);
        EXPECT_EQ(Take(), test.sent);
        EXPECT_EQ(Manager().GetRun().test_name == name, test.prepared);
        EXPECT_EQ(IsRunning(), test.running);
        const auto has_sent = [&](const char* line) { return testing::Value(test.sent, Contains(line)); };
        EXPECT_EQ(test.prepared && Manager().IsFinishing(), has_sent("P1 Stop"));
        if (has_sent("P1 Start")) End(far1);
        if (has_sent("P2 Start")) End(far2);
        EXPECT_EQ(Take(), test.after_the_end);
        EXPECT_FALSE(IsRunning());
        EXPECT_EQ(project.Root().GetObject("IptvStopTestCommand", common::kParentChild), nullptr);
        // A user's own stop has nothing to stop then, and the next start nothing to wait for.
        auto& stop = Make<iptv::CIptvStopTestCommand>();
        stop.Execute(false);
        stop.Delete();
        StopAnalyzers();
    }
    CancelAt("");
    EXPECT_EQ(Start(), "");
    EXPECT_THAT(Take(), testing::IsSupersetOf(kDeregistered));
}

TEST_F(StartRunTest, OnlyPortsThatCanBeReachedTakePart) {
    p1.Set(ids::Port::Online, false);
    ASSERT_EQ(Start(), "");
    EXPECT_THAT(Take(), Not(Contains(StartsWith("P1 "))));
    EXPECT_EQ(Manager().GetPortCount(), 1u);
    EXPECT_EQ(Manager().GetRun().stb_blocks.size(), 3u);
    End(far2);
    EXPECT_FALSE(IsRunning());

    p2.Set(ids::Port::Online, false);
    ASSERT_EQ(Start(), "");
    EXPECT_FALSE(IsRunning()) << "nobody would ever end it";
    EXPECT_THAT(log.Take(), Contains(HasSubstr("no port of its set-top boxes is online")));

    core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, true);
    ASSERT_EQ(Start(), "");
    EXPECT_EQ(Manager().GetPortCount(), 2u);
}

TEST_F(StartRunTest, ATestThatEndsWhileItStartsEndsOnceItHasStarted) {
    for (ScriptedPort* port : {&far1, &far2})
        On(*port, {{"Start", [port] { After(1, [port] { SendEnd(*port); }); }}});
    command.Set(Id::TestName, "Short");
    ASSERT_EQ(Start(), "");
    EXPECT_FALSE(IsRunning());
    const Lines sent = Take();
    const auto at = [&sent](const char* line) { return std::find(sent.begin(), sent.end(), line); };
    EXPECT_LT(at("db SetTestCommand Start"), at("db SaveObjects"));
    EXPECT_LT(at("db SaveObjects"), at("P1 DeregisterEOTNotify"));
    EXPECT_NE(at("P2 DeregisterEOTNotify"), sent.end());
    EXPECT_TRUE(IsEnabled(a, Id::CLASS));
    ASSERT_NE(Results(), nullptr);
    EXPECT_EQ(Results()->Get("TestName") + " " + Results()->Get("TestResult"), "Short FAILED");

    // A user is as quick.
    far1.answer = far2.answer = nullptr;
    database.on_call = [this](const std::string& call) {
        if (call == "SaveConfiguration") Make<iptv::CIptvStopTestCommand>().Execute(false);
    };
    ASSERT_EQ(Start(), "");
    EXPECT_TRUE(IsRunning());
    EXPECT_THAT(Take(), Contains("P2 Stop"));
    EndAll();
    EXPECT_FALSE(IsRunning());
}

TEST_F(StartRunTest, ASecondStartIsRefusedWhileATestRuns) {
    auto& other = Make<iptv::CIptvStartTestCommand>();
    EXPECT_THAT(other.GetStbBlockList(), ElementsAre(project.Root().GetHandle()));
    database.on_call = [&](const std::string& call) {
        EXPECT_THAT(call == "SaveConfiguration" ? Start(other) : "is running", HasSubstr("is running"));
    };
    command.Set(Id::TestName, "First");
    ASSERT_EQ(Start(), "");
    EXPECT_THAT(Start(other), HasSubstr("An IPTV test is running"));
    EXPECT_EQ(Manager().GetRun().test_name, "First");
    EXPECT_THAT(Make<iptv::CIptvStartTestCommand>().GetStbBlockList(), IsEmpty());
    EndAll();
    database.on_call = [](const std::string&) {};
    EXPECT_EQ(Start(other), "");
}

TEST_F(StartRunTest, AStartThatIsCancelledWhilePortsStartLeavesNothingBehindButTheirEnds) {
    a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    CancelAt("Starting Test on  P2");
    EXPECT_EQ(Start(), "");
    EXPECT_THAT(Start(), HasSubstr("are stopping")) << "their ends would be those of the next test";
    Make<iptv::CIptvStartTestCommand>();
    EXPECT_EQ(Manager().GetPortCount(), 2u) << "a new command does not lose what the ports still report";
    Manager().BinManager({EventsOf(a, std::vector<stbox_event_s>(600, MakeView(1, 2)))});
    EXPECT_THAT(Take(), Not(Contains(StartsWith("db ")))) << "no data set is its own";
    EndAll();
    EXPECT_EQ(Start(), "");
    // Ports that never stop hold up no test for long.
    EXPECT_THAT(Start(), HasSubstr("are stopping"));
    Yield(61000);
    CancelAt("");
    EXPECT_EQ(Start(), "");
    EXPECT_TRUE(IsRunning());
}

TEST_F(StartRunTest, AStartThatFailsHalfwayLeavesNothingToTheNextTest) {
    on_log = [this](const std::string& text) {
        if (text == "Starting Test on  P2") framework::CRpcManager::Instance().Disconnect(p2.GetMessenger());
    };
    EXPECT_EQ(Start(), "") << "it ends quietly";
    EXPECT_THAT(command.GetStatus(), StartsWith("StartTestCommand failed: Start on P2: "));
    EXPECT_THAT(log.Take(), Contains("content.mulvane.iptv Error: StartTestCommand failed"));
    EXPECT_FALSE(IsRunning());
    EXPECT_THAT(Take(), Not(Contains(StartsWith("db "))));
    Make<iptv::CIptvStartTestCommand>();
    EXPECT_EQ(Manager().GetPortCount(), 0u) << "a new command has nothing of the failed start";
    EXPECT_THAT(Take(), ElementsAre("P1 DeregisterEOTNotify", "P1 DeregisterResultsNotify"));

    CancelAt("");
    ScriptedPort again(p2);
    ASSERT_EQ(Start(), "");
    End(far1);
    EXPECT_TRUE(IsRunning()) << "P1 has ended once, not twice";
    End(again);
    EXPECT_FALSE(IsRunning());
}

}  // namespace
