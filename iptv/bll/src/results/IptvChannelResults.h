// Results of the channels of a range.
#pragma once

#include "ModelClass.h"
#include "results/IptvJoinLeaveResults.h"

namespace orv::iptv {

class CIptvChannelResults
    : public ModelClass<ids::IptvChannelResults::CLASS.GetValue(), CIptvJoinLeaveResults> {
  public:
    /// Sets all numbers to 0, and the channel name to "NA".
    void ResetResults();
};

}  // namespace orv::iptv
