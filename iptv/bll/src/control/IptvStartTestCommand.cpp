#include "control/IptvStartTestCommand.h"

#include "ClassRegistration.h"
#include "control/StartGuards.h"
#include "orv/core/project.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

namespace StartTestId = ids::IptvStartTestCommand;

CIptvStartTestCommand::CIptvStartTestCommand() {
    CIptvResultsManager* manager = CIptvResultsManager::FindResultsManager();
    if (manager && !StartUnderWay::Exists()) manager->ForgetPorts();
}
CIptvStartTestCommand::~CIptvStartTestCommand() = default;

std::uint8_t CIptvStartTestCommand::GetTypeOfTest() const {
    return GetU8(StartTestId::TestType);
}

std::uint8_t CIptvStartTestCommand::GetTestEnv() const {
    return GetU8(StartTestId::TestEnv);
}

std::uint8_t CIptvStartTestCommand::GetMulticastJoinTrigger() const {
    return GetU8(StartTestId::MulticastJoinTrigger);
}

std::uint8_t CIptvStartTestCommand::GetUnicastLeaveTrigger() const {
    return GetU8(StartTestId::UnicastLeaveTrigger);
}

const std::vector<std::uint32_t>& CIptvStartTestCommand::GetStbBlockList() const {
    return GetCollection<std::uint32_t>(StartTestId::StbBlockList);
}

const std::string& CIptvStartTestCommand::GetDatabaseFileName() const {
    return GetOutputFilePath(StartTestId::DatabaseFileName).ToString();
}

bool CIptvStartTestCommand::OnInit() {
    const auto* project = core::CProject::GetCurrentActiveInstance();
    if (project && !RunningTest::IsRunning())
        AddToCollection<std::uint32_t>(StartTestId::StbBlockList, project->GetHandle());
    return true;
}

IPTV_REGISTER_CLASS(CIptvStartTestCommand);

}  // namespace orv::iptv
