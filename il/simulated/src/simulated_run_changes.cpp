// Effect on running views when channels are no longer sent, or sent again.
#include <algorithm>
#include <utility>

#include "simulated_run.h"

namespace orv::il {

using iptvcd_1_bll::TestEnv;

/// By subscription.
std::vector<bool> SimulatedRun::ask_what_is_sent() const {
    std::vector<bool> sent;
    sent.reserve(plan_.subscriptions.size());
    const bool asks = plan_.test.test_env == TestEnv::TESTING && network_.is_sent;
    for (const Subscription& subscription : plan_.subscriptions) {
        const PlannedFilter& filter = plan_.filters[subscription.filter_index];
        const bool lets_pass = !filter.include || !filter.sources.empty();
        sent.push_back(lets_pass &&
                       (!asks || network_.is_sent(subscription.group, {filter.include, filter.sources})));
    }
    return sent;
}

void SimulatedRun::channels_change(Time time, const std::function<void()>& change) {
    run_to(time);
    change();
    if (time >= end_) return;
    const std::vector<bool> before = std::exchange(sent_, ask_what_is_sent());
    if (before == sent_) return;
    cut_streams(time);
    std::vector<bool> changed(stbs_.size());
    for (std::uint32_t number = 0; number < stbs_.size(); ++number) {
        const Stb& stb = stbs_[number];
        if (!stb.viewing) continue;
        const std::uint32_t subscription = channel_of(stb).subscription;
        if (before[subscription] == sent_[subscription]) continue;
        changed[number] = true;
        sent_[subscription] ? find_source(number, time) : lose_source(number, time);
    }
    // Their pending events may depend on packets.
    queue_.erase_if([&changed](const EventQueue::Entry& entry) { return changed[entry.stb]; });
    for (std::uint32_t number = 0; number < stbs_.size(); ++number)
        if (changed[number]) schedule(number, time);
}

/// Streams without members that are no longer sent.
void SimulatedRun::cut_streams(Time now) {
    std::vector<bool> silent(plan_.group_count, true);
    for (std::size_t i = 0; i < sent_.size(); ++i)
        if (sent_[i]) silent[plan_.subscriptions[i].group_index] = false;
    streams_.cut(silent, now);
}

void SimulatedRun::lose_source(std::uint32_t number, Time now) {
    Stb& stb = stbs_[number];
    if (stb.member) {
        stb.member = false;
        streams_.leave(stb.link, channel_of(stb).group_index, now);
        if (stb.first > now) {
            stb.first = kNever;  // and will not arrive
        } else if (stb.first != kNever) {
            stb.interrupted = true;
            Interruption& multicast = interruptions_[number];
            if (multicast.stopped == kNever) {
                multicast.stopped = now;
            } else if (multicast.resumed != kNever && multicast.resumed <= now) {
                multicast.silence += multicast.resumed - multicast.stopped;
                multicast.stopped = now;
            }
            multicast.resumed = kNever;
        }
    }
    if (stb.unicast_join == kNever) return;
    if (stb.unicast_first > now) {
        stb.unicast_first = stb.unicast_last = kNever;
    } else if (stb.unicast_first != kNever) {
        stb.interrupted = true;
        Time& stopped = interruptions_[number].unicast_stopped;
        if (stopped == kNever) stopped = now;
    }
    if (stb.sbit_first > now) stb.sbit_first = kNever;
}

void SimulatedRun::find_source(std::uint32_t number, Time now) {
    Stb& stb = stbs_[number];
    if (stb.join != kNever && !stb.join_lost) {
        const bool is_new = !streams_.flows(stb.link, channel_of(stb).group_index, now);
        const Time first = enter_stream(stb, now, is_new);
        if (stb.first == kNever) {
            stb.first = first;
        } else {
            interruptions_.at(number).resumed = first;
        }
    }
    const bool waits = stb.unicast_join != kNever && stb.unicast_first == kNever && !stb.burst_lost;
    if (waits && !has_left_unicast(stb, now)) begin_burst(stb, now);
}

void SimulatedRun::add_interruption(const Stb& stb, Time now, ViewTimes& view) const {
    const Interruption& multicast = interruptions_.at(number_of(stb));
    if (multicast.stopped == kNever) return;
    view.silence = multicast.silence;
    if (multicast.resumed == kNever || multicast.resumed > now) {
        view.last = multicast.stopped;
    } else {
        view.silence += multicast.resumed - multicast.stopped;
    }
}

}  // namespace orv::il
