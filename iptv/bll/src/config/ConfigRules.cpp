#include "config/ConfigRules.h"

#include "IptvErrors.h"
#include "orv/framework/validation.h"

namespace orv::iptv {

void ReportChangeUnderTest(framework::ValidationContext& context, framework::CScriptable& object,
                           const std::source_location& where) {
    const framework::ReportedObject about(context, object);
    ReportError(context, "Must not apply any new IPTV configuration changes while an IPTV test is running",
                where);
}

}  // namespace orv::iptv
