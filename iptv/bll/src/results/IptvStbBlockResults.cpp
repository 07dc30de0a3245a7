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
    profile.SetAndAccumGapOverlapResults(GetGapBatch(), GetOverlapBatch(), GetChangeBatch());
    profile.CopyGapOverlapResultsToDataModel();
    const auto both = [&sums](JoinLeaveCounter multicast, JoinLeaveCounter unicast) {
        return sums.counters[multicast] + sums.counters[unicast];
    };
    port.AccumResultToDataModel(both(kLost, kLostUnicast), both(kReordered, kReorderedUnicast),
                                both(kDuplicate, kDuplicateUnicast), both(kPrbsErrors, kPrbsErrorsUnicast),
                                both(kLate, kLateUnicast), sums.packets[kAllTraffic],
                                sums.seconds[kAllTraffic]);
    ClearGapOverlapBatch();
    profile.ClearGapOverlapBatch();
    ResetTotalResultsClassVar();
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvStbBlockResults> registration{CIptvStbBlockResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
