// What results are kept.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::l2l3 {

class CResultOptions : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();
};

}  // namespace orv::l2l3
