#include "control/IptvWaitForTestCompletionCommand.h"

#include <ctime>

#include "ClassRegistration.h"
#include "IptvLog.h"
#include "control/StopRunningTest.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

namespace {

constexpr int kPollMs = 5000;

bool ClockWorks() {
    if (std::time(nullptr) != static_cast<std::time_t>(-1)) return true;
    LogText(devLogger(), LogLevelType::Error, "Unable to get time for sleeping in WaitTestForCompletion");
    return false;
}

}  // namespace

void CIptvWaitForTestCompletionCommand::DoRun() {
    CScriptable::Set(ids::Command::ProgressIsCancellable, true);
    if (!ClockWorks()) return;
    bool stopped = false;
    while (CIptvResultsManager::IsTestRunning()) {
        framework::CTaskManager::Instance().CtmYield(kPollMs);
        if (!ClockWorks()) return;
        if (GetProgressCancelled() && !stopped) {
            stopped = true;
            StopRunningTest(" In IptvWaitForTestCompletionCommand: Error in stopping test.");
        }
    }
}

IPTV_REGISTER_CLASS(CIptvWaitForTestCompletionCommand);

}  // namespace orv::iptv
