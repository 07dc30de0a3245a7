#include "control/StartTestReports.h"

#include <string>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "orv/framework/command.h"
#include "orv/framework/resources.h"

namespace orv::iptv {

bool RefuseTest(framework::CCommand& command, framework::CBaseValidationContext& context, std::uint32_t id,
                const std::source_location& where) {
    const std::string& text = framework::CResourceManager::Instance().GetStringResource(id);
    ReportError(context, text, where);
    command.SetStatus(text);
    return false;
}

void WarnOfTest(framework::CCommand& command, framework::CBaseValidationContext& context, std::uint32_t id,
                const std::source_location& where) {
    const std::string& text = framework::CResourceManager::Instance().GetStringResource(id);
    context.AddWarning(SourceTag(where), text);
    command.SetStatus(text);
    LogText(userLogger(), LogLevelType::Warn, text, where);
}

}  // namespace orv::iptv
