#include "results/IptvChannelResults.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace ChannelResultsId = ids::IptvChannelResults;

void CIptvChannelResults::ResetResults() {
    Set(ChannelResultsId::ChannelName, "NA");
    Set(ChannelResultsId::NumOfChannels, std::uint32_t{0});
    CompleteResetJoinLeaveResults();
}

IPTV_REGISTER_CLASS(CIptvChannelResults);

}  // namespace orv::iptv
