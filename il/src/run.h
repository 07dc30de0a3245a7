// What happens on a port while a test runs.
#pragma once

#include <functional>

#include "orv/il/timeline.h"
#include "tick_counter.h"

namespace orv::il {

/// Works from event to event and leaves records in a report. Deterministic: it asks nobody for the time.
class Run {
  public:
    virtual ~Run() = default;

    virtual Time end() const = 0;
    /// Works off everything before `time`.
    virtual void run_to(Time time) = 0;
    /// Works off everything before `time` and calls `change`, which changes what is sent.
    virtual void channels_change(Time time, const std::function<void()>& change) = 0;
    /// Ends the run at `time`.
    virtual void finish(Time time) = 0;
};

}  // namespace orv::il
