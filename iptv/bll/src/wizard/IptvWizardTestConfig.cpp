#include "wizard/IptvWizardTestConfig.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

bool CIptvWizardTestConfig::IsTestEnvironment() const {
    return GetU8(ids::IptvWizardTestConfig::TestEnv) == ids::TestEnv::TESTING;
}

bool CIptvWizardTestConfig::IsIpv4() const {
    return GetU8(ids::IptvWizardTestConfig::IpVersion) == ids::WizardIpVersion::IPV4;
}

std::uint32_t CIptvWizardTestConfig::GetGroupAddrIncrement() const {
    return GetU32(ids::IptvWizardTestConfig::GroupAddrIncrement);
}

IPTV_REGISTER_CLASS(CIptvWizardTestConfig);

}  // namespace orv::iptv
