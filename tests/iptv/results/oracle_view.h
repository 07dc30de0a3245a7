// What follows from the record of one channel view, on its own and with the view before it.
#pragma once

#include <cstdint>
#include <optional>

#include "msgset/iptvcd_1.h"

namespace results_test {

/// The parts of a viewing profile that figures depend on.
struct ViewingHabit {
    std::uint32_t threshold_ms = 0;
    std::uint8_t zap_type = 0;
};

/// What is left of a set-top box's last view.
struct PreviousView {
    std::int64_t leave = 0;
    std::int64_t last_packet = 0;
};

/// Everything that follows from one channel view. What is nothing was not measured.
struct View {
    using Event = iptvcd_1_bll::stbox_event_s;
    using Measure = std::optional<double>;

    Event ev;
    PreviousView previous;
    bool failed = false, duplicate = false, unicast_failed = false, unicast_duplicate = false;
    Measure join, leave, unicast_join, unicast_leave, nosb_rate, sbit_rate;
    Measure packet_gap, packet_overlap, gap, overlap, change;
    Measure leave_to_leave, packet_to_leave, unicast_to_leave, leave_to_join;
    double packets[5] = {};  ///< all, multicast, unicast, unicast without and with S-bit
    double seconds[5] = {};
};

struct Retransmission {
    iptvcd_1_bll::stbox_event_rrr_s ev;
    std::optional<double> latency;
};

View MeasureView(const View::Event& ev, PreviousView previous, ViewingHabit habit);
Retransmission MeasureRetransmission(const iptvcd_1_bll::stbox_event_rrr_s& ev);
/// What the set-top box's next view needs.
PreviousView Remember(const View::Event& ev);

/// An all-ones count is none.
std::uint64_t Known(std::uint64_t count);
/// Some counter of losses is not 0.
bool HasMulticastErrors(const View::Event& ev);
bool HasUnicastErrors(const View::Event& ev);
/// a - b, in ms.
double DifferenceMs(std::int64_t a, std::int64_t b);

}  // namespace results_test
