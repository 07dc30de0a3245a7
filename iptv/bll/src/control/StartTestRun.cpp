// The run of a test start, step by step.
#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "FindByHandle.h"
#include "IptvCreation.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "config/IptvStbBlockConfig.h"
#include "control/AnalyzerSetup.h"
#include "control/DataSet.h"
#include "control/IptvStartTestCommand.h"
#include "control/IptvStopTestCommand.h"
#include "control/PortRequests.h"
#include "control/ResetResultClasses.h"
#include "control/SendRequest.h"
#include "control/StartGuards.h"
#include "control/StopRunningTest.h"
#include "control/TestSettings.h"
#include "msgset/iptvcd_1.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/command_status_manager.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/l2l3/analyzer.h"
#include "orv/l2l3/result_options.h"
#include "orv/l2l3/traffic_commands.h"
#include "orv/tm/message.h"
#include "results/IptvResultsManager.h"
#include "results/IptvTestResults.h"

namespace orv::iptv {

namespace StartTestId = ids::IptvStartTestCommand;
using framework::ResponseDelegate;

namespace {

constexpr const char* kRun = "CIptvStartTestCommand::DoRun";

core::CProject& GetProject() {
    if (auto* project = core::CProject::GetCurrentActiveInstance()) return *project;
    ThrowLookupFailure({"Project", "System", kRun}, "Project.");
}

core::CPort& GetPort(std::uint32_t handle) {
    if (auto* port = FindByHandle<core::CPort>(handle)) return *port;
    ThrowLookupFailure({"Port", "StartTestStbMap", kRun}, "Port.");
}

CIptvStbBlockConfig& GetStbBlock(std::uint32_t handle, const char* operation) {
    if (auto* block = FindByHandle<CIptvStbBlockConfig>(handle)) return *block;
    ThrowLookupFailure({"IptvStbBlockConfig", "Block Handle List", operation}, "IptvStbBlockConfig.");
}

/// The channels come from this application's own generators, so their streams are known.
bool NeedsStreamMap(std::uint8_t type, std::uint8_t environment) {
    return environment == ids::TestEnv::TESTING &&
           (type == ids::TestType::VERIFICATION || type == ids::TestType::FAST_CHANNEL_CHANGE ||
            type == ids::TestType::FCC_WITH_RRR);
}

/// Applies the whole configuration.
void ApplyForTest(const core::CProject& project) {
    CScriptable* options = project.GetObject(l2l3::CResultOptions::CLASS_ID(), common::kParentChild);
    if (!options) ThrowLookupFailure({"ResultOptions", "Project", kRun}, "Cannot Set Result Options ");
    const OptionsOfApply during_apply(*options);
    CreateCommand<framework::CApplyToILCommand>("ApplyToILCommand")->Execute(false);
}

void TraceAnswer(const char* handler, const Message& response) {
    Trace([&] {
        return std::string(" In CIptvStartTestCommand::") + handler + "Message Response " +
               std::to_string(static_cast<int>(response.get_msg_type()));
    });
}

}  // namespace

bool CIptvStartTestCommand::DoRunnableValidate(std::string& reason) const {
    const CIptvResultsManager* manager = CIptvResultsManager::FindResultsManager();
    const bool stopping = manager && manager->IsStopping();
    if (!StartUnderWay::Exists() && !stopping && !RunningTest::IsRunning()) return true;
    // The ends that the ports still have to report would be taken for those of the next test.
    reason = "An IPTV test is running. Stop it, or wait for its end, before the next one is started.";
    if (stopping)
        reason = "The ports of an IPTV test are stopping. Wait for its end before the next one is started.";
    return false;
}

void CIptvStartTestCommand::DoRun() {
    const StartUnderWay under_way;
    CIptvResultsManager& manager = *CIptvResultsManager::GetResultsManager();
    CScriptable::Set(ids::Command::ProgressIsCancellable, true);
    m_stack = {};
    m_streamMap.Clear();

    SetStep("Preconditions");
    CheckPreconditions();
    if (GetProgressCancelled()) return;

    SetStep("Preparation");
    core::CProject& project = GetProject();
    if (NeedsStreamMap(GetTypeOfTest(), GetTestEnv())) MakeMap(project);
    ResetResultClasses({project.GetHandle()});
    ChooseParticipants();
    SetBlockIndex();
    PrepareResultsManager();
    if (GetProgressCancelled()) return;

    MakeAnalyzerStartCommand();
    const std::shared_ptr<void> analyzer_start(nullptr, [this](void*) {
        framework::ReleaseScriptable(std::exchange(m_pAnalyzerStartCommand, nullptr));
    });
    if (!SetUpPorts()) return;
    SetStep("Apply");
    ApplyForTest(project);
    SetStep("Start of the analyzers");
    m_pAnalyzerStartCommand->Execute(false);
    if (GetProgressCancelled()) return;

    const EndHeldBack end_held_back(manager);
    if (!RegisterPorts()) return;
    if (GetProgressCancelled()) return DeregisterDueToSequencerCancel();
    if (!StartPorts()) return;

    SetStep("Results");
    if (!m_stbBlocks.empty()) {
        auto& states = framework::CCommandStatusManager::Instance();
        states.SetCommandStatus(m_stbBlocks.front(), CIptvStartTestCommand::CLASS_ID(), false);
        states.SetCommandStatus(m_stbBlocks.front(), CIptvStopTestCommand::CLASS_ID(), true);
    }
    SaveCommandToDb();
    manager.SetTestRunning(true);
    MakeTestResults(project);
    manager.ReleaseEnd();
    if (GetProgressCancelled()) {
        StopTest();
    } else if (manager.GetPortCount() == 0) {
        LogText(userLogger(), LogLevelType::Warn,
                "The IPTV test ends at once: no port of its set-top boxes is online.");
        manager.EndOfTestProcessing(true);
    }
}

void CIptvStartTestCommand::ChooseParticipants() {
    m_stbBlocks = ListStbBlockHandles();
    StbPortMap participants = RunningTest::GetParticipants();
    CreateStbMap(participants, m_stbBlocks, true);
    RunningTest::SetParticipants(std::move(participants));
}

void CIptvStartTestCommand::SetBlockIndex() {
    std::uint32_t index = 0;
    for (const std::uint32_t handle : m_stbBlocks) {
        CIptvStbBlockConfig& block = GetStbBlock(handle, "CIptvStartTestCommand::SetBlockIndex");
        block.SetBaseStbIndex(index);
        const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block.GetParent());
        if (device) index += device->GetDeviceCount();
    }
}

bool CIptvStartTestCommand::IsInSequence() const {
    const CScriptable* parent = GetParent();
    return parent && (parent->IsTypeOf(framework::CSequencer::CLASS_ID()) ||
                      parent->IsTypeOf(framework::CSequencerLoopCommand::CLASS_ID()));
}

void CIptvStartTestCommand::PrepareResultsManager() {
    TestRun run;
    run.stb_blocks = m_stbBlocks;
    run.command = GetHandle();
    run.test_name = GetString(StartTestId::TestName);
    run.test_duration = GetDouble(StartTestId::TestDuration);
    run.join_fail_threshold = GetU32(StartTestId::JoinFailThreshold);
    run.kind = {GetTypeOfTest(), GetMulticastJoinTrigger()};
    run.sequencer_mode = IsInSequence();
    run.save_per_iteration = GetBool(StartTestId::SaveResultsPerIteration);
    Trace([&run] {
        return run.sequencer_mode ? "Test is running through sequencer "
                                  : "Test is running in interactive mode ";
    });
    CIptvResultsManager::GetResultsManager()->Prepare(std::move(run));
}

void CIptvStartTestCommand::MakeAnalyzerStartCommand() {
    m_pAnalyzerStartCommand = &CreateOrThrow<l2l3::CAnalyzerStartCommand>(
        l2l3::CAnalyzerStartCommand::CLASS_ID(), nullptr,
        [] { return std::string("AnalyzerStartCommand in ") + kRun; }, "AnalyzerStartCommand");
    m_pAnalyzerStartCommand->SetAnalyzerList({});
}

bool CIptvStartTestCommand::SetUpPorts() {
    std::uint32_t count = 0;
    for (const auto& [handle, blocks] : RunningTest::GetParticipants()) {
        if (GetProgressCancelled()) return false;
        if (blocks.empty()) continue;
        ++count;
        core::CPort& port = GetPort(handle);
        CIptvStbBlockConfig& block = GetStbBlock(blocks.front(), kRun);
        SetStep("Test configuration", port.GetName());
        CheckVlanAndPppEnable(block);
        OnApplyTestUpdate(port);
        SetStep("Analyzer set-up", port.GetName());
        CheckForCardLimitOnStreams(blocks, handle);
        init_analyzer(port, block);
        m_stack = {};
        CIptvResultsManager::GetResultsManager()->SetPortCount(count);
    }
    Trace([] {
        std::string names;
        for (const auto& [handle, blocks] : RunningTest::GetParticipants())
            if (!blocks.empty()) names += GetPort(handle).GetName() + " ";
        return "Starting test on ports " + names;
    });
    return true;
}

void CIptvStartTestCommand::CheckVlanAndPppEnable(const CIptvStbBlockConfig& stbBlock) {
    m_stack = iptv::CheckVlanAndPppEnable(stbBlock, GetU8(StartTestId::VlanSubFilter));
}

void CIptvStartTestCommand::OnApplyTestUpdate(core::CPort& port) {
    Trace([&port] { return "CIptvStartTestCommand::OnApplyTestUpdate for " + port.GetName(); });
    const TestSettings settings = TestSettings::Of(*this);
    SendTestConfig(port, MakeTestConfig(settings, m_stack),
                   ResponseDelegate::To<&LogFaultAndHandle<&CIptvStartTestCommand::SetConfigHandler>>());
    if (settings.kind.type != ids::TestType::FCC_WITH_RRR) return;
    SendCutThruRxFilterEnables(
        port,
        ResponseDelegate::To<&LogFaultAndHandle<&CIptvStartTestCommand::SetCutThruRxFilterEnablesHandler>>());
}

void CIptvStartTestCommand::init_analyzer(core::CPort& port, const CIptvStbBlockConfig& stbBlock) {
    ORV_ASSERT(m_pAnalyzerStartCommand != nullptr, "The run has no analyzer start command");
    const bool streams_known = !m_streamMap.GetStreamIds().empty();
    const AnalyzerSetup setup(TestSettings::Of(*this), m_link, m_stack, streams_known);
    m_pAnalyzerStartCommand->AddAnalyzer(setup.init_analyzer(port, stbBlock).GetHandle());
}

void CIptvStartTestCommand::MakeMap(const core::CProject& project) {
    m_streamMap.Make(project, ListStbBlocks());
    const auto delegate =
        ResponseDelegate::To<&LogFaultAndHandle<&CIptvStartTestCommand::UpdateStreamMapHandler>>();
    for (const core::CPort* port : ListReachablePorts(project)) SendStreamMap(*port, m_streamMap, delegate);
}

void CIptvStartTestCommand::RegisterForResultAndEotNotifications(core::CPort& port,
                                                                 const std::vector<std::uint32_t>& stbBlocks,
                                                                 int portCount) {
    // The more ports report, the less often each does.
    const auto interval_ms = static_cast<std::uint32_t>(std::clamp(portCount, 0, 10)) * 1000;
    Trace([&] {
        return "Registering Result and EOT notifications for " + port.GetName() +
               "with Notification Interval " + std::to_string(interval_ms);
    });
    CIptvResultsManager& manager = *CIptvResultsManager::GetResultsManager();
    const deregHandles handles = RegisterForNotifications(
        port, stbBlocks, interval_ms, manager.GetResultsDelegate(), manager.GetEndTestDelegate());
    if (handles.results_id == 0) return;
    handles.end_test_id == 0 ? manager.AddIncompleteRegistration(handles) : manager.AddRegistration(handles);
}

void CIptvStartTestCommand::SendMessageToIL(core::CPort& port, const std::vector<std::uint32_t>& stbBlocks) {
    Trace([&port] { return "Starting Test on  " + port.GetName(); });
    SendStart(port, stbBlocks, GetU32(StartTestId::StartDelayStep),
              ResponseDelegate::To<&CIptvStartTestCommand::StartTestHandler>());
}

template <class Work>
bool CIptvStartTestCommand::TryOnPort(std::uint32_t port, const char* step, const Work& work) {
    std::string why;
    try {
        core::CPort& target = GetPort(port);
        SetStep(step, target.GetName());
        work(target);
        return true;
    } catch (const std::exception& error) {
        why = error.what();
    } catch (int result) {
        why = "the RPC manager returned " + std::to_string(result);
    } catch (...) {
        why = "an exception of unknown type";
    }
    LogText(devLogger(), LogLevelType::Error, "StartTestCommand failed");
    SetStatus("StartTestCommand failed: " + GetStep() + ": " + why);
    return false;
}

bool CIptvStartTestCommand::RegisterPorts() {
    const auto count = static_cast<int>(CIptvResultsManager::GetResultsManager()->GetPortCount());
    for (const auto& entry : RunningTest::GetParticipants()) {
        const auto& blocks = entry.second;
        const auto register_port = [&](core::CPort& port) {
            RegisterForResultAndEotNotifications(port, blocks, count);
        };
        if (!blocks.empty() && !TryOnPort(entry.first, "Registration", register_port)) return false;
    }
    return true;
}

bool CIptvStartTestCommand::StartPorts() {
    CIptvResultsManager& manager = *CIptvResultsManager::GetResultsManager();
    for (const auto& entry : RunningTest::GetParticipants()) {
        const auto& blocks = entry.second;
        if (blocks.empty()) continue;
        const auto start_port = [&](core::CPort& port) { SendMessageToIL(port, blocks); };
        if (!TryOnPort(entry.first, "Start", start_port)) return false;
        manager.NotePortStarted(entry.first);
        if (!GetProgressCancelled()) continue;
        manager.ReleaseEnd();
        StopTest();
        return false;
    }
    return true;
}

void CIptvStartTestCommand::SaveCommandToDb() {
    CIptvResultsManager* manager = CIptvResultsManager::FindResultsManager();
    if (!manager) return;
    auto* database = core::TestResultManager::GetCurrentInstance();
    if (!database) {
        LogResource(devLogger(), LogLevelType::Warn, resource::kBadObjectError,
                    {"TestResultMananger", "Static Function", "CIptvResultsManager::SaveCommandToDb"});
        return manager->NoteDataSet();
    }
    if (!manager->GetRun().sequencer_mode) database->StartInteractive();
    database->SetTestResultSetting(
        MakeTestResultSetting(GetDatabaseFileName(), GetBool(StartTestId::SaveResultsPerIteration)));
    database->SaveConfiguration(true);
    manager->SetDatabasePath(database->GetDatabasePath());
    database->SetTestCommand(*this);
    manager->NoteDataSet();
}

void CIptvStartTestCommand::DeregisterDueToSequencerCancel() {
    LogText(devLogger(), LogLevelType::Info,
            " Deregistering the result and EOT notifications due to Sequencer stop.");
    CIptvResultsManager::GetResultsManager()->DeregisterAllNotifications();
}

void CIptvStartTestCommand::MakeTestResults(core::CProject& project) {
    CIptvTestResults& results = FindOrMakeTestResults(project, kRun);
    results.SetTestParams(GetString(StartTestId::TestName));
    CIptvResultsManager::GetResultsManager()->SetTestResults(results.GetHandle());
}

void CIptvStartTestCommand::ResetResultClasses(const std::vector<std::uint32_t>& handles) {
    iptv::ResetResultClasses(handles);
}

void CIptvStartTestCommand::StopTest() {
    StopRunningTest(" In IptvStartTestCommand: Error in stopping test triggered by sequencer stop.");
}

void CIptvStartTestCommand::StartTestHandler(std::uint16_t sequence, Message* response, void*) {
    if (response->get_msg_type() == tm::TMT_RESPONSE) {
        iptvcd_1_bll::parse_resp_Start(response);
    } else if (response->get_msg_type() == tm::TMT_FAULT) {
        LogText(devLogger(), LogLevelType::Error, [&] {
            return "Rcvd error response on IptvStartTestCommand: seq(" + std::to_string(sequence) + ") " +
                   response->get_fault_string() + " on port ";
        });
    }
}

void CIptvStartTestCommand::SetConfigHandler(std::uint16_t, Message* response, void*) {
    TraceAnswer("SetConfigHandler ", *response);
}

void CIptvStartTestCommand::UpdateStreamMapHandler(std::uint16_t, Message* response, void*) {
    TraceAnswer("UpdateStreamMapHandler ", *response);
}

void CIptvStartTestCommand::SetCutThruRxFilterEnablesHandler(std::uint16_t, Message* response, void*) {
    TraceAnswer("SetCutThruRxFilterEnablesHandler ", *response);
}

}  // namespace orv::iptv
