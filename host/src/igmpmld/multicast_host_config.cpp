#include "orv/igmpmld/multicast_host_config.h"

#include "orv/framework/static_registration.h"
#include "orv/ids/igmpmld_ids.h"

namespace orv::igmpmld {

framework::ClassId CMulticastHostConfig::CLASS_ID() {
    return ids::MulticastHostConfig::CLASS;
}

void CMulticastHostConfig::SetVersion(std::uint8_t version) {
    Set(ids::MulticastHostConfig::Version, version);
}

framework::ClassId CIgmpHostConfig::CLASS_ID() {
    return ids::IgmpHostConfig::CLASS;
}

framework::ClassId CMldHostConfig::CLASS_ID() {
    return ids::MldHostConfig::CLASS;
}

void CMldHostConfig::SetMetaClass(const framework::CMetaClass* metaClass) {
    CMulticastHostConfig::SetMetaClass(metaClass);
    SetVersion(ids::GroupMembershipVersion::MLD_V1);
}

void CMldHostConfig::ResetDefaults() {
    CMulticastHostConfig::ResetDefaults();
    SetVersion(ids::GroupMembershipVersion::MLD_V1);
}

ORV_REGISTER_CLASS(CIgmpHostConfig);
ORV_REGISTER_CLASS(CMldHostConfig);

}  // namespace orv::igmpmld
