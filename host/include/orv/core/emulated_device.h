// A block of emulated hosts.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::core {

class CPort;

/// A number of equal hosts on one port. Each interface below it represents all of the hosts.
class CEmulatedDevice : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// Number of hosts, at least 1.
    std::uint32_t GetDeviceCount() const;
    /// The port that the device is affiliated with, or null.
    CPort* GetPort() const;
};

}  // namespace orv::core
