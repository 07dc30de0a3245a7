#include "wizard/IptvWizardMcastPorts.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"

namespace orv::iptv {

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvWizardMcastPorts> registration{CIptvWizardMcastPorts::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
