// The zapping schedule of an STB, independent of the network.
#pragma once

#include <cstdint>

#include "orv/il/random.h"
#include "orv/il/run_plan.h"
#include "orv/il/time.h"

namespace orv::il {

/// Shortest view: without it, an STB with an interval of 0 would zap endlessly at one point in time.
inline constexpr Time kShortestView = kMillisecond;

// Of an STB: `settop_index` counts from 0 within its block, `views_begun` all of its views, the one that is
// running included.

/// When the STB begins its first view, in a test that starts at `test_start`.
Time start_of(const RunPlan& plan, const PlannedBlock& block, std::uint32_t settop_index, Time test_start);

/// Position in the block's channels, of which there are some, of the one for the next view; `current` is that
/// of the previous one. Draws only for random zapping.
std::uint32_t choose_channel(const PlannedBlock& block, iptvcd_1_bll::TestType type,
                             std::uint32_t settop_index, std::uint32_t views_begun, std::uint32_t current,
                             Random& random);

/// Length of the running view, measured from the event that the profile selects.
Time interval_of(const PlannedBlock& block, std::uint32_t views_begun);

/// What the end of a view may depend on; kNever for what has not happened.
struct ViewStart {
    Time last_leave = kNever;  ///< of the previous channel
    Time join = kNever;        ///< multicast
    Time first = kNever;       ///< multicast packet
    Time unicast_join = kNever;
    Time unicast_first = kNever;  ///< packet
};

/// When the running view ends, as far as its events are known. One of the joins must have happened.
Time end_of_view(const PlannedBlock& block, std::uint32_t views_begun, const ViewStart& start);

/// Whether there is no view after the running one.
bool is_done(const PlannedBlock& block, iptvcd_1_bll::TestType type, std::uint32_t views_begun);

}  // namespace orv::il
