#include "results/IptvStbResults.h"

#include "ClassRegistration.h"

namespace orv::iptv {

IPTV_REGISTER_CLASS(CIptvStbResults);

}  // namespace orv::iptv
