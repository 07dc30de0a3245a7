// What an STB does when. Unicast bursts are in test_run_unicast.cpp, changes of what is sent in
// test_run_changes.cpp; how a finished view becomes records is in test_run_records.cpp.
#include "test_run.h"

#include <algorithm>

#include "packets.h"

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about

namespace {

/// Shortest view: without one, an STB whose interval is 0 would never let time go on.
constexpr Time kShortestView = kMillisecond;

}  // namespace

TestRun::TestRun(TestPlan plan, const Network& network, std::uint64_t seed, Time start,
                 const TickCounter& counter, ResultReport& report)
    : plan_(std::move(plan)),
      network_(network),
      counter_(counter),
      report_(report),
      sent_(ask_what_is_sent()),
      end_(start + plan_.duration()) {
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
            if (!block.channels.empty()) queue_.push({start + ms(delay), number, Step::Begin});
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
                end_view(stbs_[entry.stb], entry.time, Ending::OfView);
                schedule_next(entry.stb, entry.time);
                if (report_.is_full()) report_.deliver();
                break;
        }
    }
}

Time TestRun::finish(Time time) {
    for (Stb& stb : stbs_) {
        if (stb.viewing && !awaits_packet(stb, time)) end_view(stb, time, Ending::OfTest);
        if (report_.is_full()) report_.deliver();
    }
    return kNever;
}

void TestRun::begin_view(std::uint32_t number, Time now) {
    Stb& stb = stbs_[number];
    choose_channel(stb);
    ++stb.views;
    stb.viewing = true;
    if (!plan_.uses_unicast()) return join_multicast(number, now);
    begin_unicast(stb, now);
    schedule(number, now);
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

void TestRun::join_multicast(std::uint32_t number, Time now) {
    Stb& stb = stbs_[number];
    const PlannedChannel& channel = channel_of(stb);
    stb.join = now;
    stb.join_lost = !streams_.flows(stb.link, channel.group_index, now) &&
                    stb.random.happens(channel.network->join_failure);
    stb.first = is_sent(channel) && !stb.join_lost ? enter_stream(stb, now) : kNever;
    // A view with a unicast burst has its end already, unless that depends on the first packet.
    if (!plan_.uses_unicast() || block_of(stb).profile.zap_interval_type == ZapIntervalType::MTL)
        schedule(number, now);
}

/// Returns the first packet of the stream that reaches the STB.
Time TestRun::enter_stream(Stb& stb, Time now) {
    const PlannedChannel& channel = channel_of(stb);
    const NetworkBehaviour& network = *channel.network;
    Time first = now;
    if (!streams_.flows(stb.link, channel.group_index, now))
        first += stb.random.duration(network.join_delay) + stb.random.duration(network.jitter);
    first = streams_.join(stb.link, channel.group_index, now, first);
    stb.member = true;
    // Of a stream that flows, it is the last one before the join.
    if (first < now) first = std::max(first, now - packet_gap(network.packet_rate));
    return first_arrival(first, network.packet_rate, network.loss, stb.random);
}

/// What comes next of a view, as far as it is known.
void TestRun::schedule(std::uint32_t number, Time now) {
    const Stb& stb = stbs_[number];
    const profileConfig_s& profile = block_of(stb).profile;
    const bool joins_later = plan_.uses_unicast() && !profile.unicast_only && stb.join == kNever;
    const Time join = joins_later ? std::max(multicast_join_time(stb), now) : kNever;
    if (joins_later && profile.zap_interval_type == ZapIntervalType::MTL) {
        queue_.push({join, number, Step::JoinMulticast});  // the end depends on what it brings
        return;
    }
    const Time end = std::max(end_of_view(stb), now);
    queue_.push({end, number, Step::End});
    if (joins_later && join < end) queue_.push({join, number, Step::JoinMulticast});
}

Time TestRun::end_of_view(const Stb& stb) const {
    const profileConfig_s& profile = block_of(stb).profile;
    const Time joined = stb.unicast_join != kNever ? stb.unicast_join : stb.join;
    Time reference = joined;
    switch (profile.zap_interval_type) {
        case ZapIntervalType::LTL:
            // The first view is as long as if there had been one before it.
            reference = stb.last_leave != kNever ? stb.last_leave : joined - ms(profile.leave_to_join_delay);
            break;
        case ZapIntervalType::MTL:
            if (stb.join != kNever) reference = stb.first != kNever ? stb.first : stb.join;
            break;
        case ZapIntervalType::UTL:
            if (stb.unicast_first != kNever) reference = stb.unicast_first;
            break;
    }
    return std::max(reference + interval_of(stb), joined + kShortestView);
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
