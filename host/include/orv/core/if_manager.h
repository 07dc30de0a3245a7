// Who uses the network interfaces of a port.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "orv/common/delegate.h"

namespace orv::framework {
class CScriptable;
}

namespace orv::core {

class CNetworkEndpoint;
class CNetworkInterface;
class CPort;

/// Interfaces by the device they belong to and the object that uses them. Ordered by address: for lookups,
/// not for anything that is shown.
using InterfaceUserMap =
    std::map<framework::CScriptable*, std::map<framework::CScriptable*, std::set<CNetworkInterface*>>>;

/// A way by which a user of interfaces reaches a destination.
struct RouteDescriptor {
    CNetworkInterface* interface = nullptr;
    CNetworkEndpoint* destination = nullptr;
};

/// Knows one kind of interface user (a protocol's configuration objects, say) on one port.
class INetworkInterfaceUserFinder {
  public:
    virtual ~INetworkInterfaceUserFinder() = default;

    /// Adds the users on the finder's port and the interfaces each of them uses.
    virtual void GetInterfaceUserContainerMapForPort(InterfaceUserMap& users) = 0;
    /// The route of a user, or null when it needs none.
    virtual const RouteDescriptor* GetRouteDescriptorForIfUser(const framework::CScriptable* user) = 0;
};

/// Finds the users of interfaces through registered finders.
class CIfManager {
  public:
    /// Makes a finder for a port; the caller owns it.
    using FinderFactory = common::Delegate<INetworkInterfaceUserFinder*(const CPort*)>;

    static CIfManager& Instance();

    /// A factory that is registered already stays registered once.
    void RegisterInterfaceUserFinderFactoryMethod(const FinderFactory& factory);

    /// The users on a port that all registered finders know.
    InterfaceUserMap GetInterfaceUsers(const CPort& port) const;

  private:
    std::vector<FinderFactory> factories_;
};

}  // namespace orv::core
