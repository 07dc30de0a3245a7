// The simulated network of a test.
#pragma once

#include "orv/framework/scriptable.h"
#include "orv/il/network.h"
#include "test_file/simulation.h"

namespace orv::app {

/// What the simulation section says, with the multicast groups of the channel blocks that it names.
il::Network MakeNetwork(const Simulation& simulation, const framework::CScriptable& project);

}  // namespace orv::app
