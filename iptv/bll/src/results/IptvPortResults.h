// What all set-top boxes of a port received.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"
#include "results/figures/FigureSums.h"

namespace orv::iptv {

using common::ClassId;

class CIptvPortResults : public ModelClass<ids::IptvPortResults::CLASS.GetValue(), core::CResult> {
  public:
    /// Adds what a batch of a block brought.
    void AccumResultToDataModel(const JoinLeaveSums& sums);
    void ResetResults();

  private:
    decltype(JoinLeaveSums::totals) seconds_{};  ///< of rates
};

}  // namespace orv::iptv
