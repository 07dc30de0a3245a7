// How set-top boxes zap.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "config/AppliedPorts.h"
#include "orv/framework/scriptable.h"

namespace orv::framework {
class ValidationContext;
}

namespace orv::iptv {

using common::ClassId;
using common::RelationType;
using framework::CScriptable;

/// How the set-top boxes of the blocks that use it zap between channels, how long they view, and from which
/// latency on a join or leave is flagged. Remembers the ports on which it has been created.
class CIptvViewingProfileConfig
    : public ModelClass<ids::IptvViewingProfileConfig::CLASS.GetValue(), CScriptable>,
      public AppliedPorts {
  public:
    ~CIptvViewingProfileConfig() override;

    /// Zap interval, ms.
    std::uint32_t GetInterval() const;
    /// Delay between leaving a channel and joining the next, ms.
    std::uint32_t GetSetTopLeaveJoinDelay() const;

    /// A clone is used by no STB block.
    bool CloneRelationType(const CScriptable& other, const RelationType& type) const override;

    /// Delays and thresholds fit into the zap interval and the view duration.
    static void OnValidateViewingProfile(framework::ValidationContext& context);

    /// True when the test that was validated last leaves unicast after a delay, which must not be 0 then.
    /// Set by RunningTest only.
    static const bool& m_bTriggerDelayCheck;
};

}  // namespace orv::iptv
