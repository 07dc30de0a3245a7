#include "control/IptvStartTestCommand.h"

#include "InitAttributeBuilder.h"
#include "control/StartGuards.h"
#include "orv/core/project.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

namespace Id = ids::IptvStartTestCommand;

CIptvStartTestCommand::CIptvStartTestCommand() {
    CIptvResultsManager* manager = CIptvResultsManager::FindResultsManager();
    if (manager && !StartUnderWay::Exists()) manager->ForgetPorts();
}
CIptvStartTestCommand::~CIptvStartTestCommand() = default;

std::uint8_t CIptvStartTestCommand::GetTypeOfTest() const {
    return GetU8(Id::TestType);
}

std::uint8_t CIptvStartTestCommand::GetTestEnv() const {
    return GetU8(Id::TestEnv);
}

std::uint8_t CIptvStartTestCommand::GetMulticastJoinTrigger() const {
    return GetU8(Id::MulticastJoinTrigger);
}

std::uint8_t CIptvStartTestCommand::GetUnicastLeaveTrigger() const {
    return GetU8(Id::UnicastLeaveTrigger);
}

const std::vector<std::uint32_t>& CIptvStartTestCommand::GetStbBlockList() const {
    return GetCollection<std::uint32_t>(Id::StbBlockList);
}

const std::string& CIptvStartTestCommand::GetDatabaseFileName() const {
    return GetOutputFilePath(Id::DatabaseFileName).ToString();
}

bool CIptvStartTestCommand::OnInit() {
    const auto* project = core::CProject::GetCurrentActiveInstance();
    if (project && !RunningTest::IsRunning())
        AddToCollection<std::uint32_t>(Id::StbBlockList, project->GetHandle());
    return true;
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvStartTestCommand> registration{CIptvStartTestCommand::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
