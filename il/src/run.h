// What happens on a port while a test runs.
#pragma once

#include <functional>

#include "orv/il/timeline.h"
#include "tick_counter.h"

namespace orv::il {

/// Leaves records in a report. What it does by itself between two calls, and when, depends on the network.
class Run {
  public:
    virtual ~Run() = default;

    virtual Time end() const = 0;
    /// Works off everything before `time`.
    virtual void run_to(Time time) = 0;
    /// Works off everything before `time` and calls `change`, which changes what is sent.
    virtual void channels_change(Time time, const std::function<void()>& change) = 0;
    /// Ends the run at `time`; nothing but finish() is called from then on. Returns kNever when its last
    /// record is in the report, otherwise when to call again, with that time.
    virtual Time finish(Time time) = 0;
};

}  // namespace orv::il
