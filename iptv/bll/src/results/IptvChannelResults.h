// The views of the channels of a range.
#pragma once

#include "results/IptvJoinLeaveResults.h"

namespace orv::iptv {

class CIptvChannelResults : public CIptvJoinLeaveResults {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();

    /// Everything to 0, and no channel name ("NA").
    void ResetResults();
};

}  // namespace orv::iptv
