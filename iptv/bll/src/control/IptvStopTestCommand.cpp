#include "control/IptvStopTestCommand.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

void CIptvStopTestCommand::DoRun() {
    CIptvResultsManager* manager = CIptvResultsManager::GetResultsManager();
    if (!manager->IsFinishing()) manager->EndOfTestProcessing(true);
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvStopTestCommand> registration{CIptvStopTestCommand::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
