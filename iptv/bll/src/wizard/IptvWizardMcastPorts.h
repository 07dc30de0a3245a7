// A marker for the wizard's user interface.
#pragma once

#include "ModelClass.h"
#include "orv/framework/scriptable.h"

namespace orv::iptv {

using common::ClassId;

class CIptvWizardMcastPorts
    : public ModelClass<ids::IptvWizardMcastPorts::CLASS.GetValue(), framework::CScriptable> {};

}  // namespace orv::iptv
