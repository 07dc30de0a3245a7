// What STBs do on a simulated network. Unicast bursts are in simulated_run_unicast.cpp, changes of what is
// sent in simulated_run_changes.cpp; how a finished view becomes records is in simulated_run_records.cpp.
#include "simulated_run.h"

#include <algorithm>
#include <cmath>

#include "orv/il/address_order.h"
#include "orv/il/viewing.h"
#include "packets.h"

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about

namespace {

const NetworkBehaviour& behaviour_of(const Network& network, const std::string& port,
                                     const ipAddress_t& group) {
    const AddressOrder less;
    const auto of_port = [&port](const auto& ports,
                                 const NetworkBehaviour& others) -> const NetworkBehaviour& {
        const auto own = ports.find(port);
        return own == ports.end() ? others : own->second;
    };
    for (const Network::GroupRange& range : network.groups) {
        if (range.first.type == group.type && !less(group, range.first) && !less(range.last, group))
            return range.ports ? of_port(*range.ports, range.behaviour) : range.behaviour;
    }
    return of_port(network.ports, network.behaviour);
}

std::vector<const NetworkBehaviour*> behaviours_of_groups(const RunPlan& plan, const Network& network,
                                                          const std::string& port) {
    std::vector<const NetworkBehaviour*> behaviours(plan.group_count);
    for (const Subscription& subscription : plan.subscriptions)
        behaviours[subscription.group_index] = &behaviour_of(network, port, subscription.group);
    return behaviours;
}

}  // namespace

SimulatedRun::SimulatedRun(RunPlan plan, const Network& network, const std::string& port, std::uint64_t seed,
                           Time start, const TickCounter& counter, ResultReport& report)
    : plan_(std::move(plan)),
      network_(network),
      behaviours_(behaviours_of_groups(plan_, network, port)),
      counter_(counter),
      report_(report),
      sent_(ask_what_is_sent()),
      start_(start),
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
            if (block.has_viewer(i)) queue_.push({start_of(plan_, block, i, start), number, Step::Begin});
        }
    }
    report_.begin(handles);
}

void SimulatedRun::run_to(Time time) {
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
            case Step::AskBurst:
            case Step::LeaveUnicast:
            case Step::AskRepair:
                break;  // drawn with the view
        }
    }
}

Time SimulatedRun::finish(Time time) {
    for (Stb& stb : stbs_) {
        if (stb.viewing && !awaits_packet(stb, time)) end_view(stb, time, Ending::OfTest);
        if (report_.is_full()) report_.deliver();
    }
    return kNever;
}

void SimulatedRun::begin_view(std::uint32_t number, Time now) {
    Stb& stb = stbs_[number];
    stb.channel =
        choose_channel(block_of(stb), plan_.test.test_type, stb.index, stb.views, stb.channel, stb.random);
    ++stb.views;
    stb.viewing = true;
    if (!plan_.uses_unicast()) return join_multicast(number, now);
    begin_unicast(stb, now);
    schedule(number, now);
}

void SimulatedRun::join_multicast(std::uint32_t number, Time now) {
    Stb& stb = stbs_[number];
    const PlannedChannel& channel = channel_of(stb);
    stb.join = now;
    const NetworkBehaviour& network = network_of(channel);
    const bool is_new = !streams_.flows(stb.link, channel.group_index, now);
    const bool is_refused = is_new && exceeds_capacity(network, now);
    stb.join_lost = is_new && (stb.random.happens(network.join_failure) || is_refused);
    stb.first = is_sent(channel) && !stb.join_lost ? enter_stream(stb, now, is_new) : kNever;
    // The end of a view with a unicast burst is already planned, unless it depends on the first packet.
    if (!plan_.uses_unicast() || block_of(stb).profile.zap_interval_type == ZapIntervalType::MTL)
        schedule(number, now);
}

/// Counts a join of a stream that does not flow yet.
bool SimulatedRun::exceeds_capacity(const NetworkBehaviour& network, Time now) {
    if (std::isinf(network.join_capacity)) return false;
    JoinCount& count = join_counts_[&network];
    const Time second = (now - start_) / ms(1000);
    if (count.second != second) count = {second, 0};
    return ++count.joins > network.join_capacity;
}

/// Returns the first packet of the stream that reaches the STB. `is_new`: the stream does not flow yet.
Time SimulatedRun::enter_stream(Stb& stb, Time now, bool is_new) {
    const PlannedChannel& channel = channel_of(stb);
    const NetworkBehaviour& network = network_of(channel);
    Time first = now;
    if (is_new) first += draw_delay(network.join_delay, stb.random) + draw_delay(network.jitter, stb.random);
    first = streams_.join(stb.link, channel.group_index, now, first);
    stb.member = true;
    // In a flowing stream, it is the last packet before the join.
    if (first < now) first = std::max(first, now - packet_gap(network.packet_rate));
    return first_arrival(first, network.packet_rate, network.loss, stb.random);
}

/// What comes next of a view, as far as it is known.
void SimulatedRun::schedule(std::uint32_t number, Time now) {
    const Stb& stb = stbs_[number];
    const profileConfig_s& profile = block_of(stb).profile;
    const bool joins_later = plan_.uses_unicast() && !profile.unicast_only && stb.join == kNever;
    const Time join = joins_later ? std::max(multicast_join_time(stb), now) : kNever;
    if (joins_later && profile.zap_interval_type == ZapIntervalType::MTL) {
        queue_.push({join, number, Step::JoinMulticast});  // the end depends on the join's result
        return;
    }
    const ViewStart start{stb.last_leave, stb.join, stb.first, stb.unicast_join, stb.unicast_first};
    const Time end = std::max(end_of_view(block_of(stb), stb.views, start), now);
    queue_.push({end, number, Step::End});
    if (joins_later && join < end) queue_.push({join, number, Step::JoinMulticast});
}

void SimulatedRun::schedule_next(std::uint32_t number, Time now) {
    const Stb& stb = stbs_[number];
    const PlannedBlock& block = block_of(stb);
    if (is_done(block, plan_.test.test_type, stb.views)) return;
    queue_.push({now + ms(block.profile.leave_to_join_delay), number, Step::Begin});
}

}  // namespace orv::il
