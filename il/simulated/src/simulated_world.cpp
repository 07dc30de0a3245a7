#include "simulated_world.h"

#include <utility>

#include "orv/il/run_plan.h"
#include "replay_run.h"
#include "simulated_run.h"

namespace orv::il {

namespace {

constexpr std::uint64_t kAddressPurpose = 5;

}  // namespace

SimulatedWorld::SimulatedWorld(std::string port, const Network& network, ITimeline& timeline,
                               std::optional<Recordings> recordings)
    : port_(std::move(port)),
      network_(network),
      counter_(network.seed, port_, timeline.GetNow().count()),
      recordings_(std::move(recordings)),
      addressing_(port_, network, timeline),
      sessions_(timeline, addressing_, seed_of(network.seed, port_, kAddressPurpose)) {}

std::unique_ptr<Run> SimulatedWorld::start(const PortConfiguration& configuration, const TestStart& start,
                                           Time now, ResultReport& report) {
    RunPlan plan(configuration, start);
    for (PlannedBlock& block : plan.blocks) block.absent = addressing_.get_absent(block.config.vif_handle);
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
