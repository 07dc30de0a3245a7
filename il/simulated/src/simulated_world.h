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
#include "simulated_addressing.h"

namespace orv::il {

/// Emulates STBs, or reports recordings in place of them. Each run of a port has a seed of its own.
class SimulatedWorld : public World {
  public:
    /// `network` and `timeline` outlive the world.
    SimulatedWorld(std::string port, const Network& network, ITimeline& timeline,
                   std::optional<Recordings> recordings);

    std::unique_ptr<Run> start(const PortConfiguration& configuration, const TestStart& start, Time now,
                               ResultReport& report) override;
    AddressSessions* addressing() override { return &sessions_; }

  private:
    const std::string port_;
    const Network& network_;
    const TickCounter counter_;
    const std::optional<Recordings> recordings_;
    std::uint64_t runs_ = 0;  ///< number of runs started
    SimulatedAddressing addressing_;
    AddressSessions sessions_;
};

}  // namespace orv::il
