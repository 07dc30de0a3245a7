// Results of a block of set-top boxes.
#pragma once

#include "ModelClass.h"
#include "results/IptvTotalResults.h"

namespace orv::iptv {

class CIptvPortResults;
class CIptvViewingProfileResults;

class CIptvStbBlockResults
    : public ModelClass<ids::IptvStbBlockResults::CLASS.GetValue(), CIptvTotalResults> {
  public:
    /// Ends a batch: merges it, adds it to the results of the profile and the port, and clears it. `sums`: as
    /// given to SetAndAccumLatencies for the batch.
    void BinStbBlockEvents(const JoinLeaveSums& sums, CIptvViewingProfileResults& profile,
                           CIptvPortResults& port);
    void ResetResults() { CompleteResetTotalResults(); }
};

}  // namespace orv::iptv
