#include "wizard/IptvWizardMcastPorts.h"

#include "ClassRegistration.h"

namespace orv::iptv {

IPTV_REGISTER_CLASS(CIptvWizardMcastPorts);

}  // namespace orv::iptv
