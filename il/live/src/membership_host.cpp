// Joining, leaving, and which version is spoken. What is sent is in membership_reports.cpp.
#include "orv/live/membership_host.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "membership.h"

namespace orv::live {
namespace {

void check(const HostAddress& address, const MembershipHost::Settings& settings) {
    const bool is_mld = IsMld(settings.version);
    if (address.ip.IsV6() != is_mld) {
        throw std::invalid_argument(std::string(is_mld ? "MLD" : "IGMP") + " cannot be spoken by the host " +
                                    address.ip.ToString());
    }
    if (settings.robustness == 0) throw std::invalid_argument("the robustness of a membership host is 0");
    if (settings.mtu < (is_mld ? 1280 : 576) || settings.mtu > 1500) {
        throw std::invalid_argument("the MTU of a membership host is " + std::to_string(settings.mtu));
    }
}

}  // namespace

MembershipHost::MembershipHost(const HostAddress& address, const Settings& settings, il::ITimeline& timeline,
                               std::uint64_t seed, Send send)
    : timeline_(timeline),
      send_(std::move(send)),
      address_(address),
      settings_(settings),
      spoken_(settings.version),
      random_(seed) {
    check(address, settings);
    if (IsMld(settings.version) && !address.ip.IsLinkLocal()) address_.ip = LinkLocalAddress(address.mac);
}

void MembershipHost::SetAddress(const IpAddress& ip) {
    if (!ip.IsV6()) address_.ip = ip;
}

MembershipHost::~MembershipHost() {
    cancel(general_timer_);
    cancel(change_timer_);
    for (Membership& membership : memberships_) cancel(membership.report_timer);
}

std::optional<Nanoseconds> MembershipHost::Join(const IpAddress& group, FilterMode mode,
                                                std::span<const IpAddress> sources) {
    check_group(group, sources);
    std::vector<IpAddress> sorted(sources.begin(), sources.end());
    std::ranges::sort(sorted);
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    return change(group, mode, std::move(sorted));
}

std::optional<Nanoseconds> MembershipHost::Leave(const IpAddress& group) {
    return change(group, FilterMode::Include, {});
}

void MembershipHost::LeaveAll() {
    std::vector<IpAddress> groups;
    for (Membership& membership : memberships_) groups.push_back(membership.group);
    for (const IpAddress& group : groups) Leave(group);
}

bool MembershipHost::IsIdle() const {
    return general_timer_ == 0 && change_timer_ == 0 &&
           std::ranges::all_of(memberships_,
                               [](const auto& membership) { return membership.report_timer == 0; });
}

MembershipVersion MembershipHost::GetVersion() const {
    const Nanoseconds now = timeline_.GetNow();
    switch (settings_.version) {
        case MembershipVersion::Igmp3:
        case MembershipVersion::Igmp2:
            if (now < version1_until_) return MembershipVersion::Igmp1;
            return now < version2_until_ ? MembershipVersion::Igmp2 : settings_.version;
        case MembershipVersion::Mld2:
            return now < version1_until_ ? MembershipVersion::Mld1 : MembershipVersion::Mld2;
        default:
            return settings_.version;
    }
}

MembershipHost::Membership* MembershipHost::find(const IpAddress& group) {
    const auto at = std::ranges::find(memberships_, group, &Membership::group);
    return at == memberships_.end() ? nullptr : &*at;
}

MembershipHost::Membership* MembershipHost::find(std::uint32_t id) {
    const auto at = std::ranges::find(memberships_, id, &Membership::id);
    return at == memberships_.end() ? nullptr : &*at;
}

bool MembershipHost::has_anything_to_report() const {
    return std::ranges::any_of(memberships_, [](const auto& membership) { return membership.has_answer(); });
}

void MembershipHost::remove(const Membership& membership) {
    memberships_.erase(memberships_.begin() + (&membership - memberships_.data()));
}

void MembershipHost::check_group(const IpAddress& group, std::span<const IpAddress> sources) const {
    if (!group.IsMulticast() || group.IsV6() != address_.ip.IsV6()) {
        throw std::invalid_argument("the host " + address_.ip.ToString() + " cannot join the group " +
                                    group.ToString());
    }
    for (const IpAddress& source : sources) {
        if (source.IsV6() == group.IsV6()) continue;
        throw std::invalid_argument("the group " + group.ToString() + " cannot have the source " +
                                    source.ToString());
    }
}

std::optional<Nanoseconds> MembershipHost::change(const IpAddress& group, FilterMode mode,
                                                  std::vector<IpAddress> sources) {
    settle_version();
    Membership* membership = find(group);
    if (!membership) {
        if (mode == FilterMode::Include && sources.empty()) return {};
        membership = &memberships_.emplace_back(group, ++last_id_);
    }
    const bool was_member = membership->state.is_member();
    if (!membership->state.change(mode, std::move(sources), settings_.robustness)) return {};
    return tell_change(*membership, was_member);
}

std::optional<Nanoseconds> MembershipHost::tell_change(Membership& membership, bool was_member) {
    const Nanoseconds now = timeline_.GetNow();
    const bool is_member = membership.state.is_member();
    if (!is_member) {
        cancel(membership.report_timer);
        membership.queried_sources.clear();
        if (!has_anything_to_report()) cancel(general_timer_);
    }
    if (is_reportable(membership.group) && HasSourceFilters(spoken_)) {
        send_changes(&membership);
        return now;
    }
    // The older versions have members and non-members only, no source filters.
    membership.state.forget_changes();
    std::optional<Nanoseconds> sent;
    if (is_reportable(membership.group) && is_member != was_member) {
        if (is_member) {
            membership.repeats = static_cast<std::uint8_t>(settings_.robustness - 1);
            send_report(membership);
            sent = now;
        } else if (send_leave(membership)) {
            sent = now;
        }
    }
    if (!is_member) remove(membership);
    return sent;
}

void MembershipHost::NoteQuerier(const MembershipQuery& query) {
    if (IsMld(query.version) != IsMld(settings_.version)) return;
    if (HasSourceFilters(query.version)) {
        if (query.query_interval.count() > 0) settings_.query_interval = query.query_interval;
    } else {
        note_older_querier(query);
    }
    settle_version();
}

void MembershipHost::note_older_querier(const MembershipQuery& query) {
    const Nanoseconds now = timeline_.GetNow();
    const Nanoseconds until =
        now + settings_.robustness * settings_.query_interval + settings_.query_response_interval;
    if (settings_.version == MembershipVersion::Igmp2) {
        if (query.version == MembershipVersion::Igmp1) {
            version1_until_ = now + settings_.version1_router_present_timeout;
        }
    } else if (query.version == MembershipVersion::Igmp1 || query.version == MembershipVersion::Mld1) {
        version1_until_ = until;
    } else if (query.group.IsUnspecified()) {
        // Group-specific queries of IGMPv2 do not show the querier's version (RFC 3376 section 7.2.1).
        version2_until_ = until;
    }
}

/// Notices that the spoken version has changed, which needs no timer: without an event there is nothing to
/// say. Returns whether everything pending was dropped for it (RFC 3376 section 7.2.1, RFC 3810
/// section 8.2.1).
bool MembershipHost::settle_version() {
    const MembershipVersion now_spoken = GetVersion();
    if (now_spoken == spoken_) return false;
    spoken_ = now_spoken;
    // For an IGMPv2 host, only the format of reports differs (RFC 2236 section 4).
    if (!HasSourceFilters(settings_.version)) return false;
    cancel(general_timer_);
    cancel(change_timer_);
    for (Membership& membership : memberships_) {
        cancel(membership.report_timer);
        membership.state.forget_changes();
        membership.queried_sources.clear();
        membership.repeats = 0;
        // A host sends a leave if it knows of no other member.
        membership.last_reporter = true;
    }
    std::erase_if(memberships_, [](const auto& membership) { return !membership.state.is_member(); });
    return true;
}

Nanoseconds MembershipHost::random_delay(Nanoseconds longest) {
    if (longest.count() <= 0) return Nanoseconds(0);
    const double fraction = random_.fraction();
    return Nanoseconds(1 + static_cast<std::int64_t>(fraction * static_cast<double>(longest.count())));
}

void MembershipHost::cancel(std::uint64_t& timer) {
    if (timer != 0) timeline_.Cancel(timer);
    timer = 0;
}

}  // namespace orv::live
