// Result objects and database rows of distributions and time series.
#pragma once

#include <cstdint>
#include <vector>

#include "results/distributions/TestDistributions.h"

namespace orv::framework {
class CScriptable;
}
namespace orv::core {
class TestResultManager;
}

namespace orv::iptv {

/// The result objects of a test's distributions: one per latency that was measured, as children of channel
/// ranges, STB blocks, profiles, ports, and, for the whole test, the project. They last until the next test.
class DistributionResults {
  public:
    /// Makes the objects; skips what has been deleted meanwhile.
    void Make(const distributions::TestDistributions& test);
    /// Updates those of the whole test, or makes them, while it runs.
    void MakeForTest(const distributions::TestDistributions& test);
    void Destroy();

  private:
    void Make(std::uint32_t owner, const distributions::DistributionSet& set);
    void Make(framework::CScriptable& owner, const distributions::DistributionSet& set);

    std::vector<std::uint32_t> made_;  ///< handles
};

/// Stores a row per interval of each port, below the port, and of the whole test, below the project.
void SaveTimeSeries(const distributions::TestDistributions& test, core::TestResultManager& database);

}  // namespace orv::iptv
