// Results of one iteration of a sequence.
#pragma once

#include "orv/framework/command.h"

namespace orv::l2l3 {

/// Stores the results of the test that has just ended separately: in a folder beside them, named after the
/// property TestType and the iteration, with a database file of the iteration to which every result handler
/// adds its results. The iteration is that of the loop that contains the command, 1 outside of one.
///
/// Does nothing, and says so in its status, when no results are kept, or there are none since it last wrote
/// some. What cannot be written does not stop a sequence; it is logged, and the status gives the reason.
class CEotResultsWriteIterationCommand : public framework::CCommand {
  public:
    static framework::ClassId CLASS_ID();
    void DoRun() override;

  private:
    std::uint32_t GetIteration() const;
    void RefreshStreamBlocks() const;
};

}  // namespace orv::l2l3
