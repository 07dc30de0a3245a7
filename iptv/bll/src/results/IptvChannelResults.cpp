#include "results/IptvChannelResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace Id = ids::IptvChannelResults;

void CIptvChannelResults::ResetResults() {
    Set(Id::ChannelName, "NA");
    Set(Id::NumOfChannels, std::uint32_t{0});
    CompleteResetJoinLeaveResults();
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvChannelResults> registration{CIptvChannelResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
