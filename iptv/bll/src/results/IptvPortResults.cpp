#include "results/IptvPortResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"
#include "results/ResultProperties.h"

namespace orv::iptv {

namespace Id = ids::IptvPortResults;

void CIptvPortResults::AccumResultToDataModel(std::uint64_t lost, std::uint64_t reordered,
                                              std::uint64_t duplicate, std::uint64_t prbs, std::uint64_t late,
                                              double packets, double seconds) {
    AddTo(*this, Id::DroppedFrameCount, lost);
    AddTo(*this, Id::ReorderedFrameCount, reordered);
    AddTo(*this, Id::DuplicateFrameCount, duplicate);
    AddTo(*this, Id::PrbsErrorCount, prbs);
    AddTo(*this, Id::LateFrameCount, late);
    AddTo(*this, Id::TotalPkts, packets);
    seconds_ += seconds;
    Set(Id::TotalPktRate, GetRate(GetDouble(Id::TotalPkts), seconds_));
}

void CIptvPortResults::ResetResults() {
    for (const framework::PropId count : {Id::DroppedFrameCount, Id::ReorderedFrameCount,
                                          Id::DuplicateFrameCount, Id::PrbsErrorCount, Id::LateFrameCount})
        Set(count, std::uint64_t{0});
    Set(Id::TotalPkts, 0.0);
    Set(Id::TotalPktRate, 0.0);
    seconds_ = 0.0;
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvPortResults> registration{CIptvPortResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
