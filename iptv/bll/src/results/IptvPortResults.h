// Results of all set-top boxes of a port.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"
#include "results/figures/FigureSums.h"

namespace orv::iptv {

using common::ClassId;

class CIptvPortResults : public ModelClass<ids::IptvPortResults::CLASS.GetValue(), core::CResult> {
  public:
    /// Adds the sums of a block's batch.
    void AccumResultToDataModel(const JoinLeaveSums& sums);
    void ResetResults();

  private:
    decltype(JoinLeaveSums::totals) seconds_{};  ///< durations that rates are computed with
};

}  // namespace orv::iptv
