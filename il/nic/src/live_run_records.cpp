// How views become records, and how a run ends.
#include <algorithm>

#include "live_run.h"
#include "orv/il/viewing.h"

namespace orv::nic {

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

void LiveRun::close(std::uint32_t id) {
    View& view = views_[id];
    if (view.times.join != kNever && !view.unseen && !view.undecided) record(view);
    view.closed = true;
    release(id);
}

/// A frame still in flight must not count for the next view.
void LiveRun::release(std::uint32_t id) {
    if (views_[id].on_the_way == 0) free_views_.push_back(id);
}

void LiveRun::record(const View& view) {
    const Stb& stb = stbs_[view.stb];
    const il::PlannedBlock& block = block_of(stb);
    auto& event = context_.report.add_event(stb.block);
    il::identify(block, channel_of(view), stb.index, event);
    il::stamp_multicast(view.times, context_.counter, event);
    il::flag_latencies(view.times, block.profile, event);
    if (view.times.first != kNever) il::count_multicast(difference(view.packets, view.before), event);
    context_.figures.joins_and_leaves += view.seen;
    if (context_.report.is_full()) context_.report.deliver();
}

Time LiveRun::finish(Time time) {
    if (!std::exchange(finishing_, true)) {
        finish_began_ = time;
        if (timer_ != 0) context_.timeline.Cancel(std::exchange(timer_, 0));
        for (Stb& stb : stbs_) {
            if (stb.view == kNone) continue;
            View& view = views_[stb.view];
            view.undecided = is_undecided(view, time);
            end_view(stb, time);
            view.planned_leave = kNever;  // all leave now, one after the other
        }
        if (watch_timer_ == 0) watch();
    }
    const bool is_over = is_settled() || time - finish_began_ >= kLongestFinish;
    return is_over ? kNever : time + kFinishInterval;
}

/// Whether a packet may be in flight that decides whether the join failed or
/// not.
bool LiveRun::is_undecided(const View& view, Time now) const {
    if (view.times.first != kNever) return false;
    const auto threshold = block_of(stbs_[view.stb]).profile.join_latency_threshold;
    return view.times.join == kNever || now - view.times.join < Time{threshold} * kMillisecond;
}

bool LiveRun::is_settled() const {
    return leavers_.empty() && sent_.empty() &&
           std::ranges::all_of(hosts_, [](const live::MembershipHost& host) { return host.IsIdle(); });
}

}  // namespace orv::nic
