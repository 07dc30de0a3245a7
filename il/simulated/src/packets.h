// Delay and loss of the packets of a stream.
#pragma once

#include <algorithm>
#include <cstdint>

#include "orv/il/network.h"
#include "orv/il/random.h"
#include "orv/il/tick_counter.h"
#include "orv/il/time.h"
#include "orv/il/view_record.h"

namespace orv::il {

Time draw_some_delay(const Distribution& distribution, Random& random);
/// A delay that is drawn anew. Most networks have no jitter, which costs no call.
inline Time draw_delay(const Distribution& distribution, Random& random) {
    const bool is_none = distribution.kind == Distribution::Kind::Constant && distribution.a == 0;
    return is_none ? 0 : draw_some_delay(distribution, random);
}

/// From one packet to the next; never below the resolution of the counter.
inline Time packet_gap(double packets_per_second) {
    const double gap = static_cast<double>(kSecond) / std::max(packets_per_second, 1e-3);
    return std::max(static_cast<Time>(gap), TickCounter::kTick);
}

inline double burst_rate_of(const NetworkBehaviour& network) {
    return network.packet_rate * std::max(network.burst_rate, 1e-3);
}

/// The first packet that arrives of a stream that begins at `first`; kNever when all are lost.
Time first_arrival(Time first, double packets_per_second, double loss, Random& random);
/// The last packet that arrives of a stream that ends at `last`. `first` has arrived.
Time last_arrival(Time first, Time last, double packets_per_second, double loss, Random& random);

/// Counts what arrives from `first` to `last`, less a `silence` in between when nothing is sent. The first
/// and the last packet have arrived. No packets when `first` is kNever.
Packets draw_packets(Time first, Time last, Time silence, double packets_per_second,
                     const NetworkBehaviour& network, Random& random);

}  // namespace orv::il
