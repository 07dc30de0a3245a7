#include "orv/il/viewing.h"

#include <algorithm>

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about

Time start_of(const RunPlan& plan, const PlannedBlock& block, std::uint32_t settop_index, Time test_start) {
    const std::uint64_t index_on_port = std::uint64_t{block.first_stb} + settop_index;
    return test_start + ms(std::uint64_t{settop_index} * block.config.start_delay_step +
                           index_on_port * plan.start_delay_step);
}

std::uint32_t choose_channel(const PlannedBlock& block, TestType type, std::uint32_t settop_index,
                             std::uint32_t views_begun, std::uint32_t current, Random& random) {
    const auto count = static_cast<std::uint32_t>(block.channels.size());
    if (views_begun == 0) return block.initial_channel(settop_index);
    ZapDirection direction = block.profile.zap_direction;
    // Each channel once, in order.
    if (type == TestType::VERIFICATION && direction == ZapDirection::DIR_RANDOM)
        direction = ZapDirection::DIR_UP;
    switch (direction) {
        case ZapDirection::DIR_UP:
            return (current + 1) % count;
        case ZapDirection::DIR_DOWN:
            return (current + count - 1) % count;
        case ZapDirection::DIR_RANDOM:  // any other
            if (count > 1) return (current + 1 + random.below(count - 1)) % count;
            break;
    }
    return current;
}

Time interval_of(const PlannedBlock& block, std::uint32_t views_begun) {
    const profileConfig_s& profile = block.profile;
    const std::uint64_t cycle = std::uint64_t{profile.zap_changes_before_view} + 1;
    const bool is_view = profile.zap_behavior == ZapBehavior::VIEW_ONLY ||
                         (profile.zap_behavior == ZapBehavior::ZAP_N_VIEW && views_begun % cycle == 0);
    return ms(is_view ? profile.view_duration : profile.leave_to_leave_delay);
}

Time end_of_view(const PlannedBlock& block, std::uint32_t views_begun, const ViewStart& start) {
    const profileConfig_s& profile = block.profile;
    const Time joined = start.unicast_join != kNever ? start.unicast_join : start.join;
    Time reference = joined;
    switch (profile.zap_interval_type) {
        case ZapIntervalType::LTL:
            // The first view is as long as if there had been a previous one.
            reference =
                start.last_leave != kNever ? start.last_leave : joined - ms(profile.leave_to_join_delay);
            break;
        case ZapIntervalType::MTL:
            if (start.join != kNever) reference = start.first != kNever ? start.first : start.join;
            break;
        case ZapIntervalType::UTL:
            if (start.unicast_first != kNever) reference = start.unicast_first;
            break;
    }
    return std::max(reference + interval_of(block, views_begun), joined + kShortestView);
}

bool is_done(const PlannedBlock& block, TestType type, std::uint32_t views_begun) {
    return type == TestType::VERIFICATION && views_begun >= block.channels.size();
}

}  // namespace orv::il
