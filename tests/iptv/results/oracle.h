// What a test must report, worked out a second time from the records of the ports.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "msgset/iptvcd_1.h"
#include "oracle_view.h"
#include "orv/common/addresses.h"

namespace results_test {

/// Counts and truth values, measures, texts and addresses.
using Value = std::variant<std::uint64_t, double, std::string>;
/// Values by "<object>/<property>".
using Figures = std::map<std::string, Value>;

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

/// Keeps every view and selects, for each object, those that feed it: no batches, no running values.
/// Objects are called "Port <name>", "Block <name>", "Profile <name>" and "Range <name>", rows "Block <name>
/// view 0" and "Block <name> retransmission 0".
class Oracle {
  public:
    explicit Oracle(std::vector<OracleBlock> blocks) : blocks_(std::move(blocks)) {}

    void Take(const iptvcd_1_bll::stblock_event_s& record);

    Figures GetFigures() const;
    double GetFailedJoins() const;
    double GetNetChannelChanges() const;

  private:
    struct Feed {
        std::vector<const View*> views;
        std::vector<const Retransmission*> retransmissions;
    };

    const OracleRange* FindRange(const OracleBlock& block, std::uint32_t channel) const;
    static void PutJoinLeave(Figures& figures, const std::string& object, const Feed& feed);
    static void PutGapOverlap(Figures& figures, const std::string& object, const Feed& feed);
    static void PutTotals(Figures& figures, const std::string& object, const Feed& feed);
    static void PutPort(Figures& figures, const std::string& object, const Feed& feed);
    static void PutRows(Figures& figures, const OracleBlock& block, const Feed& feed);

    std::vector<OracleBlock> blocks_;
    std::deque<View> views_;
    std::deque<Retransmission> retransmissions_;
    std::map<std::uint32_t, PreviousView> previous_;  ///< by number of the set-top box in the test
    std::map<std::string, Feed> feeds_;               ///< by object
};

}  // namespace results_test
