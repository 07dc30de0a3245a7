// From a finished view to its event record.
#pragma once

#include <algorithm>

#include "msgset/iptvcd_1.h"
#include "orv/il/network.h"
#include "random.h"
#include "tick_counter.h"

namespace orv::il {

/// From one packet to the next; never so short that the counter could not tell them apart.
inline Time packet_gap(double packets_per_second) {
    const double gap = static_cast<double>(kSecond) / std::max(packets_per_second, 1e-3);
    return std::max(static_cast<Time>(gap), TickCounter::kTick);
}

/// When what happened in one view; kNever for what did not.
struct ViewTimes {
    Time join = kNever;  ///< multicast
    Time leave = kNever;
    Time first = kNever;  ///< multicast packet; before `join` when the stream flowed already
    Time last = kNever;
    bool last_valid = true;
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
