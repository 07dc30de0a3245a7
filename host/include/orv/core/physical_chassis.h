// A machine with test ports; its port groups are its children.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::core {

class CPhysicalChassis : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();
};

}  // namespace orv::core
