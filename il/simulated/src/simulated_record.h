// The event record of a view on a simulated network.
#pragma once

#include "orv/il/network.h"
#include "orv/il/random.h"
#include "orv/il/view_record.h"

namespace orv::il {

/// Fills in times, flags and packet counts. Counts are drawn so that fractions are right on average.
void fill_in(const ViewTimes& view, const iptvcd_1_bll::profileConfig_s& profile,
             const NetworkBehaviour& network, const TickCounter& counter, Random& random,
             iptvcd_1_bll::stbox_event_s& event);

}  // namespace orv::il
