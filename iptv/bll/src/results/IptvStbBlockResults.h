// The views of a block of set-top boxes.
#pragma once

#include "ModelClass.h"
#include "results/IptvTotalResults.h"

namespace orv::iptv {

class CIptvPortResults;
class CIptvViewingProfileResults;

class CIptvStbBlockResults
    : public ModelClass<ids::IptvStbBlockResults::CLASS.GetValue(), CIptvTotalResults> {
  public:
    /// Ends a batch: merges it, passes it on to the profile's and the port's results, and empties it. `sums`:
    /// what SetAndAccumLatencies was given for the batch.
    void BinStbBlockEvents(const JoinLeaveSums& sums, CIptvViewingProfileResults& profile,
                           CIptvPortResults& port);
    void ResetResults() { CompleteResetTotalResults(); }
};

}  // namespace orv::iptv
