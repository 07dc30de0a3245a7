#include "control/StopRunningTest.h"

#include <memory>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "control/IptvStopTestCommand.h"
#include "orv/common/exceptions.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable_creator.h"

namespace orv::iptv {

void StopRunningTest(const char* failure) {
    LogText(devLogger(), LogLevelType::Info, " Test cancelled by user used sequencer stop.");
    auto* stop = dynamic_cast<CIptvStopTestCommand*>(framework::CScriptableCreator().Create(
        CIptvStopTestCommand::CLASS_ID(), core::CProject::GetCurrentActiveInstance()));
    if (!stop) {
        LogCreationFailure("IptvStopTestCommand");
        throw common::COrvRunTimeError(failure, true);
    }
    const auto remove = [](framework::CScriptable* command) { command->Delete(); };
    const std::unique_ptr<framework::CScriptable, decltype(remove)> owner(stop, remove);
    stop->Execute(false);
}

}  // namespace orv::iptv
