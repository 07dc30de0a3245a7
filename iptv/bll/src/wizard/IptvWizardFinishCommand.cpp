#include "wizard/IptvWizardFinishCommand.h"

#include <algorithm>

#include "ClassRegistration.h"
#include "IptvErrors.h"
#include "orv/common/exceptions.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/iptv_ids.h"
#include "wizard/IptvWizardManager.h"
#include "wizard/IptvWizardTestConfig.h"
#include "wizard/WizardObjects.h"

namespace orv::iptv {

namespace {

namespace From = ids::IptvWizardFinishCommand;
namespace To = ids::IptvWizardTestConfig;

/// (property of the command, its counterpart in the test configuration)
constexpr CopiedProperty kMirrored[] = {
    {From::TestName, To::TestName},
    {From::TestType, To::TestType},
    {From::TestEnv, To::TestEnv},
    {From::TestDuration, To::TestDuration},
    {From::JoinFailThreshold, To::JoinFailThreshold},
    {From::UdpPortType, To::UdpPortType},
    {From::UdpPort, To::UdpPort},
    {From::VlanSubFilter, To::VlanSubFilter},
    {From::IpVersion, To::IpVersion},
    {From::DatabaseFileName, To::DatabaseFileName},
    {From::InitialNumOfChannels, To::InitialNumOfChannels},
    {From::InitialChannelStart, To::InitialChannelStart},
    {From::StartDelayStep, To::StartDelayStep},
    {From::InitialIpv4Address, To::InitialIpv4Address},
    {From::InitialIpv6Address, To::InitialIpv6Address},
};

CScriptable* FindTestConfig() {
    const auto* project = core::CProject::GetCurrentActiveInstance();
    return project ? project->GetObject(CIptvWizardTestConfig::CLASS_ID(), common::kParentChild) : nullptr;
}

CIptvWizardTestConfig& FindOrMakeTestConfig() {
    auto* project = core::CProject::GetCurrentActiveInstance();
    CScriptable* object = FindTestConfig();
    if (project && !object)
        object = framework::CScriptableCreator().Create(CIptvWizardTestConfig::CLASS_ID(), project);
    auto* config = dynamic_cast<CIptvWizardTestConfig*>(object);
    if (!config) {
        LogCreationFailure("IptvWizardTestConfig");
        throw common::COrvException(iptvAutomationMemErrMsg + "IptvWizardTestConfig.", true);
    }
    return *config;
}

bool IsInSequencer(const CScriptable* object) {
    while (object && !object->IsTypeOf(framework::CSequencer::CLASS_ID())) object = object->GetParent();
    return object != nullptr;
}

}  // namespace

bool CIptvWizardFinishCommand::OnInit() {
    if (const CScriptable* config = FindTestConfig()) {
        // Setting a property copies it back to the test configuration, which has that value already.
        for (const auto& [own, of_test] : kMirrored) {
            const CopiedProperty back{of_test, own};
            CopyProperties(*config, *this, {&back, 1});
        }
    }
    return CCommand::OnInit();
}

void CIptvWizardFinishCommand::OnPropertyModified(framework::Property& property) {
    CIptvWizardTestConfig& config = FindOrMakeTestConfig();
    const auto* mirrored = std::find_if(std::begin(kMirrored), std::end(kMirrored),
                                        [&](const auto& pair) { return pair.first == property.GetId(); });
    if (mirrored != std::end(kMirrored)) CopyProperties(*this, config, {mirrored, 1});
    CCommand::OnPropertyModified(property);
}

void CIptvWizardFinishCommand::DoRun() {
    if (IsInSequencer(this))
        throw common::COrvRunTimeError("The IPTV wizard replaces the sequence and cannot be a part of it.");
    CIptvWizardManager::GetWizardManager()->SetupTest();
}

IPTV_REGISTER_CLASS(CIptvWizardFinishCommand);

}  // namespace orv::iptv
