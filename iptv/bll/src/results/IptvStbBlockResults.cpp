#include "results/IptvStbBlockResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
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

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvStbBlockResults> registration{CIptvStbBlockResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
