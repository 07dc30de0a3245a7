#include "results/IptvRrrEventResults.h"

#include "ClassRegistration.h"

namespace orv::iptv {

IPTV_REGISTER_CLASS(CIptvRrrEventResults);

}  // namespace orv::iptv
