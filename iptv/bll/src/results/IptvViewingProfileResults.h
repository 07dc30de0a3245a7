// Results of all set-top boxes with the same viewing profile.
#pragma once

#include "ModelClass.h"
#include "results/IptvGapOverlapResults.h"

namespace orv::iptv {

class CIptvViewingProfileResults
    : public ModelClass<ids::IptvViewingProfileResults::CLASS.GetValue(), CIptvGapOverlapResults> {
  public:
    void ResetResults() { CompleteResetGapOverlapResults(); }
};

}  // namespace orv::iptv
