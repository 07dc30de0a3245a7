// What a test start does, in which order, and its state after it is cancelled or fails.
#include <algorithm>

#include "control/StopRunningTest.h"
#include "orv/core/orv_system.h"
#include "start_run_fixture.h"

namespace {

using namespace start_run_test;  // NOLINT: a test

const Lines kRegistered{"P1 RegisterResultsNotify", "P1 RegisterEOTNotify", "P2 RegisterResultsNotify",
                        "P2 RegisterEOTNotify"};
const Lines kSaved{"db StartInteractive", "db Setting IPTV_Test_Results iptvTest|", "db SaveConfiguration",
                   "db SetTestCommand Start"};
const Lines kAnalyzersRun{"P1 analyzer RUNNING", "P2 analyzer RUNNING"};

Lines Join(const std::vector<Lines>& parts) {
    Lines all;
    for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

TEST_F(StartRunTest, EverythingComesInOrderForEveryTypeOfTest) {
    const Lines map{"P1 UpdateStreamMap", "P2 UpdateStreamMap"};
    const Lines config{"P1 UpdateConfig", "P2 UpdateConfig"};
    const Lines config_and_filters{"P1 UpdateConfig", "P1 HwGeneral_1.SetCutThruRxFilterEnables",
                                   "P2 UpdateConfig", "P2 HwGeneral_1.SetCutThruRxFilterEnables"};
    using namespace ids::TestType;  // NOLINT
    using namespace ids::TestEnv;   // NOLINT
    const struct {
        std::uint8_t type;
        std::uint8_t environment;
        Lines map;
        Lines config;
    } cases[] = {
        {ZAPPING, TESTING, {}, config},
        {ZAPPING, REAL_WORLD, {}, config},
        {VERIFICATION, TESTING, map, config},
        {VERIFICATION, REAL_WORLD, {}, config},
        {FAST_CHANNEL_CHANGE, TESTING, map, config},
        {FAST_CHANNEL_CHANGE, REAL_WORLD, {}, config},
        {RELIABLE_RETRANSMISSION, REAL_WORLD, {}, config},
        {FCC_WITH_RRR, TESTING, map, config_and_filters},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE("type " + std::to_string(test.type) + " environment " +
                     std::to_string(test.environment));
        Choose(test.type, test.environment);
        range.SetObjectState(CScriptable::STATE_MODIFIED);  // something to apply
        database.on_call = [&](const std::string& call) {
            EXPECT_TRUE(!IsEnabled(Id::CLASS) && IsEnabled(ids::IptvStopTestCommand::CLASS)) << call;
            EXPECT_FALSE(CIptvResultsManager::IsTestRunning()) << "the data set comes first";
        };
        log.Take();
        EXPECT_EQ(Start(), "");
        database.on_call = [](const std::string&) {};
        const Lines logged = log.Take();
        for (const char* text :
             {"Test is running in interactive mode ", "Starting test on ports P1 P2 ", "Starting Test on  P1",
              "Registering Result and EOT notifications for P2with Notification Interval 2000",
              "CIptvStartTestCommand::OnApplyTestUpdate for P1", "Setting up analyzer for P2"})
            EXPECT_THAT(logged, Contains(HasSubstr(text)));
        EXPECT_TRUE(project.Root().ContainsObject(*Results(), ids::relations::ResultChild));
        EXPECT_EQ(Take(), Join({test.map,
                                test.config,
                                {"apply"},
                                kAnalyzersRun,
                                kRegistered,
                                {"P1 Start", "P2 Start"},
                                kSaved}));
        EXPECT_TRUE(CIptvResultsManager::IsTestRunning() && !Manager().AreResultsSaved());
        EXPECT_EQ(Manager().GetRun().kind.type, test.type);
        EXPECT_EQ(IsEnabled(Id::CLASS), false);
        EXPECT_EQ(IsEnabled(ids::IptvStopTestCommand::CLASS), true);
        End(far1);
        End(far2);
        EXPECT_TRUE(!CIptvResultsManager::IsTestRunning() && Manager().AreResultsSaved());
        for (core::CPort* port : {&p1, &p2})
            port->GetObject("Analyzer", common::kParentChild)
                ->Set(ids::Analyzer::State, std::uint8_t{ids::AnalyzerState::STOPPED});
        Take();
    }
}

TEST_F(StartRunTest, ACancelledStartLeavesWhatItsStepSays) {
    const Lines both_configs{"P1 UpdateConfig", "P2 UpdateConfig", "apply"};
    const Lines deregistered{"P1 DeregisterEOTNotify", "P1 DeregisterResultsNotify", "P2 DeregisterEOTNotify",
                             "P2 DeregisterResultsNotify"};
    const Lines stopped{"P1 Stop", "P2 Stop"};
    const Lines set_up = Join({both_configs, kAnalyzersRun});
    const struct {
        const char* at;  ///< text of the log, or call of the database, at which the start is cancelled
        Lines sent;
        bool prepared;  ///< the results manager
        bool running;
        Lines after_the_end;  ///< of the ports that were started
    } cases[] = {
        {"at once", {}, false, false, {}},
        {"CIptvStartTestCommand::ResetResultClasses Resetting all result classes back to zero ",
         {},
         true,
         false,
         {}},
        {"CIptvStartTestCommand::OnApplyTestUpdate for P1", {"P1 UpdateConfig"}, true, false, {}},
        {"CIptvStartTestCommand::OnApplyTestUpdate for P2", set_up, true, false, {}},
        {"Registering Result and EOT notifications for P2with Notification Interval 2000",
         Join({set_up, kRegistered, deregistered}),
         true,
         false,
         {}},
        {"Starting Test on  P2", Join({set_up, kRegistered, {"P1 Start", "P2 Start"}, stopped}), true, false,
         deregistered},
        {"SetTestCommand Start", Join({set_up, kRegistered, {"P1 Start", "P2 Start"}, kSaved, stopped}), true,
         true, Join({{"db SaveObjects", "db Finalise"}, deregistered})},
        // The other port will not report its end, so its registrations end with the next
        // start.
        {"Starting Test on  P1", Join({set_up, kRegistered, {"P1 Start"}, stopped}), true, false, {}},
    };
    const auto cancel_on = [this](const char* at) {
        return [this, at](const std::string& text) {
            if (text == at) command.Cancel();
        };
    };
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
        on_log = database.on_call = cancel_on(test.at);
        if (test.at == std::string("at once"))
            command.RegisterPropertyChangeDelegate(ids::Command::ProgressIsCancellable, early);
        EXPECT_EQ(Start(), "");
        command.UnregisterPropertyChangeDelegate(ids::Command::ProgressIsCancellable, early);
        EXPECT_EQ(command.GetCommandState(), framework::CCommand::COMMAND_CANCELLED);
        EXPECT_EQ(Take(), test.sent);
        EXPECT_EQ(Manager().GetRun().test_name == name, test.prepared);
        EXPECT_EQ(CIptvResultsManager::IsTestRunning(), test.running);
        const bool stop_sent = std::find(test.sent.begin(), test.sent.end(), "P1 Stop") != test.sent.end();
        if (test.prepared) {
            EXPECT_EQ(Manager().IsFinishing(), stop_sent);
        }
        for (auto [port, start] : {std::pair{&far1, "P1 Start"}, {&far2, "P2 Start"}}) {
            if (std::find(test.sent.begin(), test.sent.end(), start) != test.sent.end()) End(*port);
        }
        EXPECT_EQ(Take(), test.after_the_end);
        EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
        EXPECT_EQ(project.Root().GetObject("IptvStopTestCommand", common::kParentChild), nullptr);
        // A user's own stop has nothing to stop then, and the next start nothing to wait for.
        auto& stop = CScriptableCreator().Make<iptv::CIptvStopTestCommand>(&project.Root());
        stop.Execute(false);
        stop.Delete();
        for (core::CPort* port : {&p1, &p2})
            port->GetObject("Analyzer", common::kParentChild)
                ->Set(ids::Analyzer::State, std::uint8_t{ids::AnalyzerState::STOPPED});
        Take();
    }
    EXPECT_EQ(Manager().GetPortCount(), 2u);
    on_log = [](const std::string&) {};
    EXPECT_EQ(Start(), "");
    EXPECT_THAT(Take(), testing::IsSupersetOf(deregistered));
}

TEST_F(StartRunTest, OnlyPortsThatCanBeReachedTakePart) {
    p1.Set(ids::Port::Online, false);
    ASSERT_EQ(Start(), "");
    EXPECT_THAT(Take(), Not(Contains(StartsWith("P1 "))));
    EXPECT_EQ(Manager().GetPortCount(), 1u);
    EXPECT_EQ(Manager().GetRun().stb_blocks.size(), 3u);
    End(far2);
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning());

    p2.Set(ids::Port::Online, false);
    log.Take();
    ASSERT_EQ(Start(), "");
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning()) << "nobody would ever end it";
    EXPECT_THAT(log.Take(), Contains(HasSubstr("no port of its set-top boxes is online")));

    orv::core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, true);
    ASSERT_EQ(Start(), "");
    EXPECT_EQ(Manager().GetPortCount(), 2u);
}

TEST_F(StartRunTest, ATestThatEndsWhileItStartsEndsOnceItHasStarted) {
    for (testing_aids::ScriptedPort* port : {&far1, &far2}) {
        port->answer = [port](const tm::Message& request) {
            if (request.get_request_name() == "iptvcd_1.Start") {
                framework::CTaskManager::Instance().PostAfter(std::chrono::milliseconds(1), [port] {
                    tm::Message end;
                    end.set_request_name("iptvcd_1.EOTNotification");
                    port->Notify(end);
                });
            }
            return Answer::Respond;
        };
    }
    command.Set(Id::TestName, "Short");
    ASSERT_EQ(Start(), "");
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
    const Lines sent = Take();
    const auto at = [&sent](const char* line) { return std::find(sent.begin(), sent.end(), line); };
    EXPECT_LT(at("db SetTestCommand Start"), at("db SaveObjects"));
    EXPECT_LT(at("db SaveObjects"), at("P1 DeregisterEOTNotify"));
    EXPECT_NE(at("P2 DeregisterEOTNotify"), sent.end());
    EXPECT_TRUE(IsEnabled(Id::CLASS));
    ASSERT_NE(Results(), nullptr);
    EXPECT_EQ(Results()->Get("TestName"), "Short");
    EXPECT_EQ(Results()->Get("TestResult"), "FAILED");

    // A user is as quick.
    far1.answer = far2.answer = nullptr;
    database.on_call = [this](const std::string& call) {
        if (call != "SaveConfiguration") return;
        CScriptableCreator().Make<iptv::CIptvStopTestCommand>(&project.Root()).Execute(false);
    };
    ASSERT_EQ(Start(), "");
    EXPECT_TRUE(CIptvResultsManager::IsTestRunning());
    EXPECT_THAT(Take(), Contains("P2 Stop"));
    End(far1);
    End(far2);
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
}

TEST_F(StartRunTest, ASecondStartIsRefusedWhileATestRuns) {
    auto& other = CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root());
    EXPECT_THAT(other.GetStbBlockList(), ElementsAre(project.Root().GetHandle()));
    database.on_call = [&](const std::string& call) {
        if (call == "SaveConfiguration") {
            EXPECT_THAT(Start(other), HasSubstr("is running"));
        }
    };
    command.Set(Id::TestName, "First");
    ASSERT_EQ(Start(), "");
    EXPECT_THAT(Start(other), HasSubstr("An IPTV test is running"));
    EXPECT_EQ(Manager().GetRun().test_name, "First");
    EXPECT_THAT(CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root()).GetStbBlockList(),
                testing::IsEmpty());
    End(far1);
    End(far2);
    database.on_call = [](const std::string&) {};
    EXPECT_EQ(Start(other), "");
}

TEST_F(StartRunTest, AStartThatIsCancelledWhilePortsStartLeavesNothingBehindButTheirEnds) {
    a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    on_log = [this](const std::string& text) {
        if (text == "Starting Test on  P2") command.Cancel();
    };
    EXPECT_EQ(Start(), "");
    EXPECT_THAT(Take(),
                testing::AllOf(Contains("P1 Stop"), Contains("P2 Stop"), Not(Contains(StartsWith("db ")))));
    on_log = [](const std::string&) {};
    EXPECT_THAT(Start(), HasSubstr("are stopping")) << "their ends would be those of the next test";
    CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root());
    EXPECT_EQ(Manager().GetPortCount(), 2u) << "a new command does not lose what the ports still report";

    iptvcd_1_bll::stblock_event_s events{a.GetHandle(), std::vector<iptvcd_1_bll::stbox_event_s>(600), {}};
    for (auto& view : events.events) view.viewed_channel = 2;
    Manager().BinManager({events});
    EXPECT_THAT(Take(), Not(Contains(StartsWith("db ")))) << "no data set is its own";
    End(far1);
    End(far2);
    EXPECT_EQ(Start(), "");
    EXPECT_TRUE(CIptvResultsManager::IsTestRunning());
}

TEST_F(StartRunTest, PortsThatNeverStopHoldUpNoTestForLong) {
    on_log = [this](const std::string& text) {
        if (text == "Starting Test on  P2") command.Cancel();
    };
    EXPECT_EQ(Start(), "");
    on_log = [](const std::string&) {};
    EXPECT_THAT(Start(), HasSubstr("are stopping"));
    Yield(61000);
    EXPECT_EQ(Start(), "");
}

TEST_F(StartRunTest, AFailureNamesStepAndPort) {
    auto& rpc = framework::CRpcManager::Instance();
    rpc.Disconnect(p2.GetMessenger());
    EXPECT_THAT(Start(),
                StartsWith("IptvStartTestCommand failed: Test configuration on P2: it threw the integer -"));
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
    EXPECT_TRUE(IsEnabled(Id::CLASS));
}

TEST_F(StartRunTest, ACommandThatCannotBeMadeIsNamed) {
    const std::string failed = "MEMORY ALLOCATION ERROR: for object: ";
    const struct {
        const char* class_name;
        const char* where;
    } commands[] = {{"AnalyzerStartCommand", " in CIptvStartTestCommand::DoRun"},
                    {"AnalyzerStopCommand", ""},
                    {"ApplyToILCommand", ""}};
    for (const auto& [class_name, where] : commands) {
        const testing_aids::NoOther none(class_name);
        EXPECT_EQ(Start(),
                  std::string(" BAD ALLOCATION ERROR: Error in Memory Allocation. ") + class_name + ".");
        EXPECT_THAT(log.Take(), Contains("content.mulvane.iptv Error: " + failed + class_name + where + " "));
    }
    const testing_aids::NoOther none("IptvStopTestCommand");
    EXPECT_THROW(iptv::StopRunningTest("why"), common::COrvRunTimeError);
    EXPECT_THAT(log.Take(), Contains(HasSubstr(failed + "IptvStopTestCommand ")));
}

TEST_F(StartRunTest, AStartThatFailsHalfwayLeavesNothingToTheNextTest) {
    on_log = [this](const std::string& text) {
        if (text == "Starting Test on  P2") framework::CRpcManager::Instance().Disconnect(p2.GetMessenger());
    };
    EXPECT_EQ(Start(), "") << "it ends quietly";
    EXPECT_THAT(command.GetStatus(), StartsWith("StartTestCommand failed: Start on P2: "));
    EXPECT_THAT(log.Take(), Contains("content.mulvane.iptv Error: StartTestCommand failed"));
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
    EXPECT_THAT(Take(), Not(Contains(StartsWith("db "))));
    CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root());
    EXPECT_EQ(Manager().GetPortCount(), 0u) << "a new command has nothing of the failed start";
    EXPECT_THAT(Take(), ElementsAre("P1 DeregisterEOTNotify", "P1 DeregisterResultsNotify"));

    on_log = [](const std::string&) {};
    testing_aids::ScriptedPort again(p2);
    ASSERT_EQ(Start(), "");
    End(far1);
    EXPECT_TRUE(CIptvResultsManager::IsTestRunning()) << "P1 has ended once, not twice";
    End(again);
    EXPECT_FALSE(CIptvResultsManager::IsTestRunning());
}

}  // namespace
