#include "results/IptvEventResults.h"

#include "ClassRegistration.h"

namespace orv::iptv {

IPTV_REGISTER_CLASS(CIptvEventResults);

}  // namespace orv::iptv
