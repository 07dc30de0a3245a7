// What all set-top boxes of a port received.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"

namespace orv::iptv {

using common::ClassId;

class CIptvPortResults : public ModelClass<ids::IptvPortResults::CLASS.GetValue(), core::CResult> {
  public:
    /// Adds what a batch brought: packets of each kind, and the time in which they came, s.
    void AccumResultToDataModel(std::uint64_t lost, std::uint64_t reordered, std::uint64_t duplicate,
                                std::uint64_t prbs, std::uint64_t late, double packets, double seconds);
    void ResetResults();

  private:
    double seconds_ = 0.0;
};

}  // namespace orv::iptv
