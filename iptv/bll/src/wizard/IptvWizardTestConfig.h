// Wizard object for the settings of the whole test.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "orv/framework/scriptable.h"

namespace orv::iptv {

using common::ClassId;

class CIptvWizardTestConfig
    : public ModelClass<ids::IptvWizardTestConfig::CLASS.GetValue(), framework::CScriptable> {
  public:
    /// True if the channels come from this application's generators, not from a network.
    bool IsTestEnvironment() const;
    /// True for an IPv4 test, false for an IPv6 test.
    bool IsIpv4() const;
    /// Increment of the group address from channel to channel, as a number.
    std::uint32_t GetGroupAddrIncrement() const;
};

}  // namespace orv::iptv
