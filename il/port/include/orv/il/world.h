// The network of a port's STBs, and the runs of tests on it.
#pragma once

#include <functional>
#include <memory>

#include "orv/il/address_sessions.h"
#include "orv/il/port_configuration.h"
#include "orv/il/result_report.h"
#include "orv/il/run_plan.h"
#include "orv/il/time.h"

namespace orv::il {

/// A running test. Adds records to a report. What it does by itself between two calls, and when, depends
/// on the network.
class Run {
  public:
    virtual ~Run() = default;

    virtual Time end() const = 0;
    /// Processes everything before `time`.
    virtual void run_to(Time time) = 0;
    /// Processes everything before `time` and calls `change`, which changes the channels that are sent.
    virtual void channels_change(Time time, const std::function<void()>& change) = 0;
    /// Ends the run at `time`; from then on only finish() may be called. Returns kNever if the last record is
    /// in the report, otherwise the time at which to call it again.
    virtual Time finish(Time time) = 0;
};

/// Makes the runs of a port. It and its runs are used from one thread at a time: the timeline's, or for
/// Run::run_to any one while the timeline's waits (RunPool).
class World {
  public:
    virtual ~World() = default;

    /// A run that starts now and adds its records to `report`, which outlives it. Throws PortFault when it
    /// cannot be planned, or is not supported.
    virtual std::unique_ptr<Run> start(const PortConfiguration& configuration, const TestStart& start,
                                       Time now, ResultReport& report) = 0;
    /// Of the hosts that get their addresses from this network; null if it gives none. The world's.
    virtual AddressSessions* addressing() { return nullptr; }
};

}  // namespace orv::il
