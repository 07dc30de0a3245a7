// The host side of IGMP and MLD for one emulated set-top box.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "orv/il/random.h"
#include "orv/il/timeline.h"
#include "orv/live/address.h"
#include "orv/live/membership_message.h"

namespace orv::live {

/// Reports to routers and snooping switches what one host wants to receive: IGMPv1 (RFC 1112), IGMPv2 (RFC
/// 2236), IGMPv3 (RFC 3376), MLDv1 (RFC 2710) or MLDv2 (RFC 3810).
///
/// - Joins, leaves and source changes are reported at once, and repeated except leaves of the older versions.
///   In IGMPv3 and MLDv2 a report of a change also repeats what is left to repeat of others.
/// - Queries are answered after a random part of their response time. IGMPv3 and MLDv2 answer a general query
///   with all groups in as few packets as they fit in, the older versions each group at its own time.
/// - A querier of an older version makes the host speak that version for as long as the RFC says. Groups keep
///   their sources meanwhile, though no frame reports them.
/// - Nothing is sent about 224.0.0.1, ff02::1, and IPv6 groups of the scopes 0 and 1 (RFC 2710 section 5).
///
/// Made to exist in thousands: no timer while there is nothing to send. The same calls at the same times with
/// the same seed send the same frames. Used from one thread at a time, the timeline's.
class MembershipHost {
  public:
    struct Settings {
        MembershipVersion version = MembershipVersion::Igmp2;
        /// How often a change is reported, the first time included (RFC 3376 section 8.1); 1 to 255. Leaves
        /// of IGMPv2 and MLDv1 are sent once.
        std::uint8_t robustness = 2;
        /// Report suppression: a host sends no report for a group that another host has reported, and no
        /// leave if it was not the last to report. IGMPv1, IGMPv2 and MLDv1 only.
        bool suppress_reports = false;
        /// Largest IP packet of a report, bytes; 576 to 1500, for MLD 1280 to 1500.
        std::uint16_t mtu = 1500;
        /// Longest time between two reports of a change: IGMPv3 (RFC 3376 section 8.11), MLDv2 (RFC 3810
        /// section 9.11).
        Nanoseconds unsolicited_report_interval = std::chrono::seconds(1);
        /// The same for IGMPv1, IGMPv2 (RFC 2236 section 8.10) and MLDv1 (RFC 2710 section 7.10).
        Nanoseconds older_unsolicited_report_interval = std::chrono::seconds(10);
        /// An IGMPv2 host speaks IGMPv1 that long after an IGMPv1 query (RFC 2236 section 8.11).
        Nanoseconds version1_router_present_timeout = std::chrono::seconds(400);
        /// An IGMPv3 or MLDv2 host speaks the version of an older querier's query for `robustness` times the
        /// query interval plus the query response interval (RFC 3376 section 8.12, RFC 3810 section 9.12).
        /// The interval is the one in the last query that named one, before that this one.
        Nanoseconds query_interval = std::chrono::seconds(125);
        Nanoseconds query_response_interval = std::chrono::seconds(10);
    };
    /// Takes a finished frame; its bytes are invalid after the call. May not call the host or destroy it.
    using Send = std::function<void(std::span<const std::byte> frame)>;

    /// MLD messages are sent from `address.ip` if that is link-local, otherwise from the link-local address
    /// derived from the MAC address. `timeline` must outlive the host. Throws std::invalid_argument if
    /// address, version and settings do not match.
    MembershipHost(const HostAddress& address, const Settings& settings, il::ITimeline& timeline,
                   std::uint64_t seed, Send send);
    /// Sends nothing to the network; LeaveAll does.
    ~MembershipHost();
    MembershipHost(const MembershipHost&) = delete;
    MembershipHost& operator=(const MembershipHost&) = delete;

    /// Joins a group, or changes the sources of a joined one. Exclude without sources means all sources,
    /// Include without sources a leave. Returns the time of the first frame for it; no value if none was
    /// sent, because nothing changed or the protocol version cannot express it. Throws std::invalid_argument
    /// for a group that is not a multicast address, or addresses of the wrong family.
    std::optional<Nanoseconds> Join(const IpAddress& group, FilterMode mode,
                                    std::span<const IpAddress> sources = {});
    /// Returns like Join. Sends nothing in IGMPv1, which has no leave message, and without a membership.
    std::optional<Nanoseconds> Leave(const IpAddress& group);
    /// The host has another address of the same family from now on. Memberships stay, and MLD messages come
    /// from the link-local address as before.
    void SetAddress(const IpAddress& ip);
    /// Leaves every group, in the order of joining. Repeats follow later, as for any leave.
    void LeaveAll();

    /// A query on the host's link, sent to a multicast address or to the host. Ignored if it is of the other
    /// protocol.
    void OnQuery(const MembershipQuery& query);
    /// A query for other hosts of the link: only updates the version of the link's querier.
    void NoteQuerier(const MembershipQuery& query);
    /// An IGMPv1, IGMPv2 or MLDv1 report of another host of the link. Ignored without report suppression.
    void OnReport(const IpAddress& group);

    /// Whether there is anything left to repeat or to answer.
    bool IsIdle() const;
    /// The version in use.
    MembershipVersion GetVersion() const;
    /// With the source address of membership messages.
    const HostAddress& GetAddress() const { return address_; }

  private:
    struct Membership;
    class Reports;

    Membership* find(const IpAddress& group);
    Membership* find(std::uint32_t id);
    bool has_anything_to_report() const;
    void remove(const Membership& membership);
    void check_group(const IpAddress& group, std::span<const IpAddress> sources) const;
    std::optional<Nanoseconds> change(const IpAddress& group, FilterMode mode,
                                      std::vector<IpAddress> sources);
    std::optional<Nanoseconds> tell_change(Membership& membership, bool was_member);

    // Messages of versions with source filters.
    void send_changes(Membership* changed);
    void send_group_answer(Membership& membership);
    void send_general_answer();
    void on_filter_query(const MembershipQuery& query);

    // Messages of the older versions.
    void send_report(Membership& membership);
    /// Sends a leave. False if the version has none, or the host was not the last to report.
    bool send_leave(const Membership& membership);
    void start_report_timer(Membership& membership, Nanoseconds delay);
    void on_older_query(const MembershipQuery& query);

    void note_older_querier(const MembershipQuery& query);
    bool settle_version();
    Nanoseconds random_delay(Nanoseconds longest);
    void cancel(std::uint64_t& timer);
    void send(std::span<const std::byte> frame) const { send_(frame); }

    il::ITimeline& timeline_;
    Send send_;
    HostAddress address_;
    Settings settings_;
    MembershipVersion spoken_;  ///< as of the last event
    il::Random random_;
    Nanoseconds version1_until_{};     ///< a querier of IGMPv1 or MLDv1 counts as present until then
    Nanoseconds version2_until_{};     ///< of IGMPv2
    std::uint64_t change_timer_ = 0;   ///< repeats changes (IGMPv3, MLDv2)
    std::uint64_t general_timer_ = 0;  ///< answers a general query
    Nanoseconds general_due_{};
    std::vector<Membership> memberships_;
    std::uint32_t last_id_ = 0;  ///< of a membership
};

}  // namespace orv::live
