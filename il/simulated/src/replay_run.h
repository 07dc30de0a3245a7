// A run that reports what was recorded.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "orv/il/recording.h"
#include "orv/il/result_report.h"
#include "orv/il/run_plan.h"
#include "orv/il/world.h"

namespace orv::il {

/// Hands out each recorded notification at its time; what is left when the test ends comes then. Records of
/// blocks that do not take part are left out.
class ReplayRun : public Run {
  public:
    /// `recording` and `report` outlive the run.
    ReplayRun(const RunPlan& plan, const Recording& recording, Time start, ResultReport& report);

    Time end() const override { return end_; }
    void run_to(Time time) override;
    /// Recorded reports do not change.
    void channels_change(Time, const std::function<void()>& change) override { change(); }
    Time finish(Time time) override;

  private:
    void report(const RecordedReport& recorded);

    const Recording& recording_;
    ResultReport& report_;
    std::unordered_map<std::uint32_t, std::size_t> positions_;  ///< by handle of the block
    std::size_t next_ = 0;
    Time start_;
    Time end_;
};

}  // namespace orv::il
