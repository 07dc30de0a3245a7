#include "wizard/IptvWizardTestConfig.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
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

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvWizardTestConfig> registration{CIptvWizardTestConfig::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
