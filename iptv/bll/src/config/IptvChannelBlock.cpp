#include "config/IptvChannelBlock.h"

#include "ClassRegistration.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::iptv {

std::uint32_t CIptvChannelBlock::GetChannelStart() const {
    return GetU32(ids::IptvChannelBlock::ChannelStart);
}

const std::string& CIptvChannelBlock::GetChannelName() const {
    return GetString(ids::IptvChannelBlock::ChannelName);
}

mcastcore::CMulticastGroup* CIptvChannelBlock::GetMulticastGroup() const {
    return dynamic_cast<mcastcore::CMulticastGroup*>(
        GetObject(mcastcore::CMulticastGroup::CLASS_ID(), ids::relations::MulticastParam));
}

void CIptvChannelBlock::OnRelationModified(RelationType type, CScriptable& other, bool added) {
    if (type == ids::relations::TrafficSources && other.IsTypeOf(ids::EmulatedDevice::CLASS)) {
        if (GetObjectState() == STATE_UNCHANGED) SetObjectState(STATE_MODIFIED);
    } else if (type == ids::relations::MulticastParam &&
               other.IsTypeOf(mcastcore::CMulticastGroup::CLASS_ID())) {
        if (other.GetObjectState() == STATE_PENDING_DELETE) {
            MarkDelete(true, true);
        } else if (other.GetObjectState() == STATE_OBSOLETE) {
            SetObjectState(STATE_OBSOLETE);
        }
    }
    CScriptable::OnRelationModified(type, other, added);
}

bool CmpChannelBlock(const CScriptable* a, const CScriptable* b) {
    return a->GetU32(ids::IptvChannelBlock::ChannelStart) < b->GetU32(ids::IptvChannelBlock::ChannelStart);
}

IPTV_REGISTER_CLASS(CIptvChannelBlock);
IPTV_REGISTER_VALIDATOR(CIptvChannelBlock, OnValidateChannelBlock, ids::Project::CLASS);

}  // namespace orv::iptv
