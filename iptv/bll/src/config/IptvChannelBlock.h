// A numbered range of TV channels.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "orv/framework/scriptable.h"

namespace orv::core {
class CNetworkBlock;
}
namespace orv::framework {
class ValidationContext;
}
namespace orv::mcastcore {
class CMulticastGroup;
}

namespace orv::iptv {

using common::ClassId;
using common::RelationType;
using framework::CScriptable;

/// Numbers the addresses of a multicast group as TV channels: channel ChannelStart + i is the i-th address of
/// the group's network block, counted from 0. Deleted together with its group.
class CIptvChannelBlock : public ModelClass<ids::IptvChannelBlock::CLASS.GetValue(), CScriptable> {
  public:
    std::uint32_t GetChannelStart() const;
    const std::string& GetChannelName() const;
    /// The group whose addresses are the channels, or null.
    mcastcore::CMulticastGroup* GetMulticastGroup() const;

    void OnRelationModified(RelationType type, CScriptable& other, bool added) override;

    /// Channel numbers are unique over all channel blocks, and every channel has a UDP port.
    static void OnValidateChannelBlock(framework::ValidationContext& context);
};

/// Ascending ChannelStart; both must be channel blocks.
bool CmpChannelBlock(const CScriptable* a, const CScriptable* b);

}  // namespace orv::iptv
