// What the whole of a wizard's test has in common.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "orv/framework/scriptable.h"

namespace orv::iptv {

using common::ClassId;

class CIptvWizardTestConfig
    : public ModelClass<ids::IptvWizardTestConfig::CLASS.GetValue(), framework::CScriptable> {
  public:
    /// The channels come from this application's generators, not from a network.
    bool IsTestEnvironment() const;
    /// The test is one of IPv4, otherwise one of IPv6.
    bool IsIpv4() const;
    /// Distance of the group addresses of successive channels, as a number.
    std::uint32_t GetGroupAddrIncrement() const;
};

}  // namespace orv::iptv
