// Answers, reports and their timers.
#include <algorithm>
#include <array>

#include "membership.h"
#include "orv/live/frame.h"
#include "orv/live/membership_host.h"

namespace orv::live {

/// Packs records into as few reports as they fit in (RFC 3376 section 4.2.16, RFC 3810 section 5.2.15).
class MembershipHost::Reports {
  public:
    explicit Reports(const MembershipHost& host)
        : host_(host), room_(RecordRoom(host.spoken_, host.settings_.mtu)) {}

    void add(const IpAddress& group, const GroupState::Record& record) {
        std::span<const IpAddress> sources = record.sources;
        const auto length_of = [&](std::size_t count) { return RecordLength(host_.spoken_, count); };
        if (used_ + length_of(sources.size()) > room_) send();
        const std::size_t most = (room_ - length_of(0)) / (length_of(1) - length_of(0));
        for (;;) {
            const auto part = sources.first(std::min(most, sources.size()));
            records_.push_back({record.type, group, part});
            used_ += length_of(part.size());
            sources = sources.subspan(part.size());
            // Excluded sources that do not fit are left out: a second record would replace the first.
            if (sources.empty() || record.type == RecordType::ModeIsExclude ||
                record.type == RecordType::ChangeToExclude) {
                break;
            }
            send();
        }
    }

    void send() {
        if (records_.empty()) return;
        std::array<std::byte, kMaxFrameLength> frame;
        const std::size_t length = WriteRecordReport(frame, host_.address_, host_.spoken_, records_);
        host_.send(std::span(frame).first(length));
        records_.clear();
        used_ = 0;
    }

  private:
    const MembershipHost& host_;
    std::size_t room_;
    std::size_t used_ = 0;
    std::vector<GroupRecord> records_;  ///< their sources are the caller's until send()
};

void MembershipHost::OnQuery(const MembershipQuery& query) {
    if (IsMld(query.version) != IsMld(settings_.version)) return;
    NoteQuerier(query);
    HasSourceFilters(spoken_) ? on_filter_query(query) : on_older_query(query);
}

void MembershipHost::OnReport(const IpAddress& group) {
    settle_version();
    if (!settings_.suppress_reports || HasSourceFilters(spoken_)) return;
    Membership* membership = find(group);
    if (!membership || membership->report_timer == 0) return;
    cancel(membership->report_timer);
    membership->repeats = 0;
    membership->last_reporter = false;
}

/// A change is reported at once, and repeated later together with what other groups have left to repeat: a
/// zap is a leave, a join and one repeat of both. `changed`: null to repeat.
void MembershipHost::send_changes(Membership* changed) {
    std::vector<GroupState::Record> records;  // reports point to the sources
    records.reserve(2 * memberships_.size());
    Reports reports(*this);
    bool is_all_told = true;
    for (Membership& membership : memberships_) {
        if (!changed || changed == &membership) {
            for (GroupState::Record& record : membership.state.take_changes()) {
                records.push_back(std::move(record));
                reports.add(membership.group, records.back());
            }
        }
        is_all_told = is_all_told && !membership.state.has_untold_changes();
    }
    reports.send();
    std::erase_if(memberships_, [](const Membership& membership) {
        return !membership.state.is_member() && !membership.state.has_untold_changes();
    });
    if (is_all_told) cancel(change_timer_);
    if (is_all_told || change_timer_ != 0) return;
    change_timer_ = timeline_.PostAfter(random_delay(settings_.unsolicited_report_interval), [this] {
        change_timer_ = 0;
        send_changes(nullptr);
    });
}

/// RFC 3376 section 5.2, RFC 3810 section 6.2: the five rules, in their order. Only a query can make the host
/// speak an older version, and that drops these timers: none of them has to look which version is spoken.
void MembershipHost::on_filter_query(const MembershipQuery& query) {
    const Nanoseconds now = timeline_.GetNow();
    const bool is_general = query.group.IsUnspecified();
    Membership* membership = is_general ? nullptr : find(query.group);
    if (is_general ? !has_anything_to_report() : !membership || !membership->has_answer()) return;

    const Nanoseconds delay = random_delay(query.max_response_time);
    if (general_timer_ != 0 && general_due_ < now + delay) return;
    if (is_general) {
        cancel(general_timer_);
        general_due_ = now + delay;
        general_timer_ = timeline_.PostAfter(delay, [this] {
            general_timer_ = 0;
            send_general_answer();
        });
        return;
    }
    const bool is_pending = membership->report_timer != 0;
    auto& queried = membership->queried_sources;
    if (query.sources.GetSize() == 0 || (is_pending && queried.empty())) {
        queried.clear();
    } else {
        for (std::size_t i = 0; i < query.sources.GetSize(); ++i) queried.push_back(query.sources[i]);
        std::ranges::sort(queried);
        queried.erase(std::unique(queried.begin(), queried.end()), queried.end());
        if (queried.size() > Membership::kMostQueriedSources) queried.clear();
    }
    if (is_pending && membership->report_due <= now + delay) return;
    cancel(membership->report_timer);
    membership->report_due = now + delay;
    membership->report_timer = timeline_.PostAfter(delay, [this, id = membership->id] {
        Membership& asked = *find(id);
        asked.report_timer = 0;
        send_group_answer(asked);
    });
}

void MembershipHost::send_group_answer(Membership& membership) {
    const auto& queried = membership.queried_sources;
    const GroupState::Record record =
        queried.empty() ? membership.state.current() : membership.state.answer_about(queried);
    if (queried.empty() || !record.sources.empty()) {
        Reports reports(*this);
        reports.add(membership.group, record);
        reports.send();
    }
    membership.queried_sources.clear();
}

void MembershipHost::send_general_answer() {
    std::vector<GroupState::Record> records;
    records.reserve(memberships_.size());  // reports point to the sources
    Reports reports(*this);
    for (const Membership& membership : memberships_) {
        if (!membership.has_answer()) continue;
        records.push_back(membership.state.current());
        reports.add(membership.group, records.back());
    }
    reports.send();
}

void MembershipHost::on_older_query(const MembershipQuery& query) {
    Nanoseconds longest;
    switch (spoken_) {  // for any version of the query: older hosts read its code as a plain number
        case MembershipVersion::Igmp1:
            longest = std::chrono::seconds(10);
            break;
        case MembershipVersion::Igmp2:
            longest = std::chrono::milliseconds(100) * query.max_response_code;
            break;
        default:
            longest = std::chrono::milliseconds(query.max_response_code);
            break;
    }
    const Nanoseconds now = timeline_.GetNow();
    for (Membership& membership : memberships_) {
        if (!query.group.IsUnspecified() && membership.group != query.group) continue;
        if (!is_reportable(membership.group)) continue;
        // RFC 2236 section 3, RFC 2710 section 4: a running timer is only ever shortened.
        if (membership.report_timer != 0 && longest >= membership.report_due - now) continue;
        start_report_timer(membership, random_delay(longest));
    }
}

void MembershipHost::start_report_timer(Membership& membership, Nanoseconds delay) {
    cancel(membership.report_timer);
    membership.report_due = timeline_.GetNow() + delay;
    membership.report_timer = timeline_.PostAfter(delay, [this, id = membership.id] {
        find(id)->report_timer = 0;
        if (settle_version()) return;  // the older querier has timed out
        Membership& reported = *find(id);
        if (reported.repeats > 0) --reported.repeats;
        send_report(reported);
    });
}

void MembershipHost::send_report(Membership& membership) {
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length = WriteMembershipReport(frame, address_, spoken_, membership.group);
    membership.last_reporter = true;
    send(std::span(frame).first(length));
    if (membership.repeats > 0) {
        start_report_timer(membership, random_delay(settings_.older_unsolicited_report_interval));
    }
}

bool MembershipHost::send_leave(const Membership& membership) {
    if (spoken_ == MembershipVersion::Igmp1) return false;
    if (settings_.suppress_reports && !membership.last_reporter) return false;
    std::array<std::byte, kMaxFrameLength> frame;
    send(std::span(frame).first(WriteMembershipLeave(frame, address_, spoken_, membership.group)));
    return true;
}

}  // namespace orv::live
