// What a test must report, worked out a second time from the records of the ports.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/common/addresses.h"

namespace results_test {

/// Counts and truth values, measures, texts and addresses.
using Value = std::variant<std::uint64_t, double, std::string>;
/// Values by "<object>/<property>".
using Figures = std::map<std::string, Value>;

/// The parts of a viewing profile that figures depend on.
struct ViewingHabit {
    std::uint32_t threshold_ms = 0;
    std::uint8_t zap_type = 0;
};

/// What is left of a set-top box's last view.
struct PreviousView {
    std::int64_t leave = 0;
    std::int64_t last_packet = 0;
};

/// Everything that follows from one channel view. What is nothing was not measured.
struct View {
    using Event = iptvcd_1_bll::stbox_event_s;
    using Measure = std::optional<double>;

    Event ev;
    PreviousView previous;
    bool failed = false, duplicate = false, unicast_failed = false, unicast_duplicate = false;
    Measure join, leave, unicast_join, unicast_leave, nosb_rate, sbit_rate;
    Measure packet_gap, packet_overlap, gap, overlap, change;
    Measure leave_to_leave, packet_to_leave, unicast_to_leave, leave_to_join;
    double packets[5] = {};  ///< all, multicast, unicast, unicast without and with S-bit
    double seconds[5] = {};
};

struct Retransmission {
    iptvcd_1_bll::stbox_event_rrr_s ev;
    std::optional<double> latency;
};

struct OracleRange {
    std::string name;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::string channel_name;
    bool active = true;
};

/// Addresses of set-top boxes: the list, or without one the first address and the step.
template <class Address>
struct HostAddresses {
    Address first;
    Address step;
    std::vector<Address> list;
};

struct OracleBlock {
    std::uint32_t handle = 0;
    std::string name;
    std::string port;
    std::string profile;
    ViewingHabit habit;
    std::vector<OracleRange> ranges;
    std::uint32_t base_index = 0;
    std::uint32_t clients = 0;
    bool active = true;
    bool rows = false;
    std::variant<HostAddresses<orv::common::CIpAddress>, HostAddresses<orv::common::CIpv6Address>> addresses;
};

/// What feeds the results of an object.
struct Feed {
    std::vector<const View*> views;
    std::vector<const Retransmission*> retransmissions;
};

/// Keeps every view and selects, for each object, those that feed it: no batches, no running values.
/// Objects are called "Port <name>", "Block <name>", "Profile <name>" and "Range <name>", rows "Block <name>
/// view 0" and "Block <name> retransmission 0".
class Oracle {
  public:
    explicit Oracle(std::vector<OracleBlock> blocks) : blocks_(std::move(blocks)) {}

    void Take(const iptvcd_1_bll::stblock_event_s& record);

    Figures GetFigures() const;
    /// Every value of the latencies with distributions, ascending, by "<object>/<latency>"; "Test" is an
    /// object, too.
    std::map<std::string, std::vector<double>> GetLatencies() const;
    double GetFailedJoins() const;
    double GetNetChannelChanges() const;

  private:
    std::vector<OracleBlock> blocks_;
    std::deque<View> views_;
    std::deque<Retransmission> retransmissions_;
    std::map<std::uint32_t, PreviousView> previous_;  ///< by number of the set-top box in the test
    std::map<std::string, Feed> feeds_;               ///< by object
};

}  // namespace results_test
