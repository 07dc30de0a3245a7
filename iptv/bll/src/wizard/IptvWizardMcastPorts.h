// A mark for the wizard's user interface.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::iptv {

using common::ClassId;

class CIptvWizardMcastPorts : public framework::CScriptable {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();

    bool IsSingleton() const override { return false; }
};

}  // namespace orv::iptv
