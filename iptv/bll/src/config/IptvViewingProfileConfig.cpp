#include "config/IptvViewingProfileConfig.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/validation.h"
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

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvViewingProfileConfig> registration{
    CIptvViewingProfileConfig::CLASS_ID()};
const framework::Validator validator{
    "Mulvane", "OnValidateViewingProfile", ids::Project::CLASS,
    framework::Validator::Function::To<&CIptvViewingProfileConfig::OnValidateViewingProfile>()};
const framework::StaticRegisterValidator regProjectValidator{&validator};

}  // namespace

}  // namespace orv::iptv
