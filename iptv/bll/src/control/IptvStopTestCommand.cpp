#include "control/IptvStopTestCommand.h"

#include "ClassRegistration.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

void CIptvStopTestCommand::DoRun() {
    CIptvResultsManager* manager = CIptvResultsManager::GetResultsManager();
    if (!manager->IsFinishing()) manager->EndOfTestProcessing(true);
}

IPTV_REGISTER_CLASS(CIptvStopTestCommand);

}  // namespace orv::iptv
