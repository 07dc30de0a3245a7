// The views of the channels of a range.
#pragma once

#include "ModelClass.h"
#include "results/IptvJoinLeaveResults.h"

namespace orv::iptv {

class CIptvChannelResults
    : public ModelClass<ids::IptvChannelResults::CLASS.GetValue(), CIptvJoinLeaveResults> {
  public:
    /// Everything to 0, and no channel name ("NA").
    void ResetResults();
};

}  // namespace orv::iptv
