// Where the STBs of a port live.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "port_configuration.h"
#include "result_report.h"
#include "run.h"

namespace orv::il {

/// What a request to start a test names.
struct TestStart {
    std::uint32_t config_handle = 0;
    std::vector<std::uint32_t> stb_blocks;  ///< handles
    std::uint32_t start_delay_step = 0;     ///< ms, from one STB of the port to the next
};

class World {
  public:
    virtual ~World() = default;

    /// A run that starts now and leaves its records in `report`, which outlives it. Throws PortFault when it
    /// cannot be planned, or is not offered here.
    virtual std::unique_ptr<Run> start(const PortConfiguration& configuration, const TestStart& start,
                                       Time now, ResultReport& report) = 0;
};

}  // namespace orv::il
