// The run of a test start, step by step.
#include <exception>
#include <memory>
#include <utility>

#include "IptvCreation.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "control/IptvStartTestCommand.h"
#include "control/IptvStopTestCommand.h"
#include "control/StopRunningTest.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/core/pppoe_if.h"
#include "orv/core/project.h"
#include "orv/core/vlan_if.h"
#include "orv/framework/command_status_manager.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/result_options.h"
#include "orv/l2l3/traffic_commands.h"
#include "results/IptvResultsManager.h"
#include "results/IptvTestResults.h"

namespace orv::iptv {

namespace Id = ids::IptvStartTestCommand;
using framework::CHandleRegistry;
using framework::CScriptableCreator;

namespace {

constexpr const char* kRun = "CIptvStartTestCommand::DoRun";

bool start_under_way = false;

/// Other starts are refused while it lives.
class StartUnderWay {
  public:
    StartUnderWay() { start_under_way = true; }
    ~StartUnderWay() { start_under_way = false; }
    StartUnderWay(const StartUnderWay&) = delete;
    StartUnderWay& operator=(const StartUnderWay&) = delete;
};

/// A test that ends while it lives ends afterwards. Whoever can deal with a failure of that end releases it
/// himself.
class EndHeldBack {
  public:
    explicit EndHeldBack(CIptvResultsManager& manager) : manager_(manager) { manager_.HoldEnd(); }
    ~EndHeldBack() {
        try {
            manager_.ReleaseEnd();
        } catch (const std::exception& error) {
            LogText(devLogger(), LogLevelType::Error, [&] {
                return std::string("The end of a test that was not started failed: ") + error.what();
            });
        }
    }
    EndHeldBack(const EndHeldBack&) = delete;
    EndHeldBack& operator=(const EndHeldBack&) = delete;

  private:
    CIptvResultsManager& manager_;
};

core::CProject& GetProject() {
    if (auto* project = core::CProject::GetCurrentActiveInstance()) return *project;
    ThrowLookupFailure({"Project", "System", kRun}, "Project.");
}

core::CPort& GetPort(std::uint32_t handle) {
    if (auto* port = dynamic_cast<core::CPort*>(CHandleRegistry::Instance().Find(handle))) return *port;
    ThrowLookupFailure({"Port", "StartTestStbMap", kRun}, "Port.");
}

CIptvStbBlockConfig& GetStbBlock(std::uint32_t handle, const char* operation) {
    auto* block = dynamic_cast<CIptvStbBlockConfig*>(CHandleRegistry::Instance().Find(handle));
    if (block) return *block;
    ThrowLookupFailure({"IptvStbBlockConfig", "Block Handle List", operation}, "IptvStbBlockConfig.");
}

/// The channels come from this application's own generators, so their streams are known.
bool NeedsStreamMap(std::uint8_t type, std::uint8_t environment) {
    return environment == ids::TestEnv::TESTING &&
           (type == ids::TestType::VERIFICATION || type == ids::TestType::FAST_CHANNEL_CHANGE ||
            type == ids::TestType::FCC_WITH_RRR);
}

/// Sets the results' options for the apply, and puts the one that is the user's back.
class OptionsOfApply {
  public:
    explicit OptionsOfApply(CScriptable& options)
        : handle_(options.GetHandle()),
          clears_analyzers_(options.GetBool(ids::ResultOptions::ClearAnalyzersOnApply)) {
        constexpr std::uint8_t all_sections = 15;
        if (options.GetU8(ids::ResultOptions::SavedSections) == all_sections) return;
        options.Set(ids::ResultOptions::ClearAnalyzersOnApply, false);
        options.Set(ids::ResultOptions::SavedSections, all_sections);
    }
    ~OptionsOfApply() {
        // An apply takes its time, and anything may be gone after it.
        CScriptable* options = CHandleRegistry::Instance().Find(handle_);
        if (options && options->GetBool(ids::ResultOptions::ClearAnalyzersOnApply) != clears_analyzers_)
            options->Set(ids::ResultOptions::ClearAnalyzersOnApply, clears_analyzers_);
    }
    OptionsOfApply(const OptionsOfApply&) = delete;
    OptionsOfApply& operator=(const OptionsOfApply&) = delete;

  private:
    std::uint32_t handle_;
    bool clears_analyzers_;
};

}  // namespace

bool CIptvStartTestCommand::IsStartUnderWay() {
    return start_under_way;
}

bool CIptvStartTestCommand::DoRunnableValidate(std::string& reason) const {
    const CIptvResultsManager* manager = CIptvResultsManager::FindResultsManager();
    const bool stopping = manager && manager->IsStopping();
    if (!start_under_way && !stopping && !CIptvResultsManager::IsTestRunning()) return true;
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
    ListStbBlocks();
    StbPortMap participants = RunningTest::GetParticipants();
    CreateStbMap(participants, m_stbBlocks, true);
    RunningTest::SetParticipants(std::move(participants));
    SetBlockIndex();
    PrepareResultsManager();
    if (GetProgressCancelled()) return;

    MakeAnalyzerStartCommand();
    const std::shared_ptr<void> analyzer_start(nullptr, [this](void*) {
        framework::ReleaseScriptable(std::exchange(m_pAnalyzerStartCommand, nullptr));
    });
    if (!SetUpPorts()) return;
    SetStep("Apply");
    Apply(project);
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

void CIptvStartTestCommand::ListStbBlocks() {
    m_stbBlocks.clear();
    for (const CIptvStbBlockConfig* block : GetStbBlocks()) m_stbBlocks.push_back(block->GetHandle());
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
    run.test_name = GetString(Id::TestName);
    run.test_duration = GetDouble(Id::TestDuration);
    run.join_fail_threshold = GetU32(Id::JoinFailThreshold);
    run.kind = {GetTypeOfTest(), GetMulticastJoinTrigger()};
    run.sequencer_mode = IsInSequence();
    run.save_per_iteration = GetBool(Id::SaveResultsPerIteration);
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
    for (const auto& [handle, blocks] : CIptvStbBlockConfig::m_startTestStbMap) {
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
        for (const auto& [handle, blocks] : CIptvStbBlockConfig::m_startTestStbMap)
            if (!blocks.empty()) names += GetPort(handle).GetName() + " ";
        return "Starting test on ports " + names;
    });
    return true;
}

void CIptvStartTestCommand::CheckVlanAndPppEnable(CIptvStbBlockConfig& stbBlock) {
    constexpr const char* kCheck = "CIptvStartTestCommand::CheckVlanAndPppEnable";
    const CScriptable* protocol = stbBlock.GetMcastCfg();
    if (!protocol) {
        ThrowLookupFailure({"MulticastHostConfig", "IptvStbBlockConfig", kCheck},
                           "MulticastHostConfig associated with " + stbBlock.GetName());
    }
    const core::CNetworkInterface* interface = stbBlock.GetMcastIf();
    if (!interface) {
        ThrowLookupFailure({"NetworkInterface", "MulticastHostConfig", kCheck},
                           "NetworkInterface associated with " + protocol->GetName());
    }
    std::vector<core::CNetworkInterface*> stack;
    interface->GetNetworkInterfaceStack(stack);
    m_stack.m_vlanCount = 0;
    for (const core::CNetworkInterface* layer : stack) {
        if (layer->IsTypeOf(core::CVlanIf::CLASS_ID())) {
            (m_stack.m_vlanCount == 0 ? m_stack.m_bVlanOuter : m_stack.m_bVlanInner) = true;
            ++m_stack.m_vlanCount;
        }
        if (layer->IsTypeOf(core::CPppoeIf::CLASS_ID())) m_stack.m_bPppEnable = true;
    }
    if (!m_stack.m_bPppEnable || !m_stack.m_bVlanOuter || !m_stack.m_bVlanInner) return;
    // PPPoE leaves the analyzer room for one tag only.
    if (GetU8(Id::VlanSubFilter) == ids::VlanSubFilter::OUTER) {
        m_stack.m_bVlanInner = false;
    } else {
        m_stack.m_bVlanOuter = false;
    }
}

void CIptvStartTestCommand::Apply(const core::CProject& project) {
    CScriptable* options = project.GetObject(l2l3::CResultOptions::CLASS_ID(), common::kParentChild);
    if (!options) ThrowLookupFailure({"ResultOptions", "Project", kRun}, "Cannot Set Result Options ");
    const OptionsOfApply during_apply(*options);
    CreateCommand<framework::CApplyToILCommand>("ApplyToILCommand")->Execute(false);
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
    for (const auto& entry : CIptvStbBlockConfig::m_startTestStbMap) {
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
    for (const auto& entry : CIptvStbBlockConfig::m_startTestStbMap) {
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

void CIptvStartTestCommand::MakeTestResults(core::CProject& project) {
    auto* results = dynamic_cast<CIptvTestResults*>(
        project.GetObject(CIptvTestResults::CLASS_ID(), common::kParentChild));
    if (!results) {
        results = dynamic_cast<CIptvTestResults*>(
            CScriptableCreator().Create(CIptvTestResults::CLASS_ID(), &project));
        if (!results) {
            LogCreationFailure([] { return std::string("IptvTestResults in ") + kRun; });
            LogResource(userLogger(), LogLevelType::Error, resource::kMemoryAllocationError,
                        {"IptvTestResults "});
            throw common::COrvRunTimeError(iptvAutomationMemErrMsg, true);
        }
        std::string why;
        if (!project.AddObject(*results, ids::relations::ResultChild, &why)) {
            LogResource(
                devLogger(), LogLevelType::Error, resource::kBadArgumentError, {[&] {
                    return std::string("In ") + kRun +
                           " Unable to add results-child relation between project and IptvTestResults";
                }});
            throw common::COrvRunTimeError(iptvAutomationObjErrMsg + why, true);
        }
    }
    results->SetTestParams(GetString(Id::TestName));
    CIptvResultsManager::GetResultsManager()->SetTestResults(results->GetHandle());
}

void CIptvStartTestCommand::StopTest() {
    StopRunningTest(" In IptvStartTestCommand: Error in stopping test triggered by sequencer stop.");
}

}  // namespace orv::iptv
