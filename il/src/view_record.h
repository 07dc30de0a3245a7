// From a finished view to its event record.
#pragma once

#include "msgset/iptvcd_1.h"
#include "orv/il/network.h"
#include "random.h"
#include "tick_counter.h"

namespace orv::il {

/// When what happened in one view; kNever for what did not.
struct ViewTimes {
    Time join = kNever;  ///< multicast
    Time leave = kNever;
    Time first = kNever;  ///< multicast packet; before `join` when the stream flowed already
    Time last = kNever;
    bool last_valid = true;
    Time silence = 0;  ///< between first and last, while nothing was sent
    Time unicast_join = kNever;
    Time unicast_leave = kNever;
    Time unicast_first = kNever;  ///< packet, with or without S-bit
    Time unicast_last = kNever;
    Time sbit_first = kNever;  ///< first packet with S-bit
    bool sbit_failure = false;
};

/// Fills in times, flags and packet counts. Counts are drawn so that fractions are right on average.
void fill_in(const ViewTimes& view, const iptvcd_1_bll::profileConfig_s& profile,
             const NetworkBehaviour& network, const TickCounter& counter, Random& random,
             iptvcd_1_bll::stbox_event_s& event);

}  // namespace orv::il
