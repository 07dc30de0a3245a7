// Root of the configuration.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::core {

/// A project: ports, devices and everything else a user configures lies below it.
class CProject : public framework::CScriptable {
  public:
    CProject();
    ~CProject() override;
    static framework::ClassId CLASS_ID();

    /// The project that is open: the newest that is not deleted. Null when there is none.
    static CProject* GetCurrentActiveInstance();
};

}  // namespace orv::core
