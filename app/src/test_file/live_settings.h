// How the hosts of live ports behave.
#pragma once

#include "orv/nic/live_port.h"

namespace orv::app {

struct LiveSettings {
    nic::MembershipSettings membership;
    nic::UnicastSettings unicast;
};

}  // namespace orv::app
