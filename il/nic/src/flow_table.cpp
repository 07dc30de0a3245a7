#include "flow_table.h"

#include <algorithm>

#include "orv/nic/addresses.h"

namespace orv::nic {

namespace {

/// As long as a reception may expect packets without hearing any.
constexpr il::Time kLongestIdle = 5 * il::kSecond;

constexpr std::uint64_t key_of(std::uint32_t link, std::uint32_t group) {
    return std::uint64_t{link} << 32 | group;
}

}  // namespace

FlowTable::FlowTable(std::span<const il::PlannedFilter> filters,
                     std::span<const il::Subscription> subscriptions, Numbering numbering)
    : numbering_(numbering) {
    for (const il::PlannedFilter& filter : filters) {
        SourceChoice& choice = choices_.emplace_back();
        choice.include = filter.include;
        for (const auto& source : filter.sources) choice.sources.push_back(ToLiveAddress(source));
    }
    for (std::uint32_t i = 0; i < subscriptions.size(); ++i) {
        const auto address = ToLiveAddress(subscriptions[i].group);
        const auto [group, is_new] =
            group_numbers_.emplace(address, static_cast<std::uint32_t>(groups_.size()));
        if (is_new) groups_.push_back({address, {}});
        groups_[group->second].subscriptions.push_back(i);
        group_of_.push_back(group->second);
        choice_of_.push_back(static_cast<std::uint32_t>(subscriptions[i].filter_index));
    }
}

Flow* FlowTable::find(std::uint32_t link, const live::IpAddress& group) {
    const auto number = group_numbers_.find(group);
    if (number == group_numbers_.end()) return nullptr;
    const auto found = by_key_.find(key_of(link, number->second));
    return found == by_key_.end() ? nullptr : &flows_[found->second];
}

Flow* FlowTable::find_or_make(std::uint32_t link, const live::IpAddress& group, il::Time now) {
    const auto number = group_numbers_.find(group);
    if (number == group_numbers_.end()) return nullptr;
    const std::uint32_t flow = find_or_make(link, number->second, now);
    queue_if_idle(flow, now);
    return &flows_[flow];
}

std::uint32_t FlowTable::find_or_make(std::uint32_t link, std::uint32_t group, il::Time now) {
    const auto [found, is_new] = by_key_.try_emplace(key_of(link, group), 0);
    if (!is_new) return found->second;
    if (free_.empty()) {
        free_.push_back(static_cast<std::uint32_t>(flows_.size()));
        flows_.emplace_back();
    }
    found->second = free_.back();
    free_.pop_back();
    Flow& flow = flows_[found->second];
    flow.key = found->first;
    flow.idle_since = now;
    flow.receptions.assign(groups_[group].subscriptions.size(), Reception(numbering_));
    return found->second;
}

FlowTable::Place FlowTable::use(std::uint32_t link, std::uint32_t subscription, il::Time now) {
    const std::uint32_t group = group_of_[subscription];
    const std::uint32_t flow = find_or_make(link, group, now);
    ++flows_[flow].uses;
    const auto& subscriptions = groups_[group].subscriptions;
    const auto at = std::ranges::find(subscriptions, subscription);
    return {flow, static_cast<std::uint32_t>(at - subscriptions.begin())};
}

void FlowTable::stop_using(std::uint32_t number, il::Time now) {
    --flows_[number].uses;
    queue_if_idle(number, now);
}

void FlowTable::queue_if_idle(std::uint32_t number, il::Time now) {
    Flow& flow = flows_[number];
    if (flow.uses > 0 || flow.is_idle) return;
    flow.is_idle = true;
    flow.idle_since = now;
    idle_.push_back(number);
}

bool FlowTable::take_back_idle(il::Time now) {
    while (!idle_.empty() && now - flows_[idle_.front()].idle_since >= kLongestIdle) {
        const std::uint32_t number = idle_.front();
        idle_.pop_front();
        Flow& flow = flows_[number];
        flow.is_idle = false;
        if (flow.uses > 0) continue;  // queued again when that ends
        const bool is_silent = std::ranges::all_of(flow.receptions, [now](const Reception& reception) {
            return reception.last() == il::kNever || now - reception.last() >= kLongestIdle;
        });
        if (!is_silent) {
            queue_if_idle(number, now);
            continue;
        }
        by_key_.erase(flow.key);
        flow = {};
        free_.push_back(number);
    }
    return !idle_.empty();
}

}  // namespace orv::nic
