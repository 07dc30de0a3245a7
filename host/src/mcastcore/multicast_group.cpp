#include "orv/mcastcore/multicast_group.h"

#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/mcastcore_ids.h"

namespace orv::mcastcore {

namespace {

/// A new group can carry a few streams.
constexpr std::uint32_t kNewGroupAddresses = 4;

/// A network block's own default is no multicast address, so a group makes its block itself.
template <class Block, class Address>
void MakeBlock(CMulticastGroup& group, const char* first_address) {
    auto& block = framework::CScriptableCreator().Make<Block>(&group);
    block.SetStartIpList({*Address::FromString(first_address)});
    block.SetNetworkCount(kNewGroupAddresses);
}

}  // namespace

framework::ClassId CMulticastGroup::CLASS_ID() {
    return ids::MulticastGroup::CLASS;
}

core::CNetworkBlock* CMulticastGroup::GetNetworkBlock() const {
    return dynamic_cast<core::CNetworkBlock*>(
        GetObject(core::CNetworkBlock::CLASS_ID(), common::kParentChild));
}

framework::ClassId CIpv4Group::CLASS_ID() {
    return ids::Ipv4Group::CLASS;
}

bool CIpv4Group::OnCreateDefaultChild(const framework::CMetaClass& childClass) {
    if (!childClass.IsTypeOf(core::CIpv4NetworkBlock::CLASS_ID())) {
        return CMulticastGroup::OnCreateDefaultChild(childClass);
    }
    MakeBlock<core::CIpv4NetworkBlock, common::CIpAddress>(*this, "225.0.0.1");
    return false;
}

framework::ClassId CIpv6Group::CLASS_ID() {
    return ids::Ipv6Group::CLASS;
}

bool CIpv6Group::OnCreateDefaultChild(const framework::CMetaClass& childClass) {
    if (!childClass.IsTypeOf(core::CIpv6NetworkBlock::CLASS_ID())) {
        return CMulticastGroup::OnCreateDefaultChild(childClass);
    }
    MakeBlock<core::CIpv6NetworkBlock, common::CIpv6Address>(*this, "ff1e::1");
    return false;
}

ORV_REGISTER_CLASS(CIpv4Group);
ORV_REGISTER_CLASS(CIpv6Group);

}  // namespace orv::mcastcore
