// Ports that share a processor.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::core {

class CPortGroup : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();
};

}  // namespace orv::core
