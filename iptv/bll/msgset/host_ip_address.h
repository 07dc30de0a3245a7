// IP addresses as the message set of host addresses carries them: like those of IPTV messages.
#pragma once

#include "msgset/ip_address.h"

namespace hostaddr_1_bll {

using iptvcd_1_bll::ipAddress_t;
using iptvcd_1_bll::ipAddress_t_from_struct;
using iptvcd_1_bll::ipAddress_t_to_struct;

}  // namespace hostaddr_1_bll
