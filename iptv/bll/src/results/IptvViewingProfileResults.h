// The views of all set-top boxes that zap by a profile.
#pragma once

#include "results/IptvGapOverlapResults.h"

namespace orv::iptv {

class CIptvViewingProfileResults : public CIptvGapOverlapResults {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();

    void ResetResults() { CompleteResetGapOverlapResults(); }
};

}  // namespace orv::iptv
