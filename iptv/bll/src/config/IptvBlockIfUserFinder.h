// Which interfaces the STB blocks of a port use.
#pragma once

#include "orv/core/if_manager.h"

namespace orv::iptv {

class CIptvBlockIfUserFinder : public core::INetworkInterfaceUserFinder {
  public:
    /// A new finder for a port; the caller owns it.
    static core::INetworkInterfaceUserFinder* IptvBlockIfUserFinderMaker(const core::CPort* port);

    explicit CIptvBlockIfUserFinder(const core::CPort* port) : port_(port) {}

    void GetInterfaceUserContainerMapForPort(core::InterfaceUserMap& users) override;
    /// STB blocks have no routes.
    const core::RouteDescriptor* GetRouteDescriptorForIfUser(const framework::CScriptable*) override {
        return nullptr;
    }

  private:
    const core::CPort* port_;
};

}  // namespace orv::iptv
