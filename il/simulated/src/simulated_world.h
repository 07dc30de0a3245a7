// The world of a simulated port.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "orv/il/network.h"
#include "orv/il/recording.h"
#include "orv/il/tick_counter.h"
#include "orv/il/world.h"

namespace orv::il {

/// Emulates STBs, or reports recordings in place of them. Each run of a port has a seed of its own.
class SimulatedWorld : public World {
  public:
    /// `network` must outlive the world. `now`: creation time of the port.
    SimulatedWorld(std::string port, const Network& network, Time now, std::optional<Recordings> recordings);

    std::unique_ptr<Run> start(const PortConfiguration& configuration, const TestStart& start, Time now,
                               ResultReport& report) override;

  private:
    const std::string port_;
    const Network& network_;
    const TickCounter counter_;
    const std::optional<Recordings> recordings_;
    std::uint64_t runs_ = 0;  ///< number of runs started
};

}  // namespace orv::il
