// The analyzer of a port.
#pragma once

#include <cstdint>

#include "orv/framework/scriptable.h"

namespace orv::l2l3 {

/// Counts the frames that a port receives, sorted by its filters (children).
class CAnalyzer : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// All counters start again from 0.
    void ClearAllStats();
    /// One of ids::AnalyzerState.
    void SetState(std::uint8_t state);
};

}  // namespace orv::l2l3
