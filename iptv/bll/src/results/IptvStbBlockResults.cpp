#include "results/IptvStbBlockResults.h"

#include "ClassRegistration.h"
#include "results/IptvPortResults.h"
#include "results/IptvViewingProfileResults.h"

namespace orv::iptv {

void CIptvStbBlockResults::BinStbBlockEvents(const JoinLeaveSums& sums, CIptvViewingProfileResults& profile,
                                             CIptvPortResults& port) {
    AccumEvents();
    CopyGapOverlapResultsToDataModel();
    CopyTotalResultsToDataModel();
    profile.SetAndAccumGapOverlapResults(GetGapOverlapBatch());
    profile.CopyGapOverlapResultsToDataModel();
    port.AccumResultToDataModel(sums);
    ClearGapOverlapBatch();
    profile.ClearGapOverlapBatch();
    ResetTotalResultsClassVar();
}

IPTV_REGISTER_CLASS(CIptvStbBlockResults);

}  // namespace orv::iptv
