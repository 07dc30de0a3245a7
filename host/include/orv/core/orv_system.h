// Root of the object tree.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::core {

/// The system: one object per running host, with the options that hold for the whole program.
class COrvSystem : public framework::CScriptable {
  public:
    COrvSystem();
    ~COrvSystem() override;
    static framework::ClassId CLASS_ID();

    /// The system of the running host. Throws COrvLogicError while no host runs.
    static COrvSystem& Instance();
    /// True when offline ports take part in everything as if they were online; false while no host runs.
    static bool OfflinePortsTakePart();
};

}  // namespace orv::core
