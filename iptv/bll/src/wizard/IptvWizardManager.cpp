#include "wizard/IptvWizardManager.h"

#include "IptvLog.h"
#include "config/ChannelBlockIndex.h"
#include "control/IptvStartTestCommand.h"
#include "control/IptvStopTestCommand.h"
#include "control/IptvWaitForTestCompletionCommand.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/framework/command.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"
#include "wizard/IptvWizardMcastSources.h"
#include "wizard/IptvWizardStbBlock.h"
#include "wizard/IptvWizardTestConfig.h"
#include "wizard/WizardObjects.h"
#include "wizard/WizardSequence.h"

namespace orv::iptv {

namespace {

bool IsOfAnIptvTest(const framework::CCommand& command) {
    return command.IsTypeOf(CIptvStartTestCommand::CLASS_ID()) ||
           command.IsTypeOf(CIptvStopTestCommand::CLASS_ID()) ||
           command.IsTypeOf(CIptvWaitForTestCompletionCommand::CLASS_ID());
}

/// Running commands and tests cannot be deleted, and use objects that the set-up would delete.
void CheckNothingIsUnderWay() {
    const auto refuse = [](const std::string& what) {
        throw common::COrvRunTimeError("The IPTV wizard cannot replace " + what);
    };
    using framework::CCommand;
    using framework::CSequencer;
    const CSequencer& sequencer = CSequencer::Instance();
    if (sequencer.GetSequencerState() == CSequencer::SEQUENCER_RUNNING)
        refuse("the sequence while it runs. Stop it, or wait for its end.");
    const CIptvResultsManager* results = CIptvResultsManager::FindResultsManager();
    if (results && results->IsStopping())
        refuse("an IPTV test whose ports are still stopping. Wait for its end.");
    if (CIptvResultsManager::IsTestRunning())
        refuse("an IPTV test while it runs. Stop it, or wait for its end.");
    std::vector<CCommand*> under_way = CCommand::GetUnderWay(&sequencer);
    for (CCommand* command : CCommand::GetUnderWay())
        if (IsOfAnIptvTest(*command)) under_way.push_back(command);
    if (!under_way.empty())
        refuse(under_way.front()->Describe() + " while it is under way. Cancel it, or wait for its end.");
}

}  // namespace

CIptvWizardManager* CIptvWizardManager::GetWizardManager() {
    // Never destroyed: it may be used until the process ends.
    static auto* const manager = new CIptvWizardManager;
    return manager;
}

void CIptvWizardManager::SetupTest() {
    Trace([] { return "CIptvWizardManager::SetupTest() Setting test based on wizard inputs"; });
    CheckNothingIsUnderWay();
    CleanUp();
    ProcessWizardMcastSources();
    std::vector<std::uint32_t> stb_blocks;
    SetupStbBlocks(stb_blocks);
    SetupStartTestCommand(stb_blocks);
    SetupIptvSequencer();
}

void CIptvWizardManager::ProcessWizardMcastSources() {
    constexpr const char* kOperation = "CIptvWizardManager::ProcessWizardMcastSources";
    for (const auto* port : GetWizardChildren<core::CPort>(GetWizardProject(kOperation),
                                                           {"Port", "PortIterator", kOperation}, "Port.")) {
        for (auto* source : GetWizardChildren<CIptvWizardMcastSources>(
                 *port, {"IptvWizardMcastSources", "wizardMcastSourceIterator", kOperation},
                 "WizardMcastSources.")) {
            source->ExpandMcastSource(m_mcastGroupHandles.emplace_back(0), m_streamBlockHandles);
        }
    }
    Trace([] {
        return "CIptvWizardManager::ProcessWizardMcastSources() ChannelBlock, McastGroups and StreamBlock "
               "has been set up";
    });
}

void CIptvWizardManager::SetupStbBlocks(std::vector<std::uint32_t>& stbBlockHandles) {
    constexpr const char* kOperation = "CIptvWizardManager::SetupStbBlocks";
    const ChannelBlockIndex channel_blocks = ChannelBlockIndex::OfProject();
    for (const auto* device : GetWizardChildren<core::CEmulatedDevice>(
             GetWizardProject(kOperation), {"EmulatedDevice", "DeviceIterator", kOperation},
             "EmulatedDevice.")) {
        for (auto* boxes : GetWizardChildren<CIptvWizardStbBlock>(
                 *device, {"IptvWizardStbBlock", "wizardStbBlockIterator", kOperation}, "WizardStbBlock.")) {
            boxes->ExpandWizStbBlock(stbBlockHandles.emplace_back(0), m_hostConfigHandles.emplace_back(0),
                                     channel_blocks);
        }
    }
    Trace([] {
        return "CIptvWizardManager::SetupStbBlocks McastConfig, StbConfig, ViewedChannels and "
               "ViewingProfiles have been set up";
    });
}

void CIptvWizardManager::SetupStartTestCommand(std::vector<std::uint32_t>& stbBlockHandles) {
    namespace From = ids::IptvWizardTestConfig;
    namespace To = ids::IptvStartTestCommand;
    constexpr const char* kOperation = "CIptvWizardManager::SetupStartTestCommand";
    auto& start = MakeWizardObject<CIptvStartTestCommand>(
        CIptvStartTestCommand::CLASS_ID(), &GetWizardProject(kOperation), "IptvStartTestCommand", nullptr);
    static constexpr CopiedProperty kCopied[] = {
        {From::TestName, To::TestName},
        {From::TestType, To::TestType},
        {From::TestEnv, To::TestEnv},
        {From::TestDuration, To::TestDuration},
        {From::JoinFailThreshold, To::JoinFailThreshold},
        {From::UdpPortType, To::UdpPortType},
        {From::UdpPort, To::UdpPort},
        {From::VlanSubFilter, To::VlanSubFilter},
        {From::DatabaseFileName, To::DatabaseFileName},
        {From::StartDelayStep, To::StartDelayStep},
        {From::SaveResultsPerIteration, To::SaveResultsPerIteration},
    };
    CopyProperties(GetWizTestConfig(), start, kCopied);
    start.SetCollection(To::StbBlockList, stbBlockHandles);
    Trace([] { return "CIptvWizardManager::SetupStartTestCommand StartTestCommand has been set up"; });
}

void CIptvWizardManager::SetupIptvSequencer() {
    WizardSequence sequence(GetWizardProject("CIptvWizardManager::SetupIptvSequencer"), GetWizTestConfig());
    sequence.Build();
    sequence.HandOver();
    Trace([] { return "CIptvWizardManager::SetupSequencer Sequencer has been set up"; });
}

CIptvWizardTestConfig& CIptvWizardManager::GetWizTestConfig() {
    constexpr const char* kOperation = "CIptvWizardManager::GetWizTestConfig";
    auto* config = dynamic_cast<CIptvWizardTestConfig*>(
        GetWizardProject(kOperation).GetObject(CIptvWizardTestConfig::CLASS_ID(), common::kParentChild));
    if (!config) ThrowLookupFailure({"IptvWizardTestConfig", "CProject", kOperation}, "WizardTestConfig.");
    return *config;
}

void CIptvWizardManager::SetupRelations(std::uint32_t objectHandle, std::string relationName, bool targets,
                                        std::uint32_t relativeHandle, bool append) {
    namespace Id = ids::SetRelativesCommand;
    auto& command = MakeWizardObject<framework::CSetRelativesCommand>(
        framework::CSetRelativesCommand::CLASS_ID(), nullptr, "SetRelativesCommand", nullptr);
    const OwnedScriptable owner(&command);
    command.Set(Id::SrcObjectHandle, objectHandle);
    command.Set(Id::RelationName, relationName + (targets ? "-Targets" : "-Sources"));
    command.SetCollection<std::uint32_t>(Id::RelativeList, {relativeHandle});
    command.Set(Id::Append, append);
    command.Execute(false);
}

}  // namespace orv::iptv
