#include "orv/il/run_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "orv/il/address_order.h"

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about

namespace {

/// The sum as a number of 4 or 16 bytes in network order.
ipAddress_t sum(ipAddress_t address, const ipAddress_t& step) {
    unsigned carry = 0;
    for (std::size_t i = ipAddress_t::length_of(address.type); i-- > 0;) {
        carry += address.v6.address[i];
        if (step.type == address.type) carry += step.v6.address[i];
        address.v6.address[i] = static_cast<std::uint8_t>(carry);
        carry >>= 8;
    }
    return address;
}

/// Numbers distinct keys in the order in which they come.
template <class Key, class Order = std::less<Key>>
class Indexes {
  public:
    std::uint32_t of(const Key& key) {
        return indexes_.emplace(key, static_cast<std::uint32_t>(indexes_.size())).first->second;
    }
    std::size_t size() const { return indexes_.size(); }

  private:
    std::map<Key, std::uint32_t, Order> indexes_;
};

using Links = Indexes<std::tuple<std::uint16_t, std::uint16_t, std::uint16_t>>;

/// Numbers the subscriptions of a test's channels.
class SubscriptionList {
  public:
    explicit SubscriptionList(RunPlan& plan) : plan_(plan) {}

    std::uint32_t filter_of(IgmpVersion version, const channelBlockConfig_s& range) {
        PlannedFilter filter;
        if (version == IgmpVersion::IGMP_VERSION3 || version == IgmpVersion::MLD_VERSION2)
            filter = {range.filterMode == FilterModeType::INCLUDE, range.source_list};
        const auto found = std::find(plan_.filters.begin(), plan_.filters.end(), filter);
        const auto index = static_cast<std::uint32_t>(found - plan_.filters.begin());
        if (found == plan_.filters.end()) plan_.filters.push_back(std::move(filter));
        return index;
    }
    /// Index of the subscription.
    std::uint32_t add(const ipAddress_t& group, std::uint32_t filter) {
        const std::uint32_t group_index = groups_.of(group);
        const std::uint32_t index = subscriptions_.of({group_index, filter});
        if (index == plan_.subscriptions.size()) plan_.subscriptions.push_back({group, group_index, filter});
        plan_.group_count = groups_.size();
        return index;
    }

  private:
    RunPlan& plan_;
    Indexes<ipAddress_t, AddressOrder> groups_;
    Indexes<std::pair<std::uint32_t, std::uint32_t>> subscriptions_;
};

void add_channels(const channelBlockConfig_s& range, SubscriptionList& subscriptions, const RunPlan& plan,
                  PlannedBlock& block) {
    const std::uint32_t filter = subscriptions.filter_of(block.config.igmp_version, range);
    ipAddress_t group = range.channel_ip_start;
    std::uint16_t number = range.channel_number_start;
    for (std::uint32_t i = 0; i < range.channel_count; ++i) {
        const std::uint32_t index = subscriptions.add(group, filter);
        block.channels.push_back({group, plan.subscriptions[index].group_index, index, number,
                                  !range.rrr_cbConfig.empty() && range.rrr_cbConfig[0].cbNackEnable});
        group = sum(group, range.channel_ip_step);
        number = static_cast<std::uint16_t>(number + range.channel_number_step);
    }
}

void set_first_range(const channelBlockConfig_s& range, PlannedBlock& block) {
    block.channels_of_first_range = range.channel_count;
    block.initial_start = range.channel_initial_start;
    block.initial_step = range.channel_initial_step;
    block.number_start = range.channel_number_start;
    block.number_step = range.channel_number_step;
}

void add_links(PlannedBlock& block, Links& links) {
    const settopBlockConfig_s& config = block.config;
    block.links.reserve(config.settop_count);
    for (std::uint32_t i = 0; i < config.settop_count; ++i) {
        block.links.push_back(
            links.of({static_cast<std::uint16_t>(config.vlan_tag + i * config.vlan_step),
                      static_cast<std::uint16_t>(config.vlan_inner_tag + i * config.vlan_inner_step),
                      config.ppp_index.empty() ? std::uint16_t{0} : config.ppp_index[i]}));
    }
}

}  // namespace

std::uint32_t PlannedBlock::initial_channel(std::uint32_t settop_index) const {
    const std::int64_t count = channels_of_first_range;
    const std::int64_t steps =
        (initial_start - number_start + settop_index * initial_step) / std::max<std::int64_t>(number_step, 1);
    return static_cast<std::uint32_t>((steps % count + count) % count);
}

RunPlan::RunPlan(const PortConfiguration& configuration, const TestStart& start)
    : test(configuration.tests.at(start.config_handle)), start_delay_step(start.start_delay_step) {
    SubscriptionList subscriptions(*this);
    Links links;
    std::set<std::uint32_t> seen;
    std::size_t stbs = 0;
    for (const std::uint32_t handle : start.stb_blocks) {
        const settopBlockConfig_s& config = configuration.stb_blocks.at(handle);
        if (!seen.insert(handle).second)
            throw PortFault(FaultCode::BadValue, fmt::format("STB block {} comes twice", handle));
        stbs += config.settop_count;
        if (stbs > kMostStbs)
            throw PortFault(FaultCode::BadValue, fmt::format("more than {} STBs", kMostStbs));
        PlannedBlock& block = blocks.emplace_back();
        block.config = config;
        block.profile = configuration.profiles.at(config.profile_handle);
        block.first_stb = stb_count;
        stb_count = static_cast<std::uint32_t>(stbs);
        for (const std::uint32_t range_handle : config.channel_handle) {
            if (!configuration.channel_blocks.contains(range_handle)) continue;
            const channelBlockConfig_s& range = configuration.channel_blocks.at(range_handle);
            if (block.channels.empty()) set_first_range(range, block);
            add_channels(range, subscriptions, *this, block);
        }
        add_links(block, links);
    }
}

bool RunPlan::uses_unicast() const {
    return test.test_type == TestType::FAST_CHANNEL_CHANGE || test.test_type == TestType::FCC_WITH_RRR;
}

bool RunPlan::retransmits() const {
    return test.test_type == TestType::RELIABLE_RETRANSMISSION || test.test_type == TestType::FCC_WITH_RRR;
}

}  // namespace orv::il
