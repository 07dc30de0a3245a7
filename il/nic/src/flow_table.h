// The groups of the test that somebody views, or that packets come for, on each link.
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <unordered_map>
#include <vector>

#include "asked_viewers.h"
#include "hash.h"
#include "orv/il/run_plan.h"
#include "reception.h"

namespace orv::nic {

/// One group on one link.
struct Flow {
    static constexpr std::uint32_t kNone = UINT32_MAX;

    std::uint64_t key = 0;              ///< link and group
    std::vector<Reception> receptions;  ///< one for each choice of sources, as FlowTable::get_choice counts
    AskedViewers viewers;               ///< STBs
    std::uint32_t members = 0;          ///< views, of all receptions
    std::uint32_t leaver = kNone;       ///< last view to leave, while packets may still come
    std::uint32_t uses = 0;             ///< views that refer to it
    bool is_idle = false;               ///< waits in the queue of idle flows
    il::Time idle_since = 0;
};

/// Finds flows by group and link. Flows are made when they are needed, and made again for others when they
/// have had no view and no packet for some seconds: a port with an STB in each of thousands of VLANs holds
/// only what is viewed now, not every channel of every link.
class FlowTable {
  public:
    FlowTable(std::span<const il::PlannedFilter> filters, std::span<const il::Subscription> subscriptions,
              Numbering numbering);

    const live::IpAddress& get_group(std::uint32_t subscription) const {
        return groups_[group_of_[subscription]].address;
    }
    const SourceChoice& get_choice(std::uint32_t subscription) const {
        return choices_[choice_of_[subscription]];
    }
    /// Of a flow's reception.
    const SourceChoice& get_choice(const Flow& flow, std::size_t reception) const {
        return get_choice(groups_[static_cast<std::uint32_t>(flow.key)].subscriptions[reception]);
    }

    /// Null for a group that is not in the test, or without a flow on the link.
    Flow* find(std::uint32_t link, const live::IpAddress& group);
    /// Null for a group that is not in the test.
    Flow* find_or_make(std::uint32_t link, const live::IpAddress& group, il::Time now);

    /// Where a view finds its packets.
    struct Place {
        std::uint32_t flow = 0;
        std::uint32_t reception = 0;
    };
    Place use(std::uint32_t link, std::uint32_t subscription, il::Time now);
    void stop_using(std::uint32_t flow, il::Time now);
    Flow& at(std::uint32_t flow) { return flows_[flow]; }
    const Flow& at(std::uint32_t flow) const { return flows_[flow]; }

    /// Takes back flows that have been idle. True if there may be more of them later.
    bool take_back_idle(il::Time now);

  private:
    struct Group {
        live::IpAddress address;
        std::vector<std::uint32_t> subscriptions;
    };

    std::uint32_t find_or_make(std::uint32_t link, std::uint32_t group, il::Time now);
    void queue_if_idle(std::uint32_t flow, il::Time now);

    Numbering numbering_;
    std::vector<SourceChoice> choices_;     ///< by filter of the plan
    std::vector<std::uint32_t> choice_of_;  ///< by subscription
    std::vector<std::uint32_t> group_of_;   ///< by subscription
    std::vector<Group> groups_;
    std::unordered_map<live::IpAddress, std::uint32_t, AddressHash> group_numbers_;
    std::deque<Flow> flows_;  ///< their addresses stay
    std::vector<std::uint32_t> free_;
    std::unordered_map<std::uint64_t, std::uint32_t> by_key_;
    std::deque<std::uint32_t> idle_;  ///< in the order in which they became idle
};

}  // namespace orv::nic
