#include "config/IptvViewedChannels.h"

#include "ClassRegistration.h"
#include "IptvErrors.h"
#include "config/ChannelAddress.h"
#include "config/ChannelBlockIndex.h"
#include "config/IptvChannelBlock.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/framework/relation_manager.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::iptv {

namespace ViewedChannelsId = ids::IptvViewedChannels;

CIptvViewedChannels::~CIptvViewedChannels() {
    Leave(*this);
}

std::uint32_t CIptvViewedChannels::GetChannelRangeStart() const {
    return GetU32(ViewedChannelsId::ChannelRangeStart);
}
std::uint32_t CIptvViewedChannels::GetChannelRangeEnd() const {
    return GetU32(ViewedChannelsId::ChannelRangeEnd);
}
std::uint32_t CIptvViewedChannels::GetChannelRangeStep() const {
    return GetU32(ViewedChannelsId::ChannelRangeStep);
}
std::uint32_t CIptvViewedChannels::GetInitialChannelStart() const {
    return GetU32(ViewedChannelsId::InitialChannelStart);
}
std::uint32_t CIptvViewedChannels::GetInitialChannelStep() const {
    return GetU32(ViewedChannelsId::InitialChannelStep);
}
std::uint32_t CIptvViewedChannels::GetChannelBlock() const {
    return GetU32(ViewedChannelsId::ChannelBlock);
}

CIptvChannelBlock* CIptvViewedChannels::GetChannelBlockForViewChan(const ScriptableVec& channelBlocks) const {
    return GetChannelBlockForViewChan(ChannelBlockIndex(channelBlocks));
}

CIptvChannelBlock* CIptvViewedChannels::GetChannelBlockForViewChan(
    const ChannelBlockIndex& channelBlocks) const {
    return channelBlocks.Find(GetChannelRangeStart(), GetChannelRangeEnd());
}

bool CIptvViewedChannels::IsViewedChannelDirty() const {
    return IsViewedChannelDirty(ChannelBlockIndex::OfProject());
}

bool CIptvViewedChannels::IsViewedChannelDirty(const ChannelBlockIndex& channelBlocks) const {
    constexpr const char* kOperation = "CIptvViewedChannels::IsViewedChannelDirty";
    const CIptvChannelBlock* channel_block = GetChannelBlockForViewChan(channelBlocks);
    if (!channel_block) ThrowLookupFailure({"IptvChannelBlock", "ChannelBlockVec", kOperation}, "");
    // A block that holds a range has a group with a network block: the index lists no other.
    const core::CNetworkBlock* block = channel_block->GetMulticastGroup()->GetNetworkBlock();
    const std::uint32_t offset = GetChannelRangeStart() - channel_block->GetChannelStart();
    bool dirty = channel_block->GetObjectState() != STATE_UNCHANGED;
    dirty = dirty || sent_increment_ != block->GetAddrIncrement();
    if (const auto* v4 = dynamic_cast<const core::CIpv4NetworkBlock*>(block))
        return dirty || sent_v4_ != GetChannelAddress(*v4, offset);
    if (const auto* v6 = dynamic_cast<const core::CIpv6NetworkBlock*>(block))
        return dirty || sent_v6_ != GetChannelAddress(*v6, offset);
    ThrowLookupFailure(
        {"Ipv4Block or Ipv6Block", "NetworkBlock",
         "CIptvViewedChannels::IsViewedChannelDirty. Typecast failed"},
        "NetworkBlock " + block->GetName() + " couldnot be converted to Ipv4Block or Ipv4Block");
}

bool CIptvViewedChannels::SetIpParam(const common::CIpAddress& address, std::uint32_t increment) {
    const bool changed = sent_v4_ != address || sent_increment_ != increment;
    sent_v4_ = address;
    sent_increment_ = increment;
    return changed;
}

bool CIptvViewedChannels::SetIpParam(const common::CIpv6Address& address, std::uint32_t increment) {
    const bool changed = sent_v6_ != address || sent_increment_ != increment;
    sent_v6_ = address;
    sent_increment_ = increment;
    return changed;
}

void CIptvViewedChannels::ForgetIpParam() {
    sent_v4_ = {};
    sent_v6_ = {};
    sent_increment_ = 1;
}

bool CIptvViewedChannels::CloneRelationType(const CScriptable&, const RelationType& type) const {
    return framework::CRelationManager::Instance().GetTypeName(type.type) != "StbChannel";
}

bool CmpViewedChannels(const CScriptable* a, const CScriptable* b) {
    return a->GetU32(ViewedChannelsId::ChannelRangeStart) < b->GetU32(ViewedChannelsId::ChannelRangeStart);
}

IPTV_REGISTER_CLASS(CIptvViewedChannels);
IPTV_REGISTER_VALIDATOR(CIptvViewedChannels, OnValidateViewedChannels, ids::Project::CLASS);

}  // namespace orv::iptv
