#include "simulated_world.h"

#include <utility>

#include "orv/il/run_plan.h"
#include "replay_run.h"
#include "simulated_run.h"

namespace orv::il {

SimulatedWorld::SimulatedWorld(std::string port, const Network& network, Time now,
                               std::optional<Recordings> recordings)
    : port_(std::move(port)),
      network_(network),
      counter_(network.seed, port_, now),
      recordings_(std::move(recordings)) {}

std::unique_ptr<Run> SimulatedWorld::start(const PortConfiguration& configuration, const TestStart& start,
                                           Time now, ResultReport& report) {
    RunPlan plan(configuration, start);
    std::unique_ptr<Run> run;
    if (recordings_) {
        static const Recording nothing;
        const Recording& recording = runs_ < recordings_->size() ? (*recordings_)[runs_] : nothing;
        run = std::make_unique<ReplayRun>(plan, recording, now, report);
    } else {
        const std::uint64_t seed = seed_of_run(network_.seed, port_, runs_);
        run = std::make_unique<SimulatedRun>(std::move(plan), network_, port_, seed, now, counter_, report);
    }
    ++runs_;
    return run;
}

}  // namespace orv::il
