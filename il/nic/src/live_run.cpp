// Decisions of STBs. What the network shows of it is in live_run_network.cpp, how a view becomes a record in
// live_run_records.cpp.
#include "live_run.h"

#include <fmt/format.h>

#include <algorithm>

#include "orv/il/port_fault.h"
#include "orv/il/viewing.h"
#include "orv/nic/addresses.h"

namespace orv::nic {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about
using il::kMillisecond;
using il::kNever;
using il::Time;

namespace {

/// Most STBs that act before their frames are flushed and received frames are processed.
constexpr int kMostStepsAtOnce = 64;

live::MembershipVersion version_of(IgmpVersion version) {
    switch (version) {
        case IgmpVersion::IGMP_VERSION1:
            return live::MembershipVersion::Igmp1;
        case IgmpVersion::IGMP_VERSION2:
            return live::MembershipVersion::Igmp2;
        case IgmpVersion::IGMP_VERSION3:
            return live::MembershipVersion::Igmp3;
        case IgmpVersion::MLD_VERSION1:
            return live::MembershipVersion::Mld1;
        case IgmpVersion::MLD_VERSION2:
            break;
    }
    return live::MembershipVersion::Mld2;
}

}  // namespace

LiveRun::LiveRun(il::RunPlan plan, const std::vector<Host>& hosts, const MembershipSettings& settings,
                 std::uint64_t seed, Time start, const RunContext& context)
    : plan_(std::move(plan)),
      context_(context),
      coarse_(context.timeline),
      end_(start + plan_.duration()),
      numbering_(plan_.test.test_env == TestEnv::REAL_WORLD ? Numbering::Rtp : Numbering::Signature),
      flows_(plan_.filters, plan_.subscriptions, numbering_),
      fan_out_(context.timeline, [this](std::uint32_t stb, const live::MembershipQuery& query) {
          hosts_[stb].OnQuery(query);
      }) {
    add_stbs(hosts, settings, seed, start);
    if (plan_.uses_unicast() || plan_.retransmits()) add_servers(hosts);
    std::vector<std::uint32_t> handles;
    for (const il::PlannedBlock& block : plan_.blocks) handles.push_back(block.config.stblock_handle);
    context_.report.begin(handles);
    arm();
}

LiveRun::~LiveRun() {
    current_ = {};
    for (const Stb& stb : stbs_) leave_unicast(stb.view, context_.timeline.GetNow().count());
    complaints_.report(context_.complain);
    for (live::MembershipHost& host : hosts_) host.LeaveAll();
    if (timer_ != 0) context_.timeline.Cancel(timer_);
    if (watch_timer_ != 0) context_.timeline.Cancel(watch_timer_);
}

void LiveRun::add_stbs(const std::vector<Host>& hosts, const MembershipSettings& settings, std::uint64_t seed,
                       Time start) {
    stbs_.resize(plan_.stb_count);
    viewer_positions_.resize(plan_.stb_count);
    for (std::uint32_t b = 0; b < plan_.blocks.size(); ++b) {
        const il::PlannedBlock& block = plan_.blocks[b];
        live::MembershipHost::Settings own;
        own.version = version_of(block.config.igmp_version);
        own.robustness = settings.robustness;
        own.suppress_reports = settings.suppress_reports;
        own.mtu = static_cast<std::uint16_t>(std::min<std::size_t>(context_.mtu, own.mtu));
        for (std::uint32_t i = 0; i < block.config.settop_count; ++i) {
            const std::uint32_t number = block.first_stb + i;
            Stb& stb = stbs_[number];
            stb.random = il::Random(il::mixed(seed + number));
            stb.index = i;
            stb.block = b;
            stb.link = links_.add(hosts[number].address.vlan);
            by_link_.resize(links_.size());
            by_link_[stb.link].stbs.push_back(number);
            try {
                hosts_.emplace_back(
                    hosts[number].address, own, coarse_, stb.random.next(),
                    [this, number](std::span<const std::byte> frame) { send_report(number, frame); });
            } catch (const std::invalid_argument& error) {
                throw il::PortFault(
                    il::FaultCode::BadValue,
                    fmt::format("STB block {}: {}", block.config.stblock_handle, error.what()));
            }
            // IPv6 hosts also answer for their link-local address.
            for (const live::IpAddress& own_ip : {hosts[number].address.ip, hosts_.back().GetAddress().ip})
                own_addresses_.emplace(LinkAddress{stb.link, own_ip}, number);
            if (block.has_viewer(i))
                queue_.push({il::start_of(plan_, block, i, start), number, il::Step::Begin});
        }
        check_channels(block);
    }
}

void LiveRun::on_address_lost(const FormerAddress& before) {
    for (const il::PlannedBlock& block : plan_.blocks) {
        if (block.config.vif_handle != before.if_handle || before.nth >= block.config.settop_count) continue;
        const std::uint32_t number = block.first_stb + before.nth;
        Stb& stb = stbs_[number];
        own_addresses_.erase({stb.link, before.ip});
        stb.is_silent = true;
        if (stb.view != kNone) end_view(stb, context_.timeline.GetNow().count());
    }
}

/// Its reports are sent from the new address, and servers are told of it by its next messages.
void LiveRun::on_address_changed(const FormerAddress& before, const Host& now) {
    for (const il::PlannedBlock& block : plan_.blocks) {
        if (block.config.vif_handle != before.if_handle || before.nth >= block.config.settop_count) continue;
        const std::uint32_t number = block.first_stb + before.nth;
        const std::uint32_t link = stbs_[number].link;
        own_addresses_.erase({link, before.ip});
        own_addresses_.emplace(LinkAddress{link, now.address.ip}, number);
        hosts_[number].SetAddress(now.address.ip);
        if (!unicast_stbs_.empty()) address_servers(number, now);
        stbs_[number].is_silent = false;
        if (std::exchange(stbs_[number].is_waiting, false)) {
            queue_.push({context_.timeline.GetNow().count(), number, il::Step::Begin});
            arm();
        }
    }
}

/// Incremented groups may leave the multicast range.
void LiveRun::check_channels(const il::PlannedBlock& block) const {
    const bool is_v6 = live::IsMld(version_of(block.config.igmp_version));
    const char* family = is_v6 ? "IPv6" : "IPv4";
    for (const il::PlannedChannel& channel : block.channels) {
        const live::IpAddress& group = flows_.get_group(channel.subscription);
        const auto refuse = [&](const std::string& what) {
            throw il::PortFault(
                il::FaultCode::BadValue,
                fmt::format("STB block {}: channel {} has the group {}, {}", block.config.stblock_handle,
                            channel.number, group.ToString(), what));
        };
        if (!group.IsMulticast() || group.IsV6() != is_v6)
            refuse(fmt::format("which is no {} multicast address", family));
        for (const live::IpAddress& source : flows_.get_choice(channel.subscription).sources) {
            if (source.IsV6() != is_v6)
                refuse(fmt::format("and the source {}, which is no {} address", source.ToString(), family));
        }
    }
}

/// One timer at a time: for the next step.
void LiveRun::arm() {
    if (finishing_ || queue_.empty() || queue_.first().time >= end_) return;
    const Time next = queue_.first().time;
    if (timer_ != 0 && armed_for_ <= next) return;
    if (timer_ != 0) context_.timeline.Cancel(timer_);
    armed_for_ = next;
    timer_ = context_.timeline.PostAfter(Nanoseconds(next) - context_.timeline.GetNow(), [this] {
        timer_ = 0;
        work_off();
        arm();
    });
}

void LiveRun::work_off() {
    const Time now = context_.timeline.GetNow().count();
    for (int done = 0; done < kMostStepsAtOnce && !queue_.empty() && queue_.first().time <= now; ++done) {
        const il::EventQueue::Entry entry = queue_.first();
        queue_.pop();
        take_step(entry);
    }
}

void LiveRun::take_step(const il::EventQueue::Entry& entry) {
    switch (entry.step) {
        case il::Step::Begin:
        case il::Step::End:
            return change_view(entry);
        case il::Step::JoinMulticast:
            if (is_due(entry)) on_join_due(entry.stb, entry.time);
            return;
        case il::Step::AskBurst:
            if (is_due(entry)) ask_burst(entry.stb);
            return;
        case il::Step::LeaveUnicast:
            if (is_due(entry)) leave_unicast(stbs_[entry.stb].view, entry.time);
            return;
        case il::Step::AskRepair:
            if (is_due(entry)) ask_repair(entry.stb);
            return;
    }
}

/// One of both waits for each STB. A view that was to end may have ended with the address of its host.
void LiveRun::change_view(const il::EventQueue::Entry& entry) {
    Stb& stb = stbs_[entry.stb];
    if (stb.is_silent) {
        stb.is_waiting = true;
    } else if (stb.view != kNone) {
        try_end_view(entry.stb, entry.time);
    } else if (!il::is_done(block_of(stb), plan_.test.test_type, stb.views)) {
        begin_view(entry.stb, entry.time);
    }
}

void LiveRun::begin_view(std::uint32_t number, Time planned) {
    Stb& stb = stbs_[number];
    const il::PlannedBlock& block = block_of(stb);
    stb.channel =
        il::choose_channel(block, plan_.test.test_type, stb.index, stb.views, stb.channel, stb.random);
    ++stb.views;
    stb.view = make_view();
    View& view = views_[stb.view];
    view.stb = number;
    view.channel = stb.channel;
    view.place = flows_.use(stb.link, channel_of(view).subscription, context_.timeline.GetNow().count());
    view.unicast = make_unicast_view(view);
    if (plan_.uses_unicast()) return begin_unicast(number, planned);
    join_multicast(number, planned);
    queue_.push({end_of_view(stb), number, il::Step::End});
}

void LiveRun::join_multicast(std::uint32_t number, Time planned) {
    Stb& stb = stbs_[number];
    View& view = views_[stb.view];
    view.planned_join = planned;
    view.joined = true;
    stb.flow = view.place.flow;
    flow_of(view).viewers.add(number, viewer_positions_);

    const std::uint32_t subscription = channel_of(view).subscription;
    const SourceChoice& choice = flows_.get_choice(subscription);
    current_ = {stb.view, Act::Join};
    hosts_[number].Join(flows_.get_group(subscription),
                        choice.include ? live::FilterMode::Include : live::FilterMode::Exclude,
                        choice.sources);
    // A join without a frame.
    if (std::exchange(current_, {}).view != kNone) on_join(stb.view, context_.timeline.GetNow().count());
}

/// As far as the view's events are known.
Time LiveRun::end_of_view(const Stb& stb) {
    const View& view = views_[stb.view];
    il::ViewStart start{.last_leave = stb.last_leave, .join = view.planned_join, .first = view.times.first};
    if (const UnicastView* unicast = unicast_of(stb.view); unicast && unicast->has_burst) {
        start.unicast_join = unicast->planned_join;
        start.unicast_first = unicast->burst.first();
    }
    return il::end_of_view(block_of(stb), stb.views, start);
}

void LiveRun::try_end_view(std::uint32_t number, Time planned) {
    Stb& stb = stbs_[number];
    const il::PlannedBlock& block = block_of(stb);
    if (const Time end = end_of_view(stb); end > planned) {
        queue_.push({end, number, il::Step::End});
        return;
    }
    end_view(stb, planned);
    if (!il::is_done(block, plan_.test.test_type, stb.views))
        queue_.push({planned + il::ms(block.profile.leave_to_join_delay), number, il::Step::Begin});
}

void LiveRun::end_view(Stb& stb, Time planned) {
    const std::uint32_t id = std::exchange(stb.view, kNone);
    stb.last_leave = planned;
    if (views_[id].unicast != kNone) end_unicast(id, planned);
    if (views_[id].joined) {
        leave_multicast(id, planned);
    } else {
        close(id);
    }
}

void LiveRun::leave_multicast(std::uint32_t id, Time planned) {
    View& view = views_[id];
    view.planned_leave = planned;
    flow_of(view).viewers.remove(view.stb, viewer_positions_);
    stbs_[view.stb].flow = kNone;
    current_ = {id, Act::Leave};
    hosts_[view.stb].Leave(flows_.get_group(channel_of(view).subscription));
    // A leave without a frame: IGMPv1, or another host has reported last.
    if (std::exchange(current_, {}).view != kNone) on_leave(id, context_.timeline.GetNow().count(), false);
}

/// Of a host: a join or leave, or else a repeat of one, or an answer.
void LiveRun::send_report(std::uint32_t number, std::span<const std::byte> frame) {
    if (stbs_[number].is_silent) return;
    const std::uint32_t flow = stbs_[number].flow;
    if (current_.view == kNone && flow != kNone)
        flows_.at(flow).viewers.on_answered(number, viewer_positions_);
    send(frame);
}

void LiveRun::send(std::span<const std::byte> frame) {
    const Ticket ticket = std::exchange(current_, {});
    if (ticket.view != kNone) ++views_[ticket.view].on_the_way;
    sent_.add(frame, context_.timeline.GetNow().count(), ticket);
    ++context_.figures.frames_sent;
    if (!context_.sink.send(frame)) ++context_.figures.frames_unsent;
    if (watch_timer_ == 0) watch();
}

}  // namespace orv::nic
