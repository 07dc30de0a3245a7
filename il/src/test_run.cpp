// What an STB does when. How a finished view becomes records is in test_run_records.cpp.
#include "test_run.h"

#include <algorithm>
#include <cmath>

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about

namespace {

/// Shortest view: without one, an STB whose interval is 0 would never let time go on.
constexpr Time kShortestView = kMillisecond;
/// Nothing that a configuration asks for happens later than this after now; sums cannot overflow.
constexpr std::uint64_t kLongestMs = 1'000'000'000'000;  // 30 years

Time ms(std::uint64_t count) {
    return static_cast<Time>(std::min(count, kLongestMs)) * kMillisecond;
}
/// Delays after a trigger; a negative one is none.
Time delay_ms(std::int32_t count) {
    return std::max(count, 0) * kMillisecond;
}

}  // namespace

TestRun::TestRun(TestPlan plan, const Network& network, std::uint64_t seed, Time start,
                 const TickCounter& counter, ResultReport& report)
    : plan_(std::move(plan)),
      network_(network),
      counter_(counter),
      report_(report),
      streams_(plan_.link_count, plan_.group_count),
      end_(start + ms(plan_.test.test_duration)) {
    stbs_.resize(plan_.stb_count);
    std::vector<std::uint32_t> handles;
    for (std::uint32_t b = 0; b < plan_.blocks.size(); ++b) {
        const PlannedBlock& block = plan_.blocks[b];
        handles.push_back(block.config.stblock_handle);
        for (std::uint32_t i = 0; i < block.config.settop_count; ++i) {
            const std::uint32_t number = block.first_stb + i;
            Stb& stb = stbs_[number];
            stb.random = Random(mixed(seed + number));
            stb.index = i;
            stb.block = b;
            stb.link = block.links[i];
            const std::uint64_t delay = std::uint64_t{i} * block.config.start_delay_step +
                                        std::uint64_t{number} * plan_.start_delay_step;
            queue_.push({start + ms(delay), number, Step::Begin});
        }
    }
    report_.begin(handles);
}

void TestRun::run_to(Time time) {
    const Time until = std::min(time, end_);
    while (!queue_.empty() && queue_.first().time < until) {
        const EventQueue::Entry entry = queue_.first();
        queue_.pop();
        switch (entry.step) {
            case Step::Begin:
                begin_view(entry.stb, entry.time);
                break;
            case Step::JoinMulticast:
                join_multicast(entry.stb, entry.time);
                break;
            case Step::End:
                end_view(stbs_[entry.stb], entry.time);
                schedule_next(entry.stb, entry.time);
                if (report_.is_full()) report_.deliver();
                break;
        }
    }
}

void TestRun::finish(Time time) {
    for (Stb& stb : stbs_) {
        if (stb.viewing) end_view(stb, time);
        if (report_.is_full()) report_.deliver();
    }
}

bool TestRun::is_sent(const PlannedChannel& channel) const {
    return plan_.test.test_env != TestEnv::TESTING || !network_.is_sent || network_.is_sent(channel.group);
}

void TestRun::begin_view(std::uint32_t number, Time now) {
    Stb& stb = stbs_[number];
    choose_channel(stb);
    ++stb.views;
    stb.viewing = true;
    if (!plan_.uses_unicast()) return join_multicast(number, now);

    begin_unicast(stb, now);
    const profileConfig_s& profile = block_of(stb).profile;
    const Time join = multicast_join_time(stb);
    if (profile.zap_interval_type == ZapIntervalType::MTL && !profile.unicast_only) {
        queue_.push({join, number, Step::JoinMulticast});  // the end depends on what it brings
        return;
    }
    const bool from_packet = profile.zap_interval_type == ZapIntervalType::UTL && stb.unicast_first != kNever;
    const Time end = schedule_end(number, from_packet ? stb.unicast_first : now);
    if (!profile.unicast_only && join < end) queue_.push({join, number, Step::JoinMulticast});
}

void TestRun::choose_channel(Stb& stb) {
    const PlannedBlock& block = block_of(stb);
    const auto count = static_cast<std::uint32_t>(block.channels.size());
    if (stb.views == 0) {
        stb.channel = block.initial_channel(stb.index);
        return;
    }
    ZapDirection direction = block.profile.zap_direction;
    // Each channel once: that has an order.
    if (plan_.test.test_type == TestType::VERIFICATION && direction == ZapDirection::DIR_RANDOM)
        direction = ZapDirection::DIR_UP;
    switch (direction) {
        case ZapDirection::DIR_UP:
            stb.channel = (stb.channel + 1) % count;
            break;
        case ZapDirection::DIR_DOWN:
            stb.channel = (stb.channel + count - 1) % count;
            break;
        case ZapDirection::DIR_RANDOM:  // any other
            if (count > 1) stb.channel = (stb.channel + 1 + stb.random.below(count - 1)) % count;
            break;
    }
}

void TestRun::begin_unicast(Stb& stb, Time now) {
    const PlannedChannel& channel = channel_of(stb);
    const NetworkBehaviour& network = *channel.network;
    stb.unicast_join = now;
    stb.unicast_first = stb.sbit_first = stb.unicast_leave = kNever;
    stb.sbit_failure = false;
    if (is_sent(channel) && !stb.random.happens(network.join_failure)) {
        stb.unicast_first =
            now + stb.random.duration(network.unicast_join_delay) + stb.random.duration(network.jitter);
        draw_sbit(stb, network);
    }
    const profileConfig_s& profile = block_of(stb).profile;
    if (plan_.test.unicast_leave_trigger == UnicastLeaveTriggerType::UNICAST_JOIN_AND_DELAY)
        stb.unicast_leave = now + delay_ms(profile.unicast_leave_trigger_delay);
    const bool stays = profile.unicast_only || profile.unicast_stay;
    if (!stays && stb.unicast_leave != kNever && stb.sbit_first > stb.unicast_leave) stb.sbit_first = kNever;
}

void TestRun::draw_sbit(Stb& stb, const NetworkBehaviour& network) {
    const Time least = ms(plan_.test.min_sbit_delay);
    const Time most = std::max(least, ms(plan_.test.max_sbit_delay));
    Time delay = least + static_cast<Time>(stb.random.fraction() * static_cast<double>(most - least));
    if (const std::uint32_t level = block_of(stb).config.min_buffer_level; level > 0) {
        const double surplus = network.burst_rate - 1;  // the buffer fills by what the STB does not play
        if (surplus <= 1e-6) {
            stb.sbit_failure = true;
            return;
        }
        const double fill = static_cast<double>(ms(level)) / surplus;
        delay = std::max<Time>(delay, std::llround(std::min(fill, static_cast<double>(ms(kLongestMs)))));
    }
    stb.sbit_failure = plan_.test.max_sbit_delay > 0 && delay > most;
    stb.sbit_first = stb.unicast_first + delay;
}

Time TestRun::multicast_join_time(const Stb& stb) const {
    const Time delay = delay_ms(block_of(stb).profile.mcast_join_trigger_delay);
    if (plan_.test.mcast_join_trigger == MulticastJoinTriggerType::UNICAST_JOIN_AND_DELAY)
        return stb.unicast_join + delay;
    if (stb.sbit_first != kNever) return stb.sbit_first + delay;
    // An S-bit that never comes is waited for as long as it may take.
    const Time from = stb.unicast_first != kNever ? stb.unicast_first : stb.unicast_join;
    return from + ms(plan_.test.max_sbit_delay) + delay;
}

void TestRun::join_multicast(std::uint32_t number, Time now) {
    Stb& stb = stbs_[number];
    const bool unicast = plan_.uses_unicast();
    const PlannedChannel& channel = channel_of(stb);
    const NetworkBehaviour& network = *channel.network;
    stb.join = now;
    stb.first = kNever;
    const bool flows = streams_.flows(stb.link, channel.group_index, now);
    stb.member = is_sent(channel) && (flows || !stb.random.happens(network.join_failure));
    if (stb.member) {
        const Time drawn =
            flows ? now : now + stb.random.duration(network.join_delay) + stb.random.duration(network.jitter);
        const Time first = streams_.join(stb.link, channel.group_index, now, drawn);
        // Of a stream that flows, the STB's first packet is the last one before its join.
        stb.first = first < now ? std::max(first, now - packet_gap(network.packet_rate)) : first;
    }

    const profileConfig_s& profile = block_of(stb).profile;
    if (unicast && plan_.test.unicast_leave_trigger == UnicastLeaveTriggerType::MULTICAST_PKT_AND_DELAY &&
        stb.first != kNever) {
        stb.unicast_leave = std::max(stb.first, now) + delay_ms(profile.unicast_leave_trigger_delay);
    }
    if (!unicast || profile.zap_interval_type == ZapIntervalType::MTL) {
        const bool from_packet = profile.zap_interval_type == ZapIntervalType::MTL;
        schedule_end(number, from_packet && stb.first != kNever ? stb.first : now);
    }
}

/// `reference`: what the interval runs from, unless it runs from the previous leave.
Time TestRun::schedule_end(std::uint32_t number, Time reference) {
    const Stb& stb = stbs_[number];
    const profileConfig_s& profile = block_of(stb).profile;
    const Time joined = stb.unicast_join != kNever ? stb.unicast_join : stb.join;
    if (profile.zap_interval_type == ZapIntervalType::LTL) {
        // The first view is as long as if there had been one before it.
        reference = stb.last_leave != kNever ? stb.last_leave : joined - ms(profile.leave_to_join_delay);
    }
    const Time end = std::max(reference + interval_of(stb), joined + kShortestView);
    queue_.push({end, number, Step::End});
    return end;
}

Time TestRun::interval_of(const Stb& stb) const {
    const profileConfig_s& profile = block_of(stb).profile;
    const std::uint64_t cycle = std::uint64_t{profile.zap_changes_before_view} + 1;
    const bool is_view = profile.zap_behavior == ZapBehavior::VIEW_ONLY ||
                         (profile.zap_behavior == ZapBehavior::ZAP_N_VIEW && stb.views % cycle == 0);
    return ms(is_view ? profile.view_duration : profile.leave_to_leave_delay);
}

void TestRun::schedule_next(std::uint32_t number, Time now) {
    const Stb& stb = stbs_[number];
    const PlannedBlock& block = block_of(stb);
    const bool done = plan_.test.test_type == TestType::VERIFICATION && stb.views >= block.channels.size();
    if (!done) queue_.push({now + ms(block.profile.leave_to_join_delay), number, Step::Begin});
}

}  // namespace orv::il
