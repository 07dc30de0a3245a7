// How views become records, and how a run ends.
#include <algorithm>

#include "live_run.h"
#include "orv/il/viewing.h"

namespace orv::nic {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about
using il::kMillisecond;
using il::kNever;
using il::kSecond;
using il::Time;

namespace {

/// Polling interval for the end of a run.
constexpr Time kFinishInterval = 20 * kMillisecond;
/// Leaves are repeated and packets still come after the end of the test; not longer than that.
constexpr Time kLongestFinish = 12 * kSecond;

std::uint64_t difference(std::uint64_t now, std::uint64_t before) {
    return now > before ? now - before : 0;
}

il::Packets difference(const il::Packets& now, const il::Packets& before) {
    return {.received = difference(now.received, before.received),
            .lost = difference(now.lost, before.lost),
            .reordered = difference(now.reordered, before.reordered),
            .duplicate = difference(now.duplicate, before.duplicate),
            .late = difference(now.late, before.late),
            .payload_errors = difference(now.payload_errors, before.payload_errors)};
}

}  // namespace

std::uint32_t LiveRun::make_view() {
    if (free_views_.empty()) {
        free_views_.push_back(static_cast<std::uint32_t>(views_.size()));
        views_.emplace_back();
    }
    const std::uint32_t id = free_views_.back();
    free_views_.pop_back();
    views_[id] = {};
    return id;
}

/// Of the multicast stream.
void LiveRun::close(std::uint32_t id) {
    views_[id].closed = true;
    conclude(id);
}

/// Makes the record when nothing more is to come.
void LiveRun::conclude(std::uint32_t id) {
    const View& view = views_[id];
    if (!is_concluded(view)) return;
    const bool has_begun =
        view.times.join != kNever || (view.unicast != kNone && unicast_views_[view.unicast].join != kNever);
    if (has_begun && !view.unseen && !view.undecided) record(view);
    release(id);
}

/// A frame still in flight must not count for the next view.
void LiveRun::release(std::uint32_t id) {
    View& view = views_[id];
    if (view.on_the_way != 0) return;
    if (view.unicast != kNone) free_unicast_views_.push_back(view.unicast);
    flows_.stop_using(view.place.flow, context_.timeline.GetNow().count());
    free_views_.push_back(id);
}

void LiveRun::record(const View& view) {
    const Stb& stb = stbs_[view.stb];
    const il::PlannedBlock& block = block_of(stb);
    auto& event = context_.report.add_event(stb.block);
    il::identify(block, channel_of(view), stb.index, event);
    il::ViewTimes times = view.times;
    if (view.unicast != kNone) fill_in_unicast(view, times, event);
    il::stamp_multicast(times, context_.counter, event);
    il::flag_latencies(times, block.profile, event);
    if (times.first != kNever) il::count_multicast(difference(view.packets, view.before), event);
    context_.figures.joins_and_leaves += view.seen;
    if (context_.report.is_full()) context_.report.deliver();
}

/// Adds the unicast times to `times`.
void LiveRun::fill_in_unicast(const View& view, il::ViewTimes& times, stbox_event_s& event) const {
    const UnicastView& unicast = unicast_views_[view.unicast];
    if (!unicast.has_burst) return;
    times.unicast_join = unicast.join;
    times.unicast_leave = unicast.leave;
    times.unicast_first = unicast.burst.first();
    times.unicast_last = unicast.burst.last();
    event.unicast_join_ts = context_.counter.read(unicast.join);
    event.unicast_leave_ts = context_.counter.read(unicast.leave);
    event.sbit_failure = has_sbit_failed(view);
    unicast.burst.fill_in(context_.counter, event);
}

Time LiveRun::finish(Time time) {
    if (!std::exchange(finishing_, true)) {
        finish_began_ = time;
        if (timer_ != 0) context_.timeline.Cancel(std::exchange(timer_, 0));
        for (Stb& stb : stbs_) {
            if (stb.view == kNone) continue;
            View& view = views_[stb.view];
            view.undecided = is_undecided(view, time);
            view.ended_by_test = true;
            const std::uint32_t id = stb.view;
            end_view(stb, time);
            // All leave now, one after the other.
            views_[id].planned_leave = kNever;
            if (UnicastView* unicast = unicast_of(id)) unicast->planned_leave = kNever;
        }
        if (watch_timer_ == 0) watch();
    }
    const bool is_over = is_settled() || time - finish_began_ >= kLongestFinish;
    if (is_over) {
        look_at_servers();
        complaints_.report(context_.complain);
    }
    return is_over ? kNever : time + kFinishInterval;
}

/// Whether a packet may be in flight that decides whether a join failed or not.
bool LiveRun::is_undecided(const View& view, Time now) const {
    const auto& profile = block_of(stbs_[view.stb]).profile;
    const auto waits = [now](Time join, Time first, std::int32_t threshold_ms) {
        return first == kNever && (join == kNever || now - join < Time{threshold_ms} * kMillisecond);
    };
    if (view.joined && waits(view.times.join, view.times.first, profile.join_latency_threshold)) return true;
    if (view.unicast == kNone || !unicast_views_[view.unicast].has_burst) return false;
    const UnicastView& unicast = unicast_views_[view.unicast];
    const bool may_come =
        unicast.burst.state() == Burst::State::Requested || unicast.burst.state() == Burst::State::Accepted;
    return may_come && waits(unicast.join, unicast.burst.first(), profile.unicast_join_threshold);
}

bool LiveRun::is_settled() const {
    return leavers_.empty() && draining_.empty() && sent_.empty() &&
           std::ranges::all_of(hosts_, [](const live::MembershipHost& host) { return host.IsIdle(); });
}

}  // namespace orv::nic
