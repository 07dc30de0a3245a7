// A test port.
#pragma once

#include "orv/framework/messenger.h"
#include "orv/framework/scriptable.h"

namespace orv::core {

class CPhysicalChassis;
class CPortGroup;

class CPort : public framework::CScriptable {
  public:
    ~CPort() override;
    static framework::ClassId CLASS_ID();

    /// The group of ports that this one belongs to, and the chassis of that group; null when there is none.
    CPortGroup* GetPortGroup() const;
    CPhysicalChassis* GetChassis() const;

    /// Where messages to the port go: its location, or its name while it has no location.
    framework::Messenger GetMessenger() const;
    bool IsOnline() const;
    /// Online, or taking part as if it were (COrvSystem::OfflinePortsTakePart).
    bool IsReachable() const;
};

}  // namespace orv::core
