#include "results/IptvStbBlockResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvPortResults.h"
#include "results/IptvViewingProfileResults.h"

namespace orv::iptv {

namespace Id = ids::IptvStbBlockResults;

ClassId CIptvStbBlockResults::CLASS_ID() {
    static const ClassId id = Id::CLASS;
    return id;
}

const framework::CMetaClass* CIptvStbBlockResults::GetMetaClassStatic() {
    static const framework::CMetaClass* const meta_class =
        framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
    return meta_class;
}

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
