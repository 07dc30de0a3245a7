// Fast channel change: the unicast burst before the multicast stream.
#include <algorithm>
#include <cmath>

#include "packets.h"
#include "simulated_run.h"

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about

namespace {

/// Delays after a trigger; a negative one is none.
Time delay_ms(std::int32_t count) {
    return std::max(count, 0) * kMillisecond;
}

}  // namespace

void SimulatedRun::begin_unicast(Stb& stb, Time now) {
    const PlannedChannel& channel = channel_of(stb);
    stb.unicast_join = now;
    stb.unicast_first = stb.unicast_last = stb.sbit_first = kNever;
    stb.burst_lost = stb.random.happens(network_of(channel).join_failure);
    if (is_sent(channel) && !stb.burst_lost) begin_burst(stb, now);
}

void SimulatedRun::begin_burst(Stb& stb, Time now) {
    const NetworkBehaviour& network = network_of(channel_of(stb));
    const Time first =
        now + draw_delay(network.unicast_join_delay, stb.random) + draw_delay(network.jitter, stb.random);
    draw_sbit(stb, first);
    stb.unicast_first = first_arrival(first, burst_rate_of(network), network.loss, stb.random);
    if (stb.sbit_first != kNever) {
        stb.sbit_first = first_arrival(stb.sbit_first, network.packet_rate, network.loss, stb.random);
        // If the whole burst before it is lost, the packet with the S-bit is the first one.
        if (stb.sbit_first != kNever) stb.unicast_first = std::min(stb.unicast_first, stb.sbit_first);
    }
    // If the leave is known from the start, it is known now whether the S-bit comes before it.
    if (plan_.test.unicast_leave_trigger != UnicastLeaveTriggerType::UNICAST_JOIN_AND_DELAY) return;
    const Time leave = unicast_leave_time(stb);
    if (leave == kNever) return;
    stb.unicast_last =
        leave + draw_delay(network.unicast_leave_delay, stb.random) + draw_delay(network.jitter, stb.random);
    if (stb.sbit_first > stb.unicast_last) stb.sbit_first = kNever;
    if (stb.unicast_first > stb.unicast_last) stb.unicast_first = kNever;
}

/// `burst`: when it begins. Without an S-bit `sbit_first` is kNever.
void SimulatedRun::draw_sbit(Stb& stb, Time burst) {
    if (!waits_for_sbit()) return;
    const Time least = ms(plan_.test.min_sbit_delay);
    const Time most = std::max(least, ms(plan_.test.max_sbit_delay));
    Time delay = least + static_cast<Time>(stb.random.fraction() * static_cast<double>(most - least));
    if (const std::uint32_t level = block_of(stb).config.min_buffer_level; level > 0) {
        // The buffer fills with the packets received in excess of those played.
        const double surplus = network_of(channel_of(stb)).burst_rate - 1;
        if (surplus <= 1e-6) return;
        const double fill = static_cast<double>(ms(level)) / surplus;
        delay = std::max<Time>(delay, std::llround(std::min(fill, static_cast<double>(ms(kLongestMs)))));
    }
    stb.sbit_late = plan_.test.max_sbit_delay > 0 && delay > most;
    stb.sbit_first = burst + delay;
}

Time SimulatedRun::multicast_join_time(const Stb& stb) const {
    const Time delay = delay_ms(block_of(stb).profile.mcast_join_trigger_delay);
    if (plan_.test.mcast_join_trigger == MulticastJoinTriggerType::UNICAST_JOIN_AND_DELAY)
        return stb.unicast_join + delay;
    if (stb.sbit_first != kNever) return stb.sbit_first + delay;
    // Waits for a missing S-bit until the time-out.
    const Time from = stb.unicast_first != kNever ? stb.unicast_first : stb.unicast_join;
    return from + ms(plan_.test.max_sbit_delay) + delay;
}

bool SimulatedRun::waits_for_sbit() const {
    return plan_.test.mcast_join_trigger == MulticastJoinTriggerType::SBIT_AND_DELAY ||
           plan_.test.max_sbit_delay > 0;
}

/// When its trigger comes; the end of the view may be earlier. kNever: no trigger is in sight.
Time SimulatedRun::unicast_leave_time(const Stb& stb) const {
    const profileConfig_s& profile = block_of(stb).profile;
    if (profile.unicast_only || profile.unicast_stay) return kNever;
    const Time delay = delay_ms(profile.unicast_leave_trigger_delay);
    if (plan_.test.unicast_leave_trigger == UnicastLeaveTriggerType::UNICAST_JOIN_AND_DELAY)
        return stb.unicast_join + delay;
    return stb.join != kNever && stb.first != kNever ? std::max(stb.first, stb.join) + delay : kNever;
}

bool SimulatedRun::has_left_unicast(const Stb& stb, Time now) const {
    const Time leave = unicast_leave_time(stb);
    return leave != kNever && leave <= now;
}

void SimulatedRun::leave_unicast(Stb& stb, Time now, Ending ending, ViewTimes& view) {
    const NetworkBehaviour& network = network_of(channel_of(stb));
    const bool left = has_left_unicast(stb, now);
    view.unicast_join = stb.unicast_join;
    view.unicast_leave = left ? unicast_leave_time(stb) : now;
    if (stb.unicast_first == kNever) return;
    Time last = stb.unicast_last;
    if (last == kNever || !left) {
        last = view.unicast_leave + draw_delay(network.unicast_leave_delay, stb.random) +
               draw_delay(network.jitter, stb.random);
    }
    if (stb.interrupted) {
        const Time stopped = interruptions_.at(number_of(stb)).unicast_stopped;
        if (stopped != kNever) last = std::min(last, stopped);
    }
    if (stb.unicast_first > last) return;
    view.unicast_first = stb.unicast_first;
    if (stb.sbit_first != kNever && stb.sbit_first <= last) {
        view.sbit_first = stb.sbit_first;
        view.sbit_failure = stb.sbit_late;
    } else {
        // Without the end of the test, the S-bit might still have come.
        view.sbit_failure = waits_for_sbit() && !(ending == Ending::OfTest && stb.sbit_first > now);
    }
    view.unicast_last = last_arrival(std::max(view.unicast_first, view.sbit_first), last, network.packet_rate,
                                     network.loss, stb.random);
}

}  // namespace orv::il
