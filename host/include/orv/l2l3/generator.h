// The traffic generator of a port.
#pragma once

#include <cstdint>

#include "orv/framework/scriptable.h"

namespace orv::l2l3 {

class CGeneratorConfig : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();
};

class CGenerator : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// One of ids::GeneratorState.
    std::uint8_t GetState() const;
    void SetState(std::uint8_t state);
    CGeneratorConfig* GetConfig() const;
};

}  // namespace orv::l2l3
