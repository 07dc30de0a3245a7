// PPP layer.
#pragma once

#include "orv/core/network_interface.h"

namespace orv::core {

class CPppIf : public CNetworkInterface {
  public:
    static framework::ClassId CLASS_ID();
};

}  // namespace orv::core
