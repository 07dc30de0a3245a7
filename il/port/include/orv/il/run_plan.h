// The plan of a run: a copy of the configuration that the test needs, resolved for running.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "orv/il/port_configuration.h"
#include "orv/il/time.h"

namespace orv::il {

/// Contents of a request to start a test.
struct TestStart {
    std::uint32_t config_handle = 0;
    std::vector<std::uint32_t> stb_blocks;  ///< handles
    std::uint32_t start_delay_step = 0;     ///< ms, from one STB of the port to the next
};

/// Source filter of a group. Without sources, INCLUDE lets nothing pass and EXCLUDE everything.
struct PlannedFilter {
    bool include = false;  ///< only these; otherwise all but these
    std::vector<iptvcd_1_bll::ipAddress_t> sources;

    bool operator==(const PlannedFilter&) const = default;
};

/// Group and source filter of a join.
struct Subscription {
    iptvcd_1_bll::ipAddress_t group;
    std::uint32_t group_index = 0;   ///< of the test's distinct groups
    std::uint32_t filter_index = 0;  ///< of the test's distinct filters
};

/// A channel of a block. `number` is the one that users know it by.
struct PlannedChannel {
    iptvcd_1_bll::ipAddress_t group;
    std::uint32_t group_index = 0;
    std::uint32_t subscription = 0;  ///< of the test's distinct ones
    std::uint16_t number = 0;
    bool nack_enable = false;  ///< lost packets may be requested again
};

/// An STB block with its profile and channels.
struct PlannedBlock {
    iptvcd_1_bll::settopBlockConfig_s config;
    iptvcd_1_bll::profileConfig_s profile;
    std::vector<PlannedChannel> channels;  ///< of all channel blocks that the port has, in order; may be none
    std::vector<std::uint32_t> links;      ///< by STB: index of its VLANs and PPP session
    std::uint32_t first_stb = 0;           ///< index on the port of the block's first STB
    /// By host of the block's interface: those that have no address. Empty if all have one.
    std::vector<bool> absent;

    /// Whether an STB views channels at all: there are some, and it has an address.
    bool has_viewer(std::uint32_t settop_index) const {
        return !channels.empty() && (settop_index >= absent.size() || !absent[settop_index]);
    }

    /// Position in `channels` of the first channel that an STB views; there are channels.
    std::uint32_t initial_channel(std::uint32_t settop_index) const;

    // Of the first channel block, for initial_channel():
    std::uint32_t channels_of_first_range = 0;
    std::int64_t initial_start = 0, initial_step = 0;  ///< channel numbers
    std::int64_t number_start = 0, number_step = 1;
};

/// Later changes of the configuration do not change the plan.
struct RunPlan {
    /// Throws PortFault for unknown or repeated handles, and for more than a port can hold.
    RunPlan(const PortConfiguration& configuration, const TestStart& start);

    Time duration() const { return ms(test.test_duration); }
    bool uses_unicast() const;
    bool retransmits() const;

    iptvcd_1_bll::testConfig_s test;
    std::uint32_t start_delay_step = 0;  ///< ms, from one STB of the port to the next
    std::vector<PlannedBlock> blocks;
    std::uint32_t stb_count = 0;
    std::size_t group_count = 0;
    std::vector<PlannedFilter> filters;
    std::vector<Subscription> subscriptions;
};

}  // namespace orv::il
