#include "results/IptvViewingProfileResults.h"

#include "ClassRegistration.h"

namespace orv::iptv {

IPTV_REGISTER_CLASS(CIptvViewingProfileResults);

}  // namespace orv::iptv
