// What the set-top boxes of a block watch.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "config/AppliedPorts.h"
#include "orv/common/addresses.h"
#include "orv/framework/scriptable.h"

namespace orv::framework {
class ValidationContext;
}

namespace orv::iptv {

class ChannelBlockIndex;
class CIptvChannelBlock;
using common::ClassId;
using common::RelationType;
using framework::CScriptable;
using framework::ScriptableVec;

/// A range of channels inside one channel block, and where each set-top box starts: the first one on
/// InitialChannelStart, each next one InitialChannelStep further on.
///
/// Remembers the ports on which it has been created, and the address and increment that were sent last.
class CIptvViewedChannels : public ModelClass<ids::IptvViewedChannels::CLASS.GetValue(), CScriptable>,
                            public AppliedPorts {
  public:
    ~CIptvViewedChannels() override;

    std::uint32_t GetChannelRangeStart() const;
    std::uint32_t GetChannelRangeEnd() const;
    std::uint32_t GetChannelRangeStep() const;
    std::uint32_t GetInitialChannelStart() const;
    std::uint32_t GetInitialChannelStep() const;
    /// Handle of the channel block that the range was made for, 0 for none.
    std::uint32_t GetChannelBlock() const;

    /// The channel block that the range lies in: the first of the list that holds it, or null. For many
    /// ranges make the index once.
    CIptvChannelBlock* GetChannelBlockForViewChan(const ScriptableVec& channelBlocks) const;
    CIptvChannelBlock* GetChannelBlockForViewChan(const ChannelBlockIndex& channelBlocks) const;

    /// True when the range's channel block changed since the last apply, or gives the range another first
    /// address or increment than was sent last. Throws COrvRunTimeError when no block holds the range.
    bool IsViewedChannelDirty() const;
    bool IsViewedChannelDirty(const ChannelBlockIndex& channelBlocks) const;

    /// The address of the range's first channel and the address increment, as sent to a port. True when they
    /// are not what was sent before.
    bool SetIpParam(const common::CIpAddress& address, std::uint32_t increment);
    bool SetIpParam(const common::CIpv6Address& address, std::uint32_t increment);
    /// As if nothing had been sent.
    void ForgetIpParam();

    /// A clone is watched by no STB block.
    bool CloneRelationType(const CScriptable& other, const RelationType& type) const override;

    /// Every range lies in a channel block, and the ranges of an STB block do not overlap.
    static void OnValidateViewedChannels(framework::ValidationContext& context);

  private:
    common::CIpAddress sent_v4_;
    common::CIpv6Address sent_v6_;
    std::uint32_t sent_increment_ = 1;
};

/// Ascending ChannelRangeStart; both must be viewed-channel ranges.
bool CmpViewedChannels(const CScriptable* a, const CScriptable* b);

}  // namespace orv::iptv
