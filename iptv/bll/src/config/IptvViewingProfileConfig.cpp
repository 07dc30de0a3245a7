#include "config/IptvViewingProfileConfig.h"

#include "ClassRegistration.h"
#include "orv/framework/relation_manager.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "running/RunningTest.h"

namespace orv::iptv {

const bool& CIptvViewingProfileConfig::m_bTriggerDelayCheck = RunningTest::GetRules().trigger_delay_check;

CIptvViewingProfileConfig::~CIptvViewingProfileConfig() {
    Leave(*this);
}

std::uint32_t CIptvViewingProfileConfig::GetInterval() const {
    return GetU32(ids::IptvViewingProfileConfig::Interval);
}

std::uint32_t CIptvViewingProfileConfig::GetSetTopLeaveJoinDelay() const {
    return GetU32(ids::IptvViewingProfileConfig::SetTopLeaveJoinDelay);
}

bool CIptvViewingProfileConfig::CloneRelationType(const CScriptable&, const RelationType& type) const {
    return framework::CRelationManager::Instance().GetTypeName(type.type) != "IptvProfile";
}

IPTV_REGISTER_CLASS(CIptvViewingProfileConfig);
IPTV_REGISTER_VALIDATOR(CIptvViewingProfileConfig, OnValidateViewingProfile, ids::Project::CLASS);

}  // namespace orv::iptv
