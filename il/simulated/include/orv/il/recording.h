// What a port reported in an earlier run.
#pragma once

#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/il/timeline.h"

namespace orv::il {

/// One notification.
struct RecordedReport {
    Nanoseconds after_start{};  ///< since the port's test started
    std::vector<iptvcd_1_bll::stblock_event_s> blocks;
};

/// What a port reported of one test, in the order in which it was sent.
using Recording = std::vector<RecordedReport>;
/// One for each test that the port starts, in order.
using Recordings = std::vector<Recording>;

}  // namespace orv::il
