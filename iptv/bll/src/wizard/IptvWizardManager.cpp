#include "wizard/IptvWizardManager.h"

#include "IptvLog.h"
#include "control/IptvStartTestCommand.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/framework/command.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "wizard/IptvWizardMcastSources.h"
#include "wizard/IptvWizardStbBlock.h"
#include "wizard/IptvWizardTestConfig.h"
#include "wizard/WizardObjects.h"
#include "wizard/WizardSequence.h"

namespace orv::iptv {

CIptvWizardManager* CIptvWizardManager::GetWizardManager() {
    // Never destroyed: it is used as long as there is a process.
    static auto* const manager = new CIptvWizardManager;
    return manager;
}

void CIptvWizardManager::SetupTest() {
    Trace([] { return "CIptvWizardManager::SetupTest() Setting test based on wizard inputs"; });
    using framework::CSequencer;
    if (CSequencer::Instance().GetSequencerState() == CSequencer::SEQUENCER_RUNNING) {
        throw common::COrvRunTimeError(
            "The IPTV wizard cannot replace the sequence while it runs. Stop it, or wait for its end.");
    }
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
    for (const auto* device : GetWizardChildren<core::CEmulatedDevice>(
             GetWizardProject(kOperation), {"EmulatedDevice", "DeviceIterator", kOperation},
             "EmulatedDevice.")) {
        for (auto* boxes : GetWizardChildren<CIptvWizardStbBlock>(
                 *device, {"IptvWizardStbBlock", "wizardStbBlockIterator", kOperation}, "WizardStbBlock.")) {
            boxes->ExpandWizStbBlock(stbBlockHandles.emplace_back(0), m_hostConfigHandles.emplace_back(0));
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
        CIptvStartTestCommand::CLASS_ID(), &GetWizardProject(kOperation), "IptvStartTestCommand", kOperation);
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
        framework::CSetRelativesCommand::CLASS_ID(), nullptr, "SetRelativesCommand",
        "CIptvWizardManager::SetupRelations");
    const OwnedScriptable owner(&command);
    command.Set(Id::SrcObjectHandle, objectHandle);
    command.Set(Id::RelationName, relationName + (targets ? "-Targets" : "-Sources"));
    command.SetCollection<std::uint32_t>(Id::RelativeList, {relativeHandle});
    command.Set(Id::Append, append);
    command.Execute(false);
}

}  // namespace orv::iptv
